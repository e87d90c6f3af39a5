#include "Picker/PasswordPickerContent.h"

#include "Runtime/ModifierFlags.h"

#include <algorithm>

namespace kestrelle {

namespace {

// Numbered rows read "  3    Label". From the tenth on there is no number key, and the label
// sits one column left of the numbered ones; that is deliberate.
std::string rowTitle(std::size_t index, const std::string& label) {
    if (index < 9) {
        return "  " + std::to_string(index + 1) + "    " + label;
    }
    return "      " + label;
}

} // namespace

double PasswordPickerContent::documentHeight(std::size_t entryCount, bool canType) {
    if (entryCount == 0) {
        return emptyHeight;
    }
    const auto count = static_cast<double>(entryCount);
    return count * rowHeight + 2 * padding + rowSpacing * (count - 1) + (canType ? 0 : hintHeight);
}

void PasswordPickerContent::render(const std::vector<EntryMetadata>& entries,
                                   std::optional<int> highlightedIndex, bool canType) {
    rows_.clear();
    for (std::size_t index = 0; index < entries.size(); ++index) {
        const std::string& label = entries[index].label;
        rows_.push_back({rowTitle(index, label), label, label, static_cast<int>(index)});
    }
    highlightedIndex_ = highlightedIndex;
    canType_ = canType;
}

PasswordPickerContent::Layout PasswordPickerContent::layout(double width) const {
    Layout layout;
    const double height = documentHeight(rows_.size(), canType_);
    layout.document = {0, 0, width, height};
    const double rowWidth = std::max(width - 2 * padding - copyButtonSide, 0.0);
    const double copyX = std::max(width - padding - copyButtonSide, padding);
    const double copyInset = (rowHeight - copyButtonSide) / 2;
    for (std::size_t index = 0; index < rows_.size(); ++index) {
        const double y = padding + static_cast<double>(index) * (rowHeight + rowSpacing);
        layout.rows.push_back({padding, y, rowWidth, rowHeight});
        layout.copyButtons.push_back({copyX, y + copyInset, copyButtonSide, copyButtonSide});
    }
    if (showsHint()) {
        layout.hint =
            Rect{12, height - padding - hintHeight, std::max(width - 24, 0.0), hintHeight};
    }
    if (showsConfigureButton()) {
        layout.configureButton = Rect{10, (height - configureButtonHeight) / 2,
                                      std::max(width - 20, 0.0), configureButtonHeight};
    }
    return layout;
}

void PasswordPickerContent::clickRow(int index, std::uint64_t modifierFlags) const {
    if (modifierFlags & modifier::command) {
        clickCopyButton(index);
    } else if (onSelect_) {
        onSelect_(index);
    }
}

void PasswordPickerContent::clickCopyButton(int index) const {
    if (onCopy_) {
        onCopy_(index);
    }
}

void PasswordPickerContent::clickConfigure() const {
    if (onConfigure_) {
        onConfigure_();
    }
}

} // namespace kestrelle
