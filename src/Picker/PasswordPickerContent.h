#pragma once

#include "Picker/Rect.h"
#include "Storage/EntryMetadata.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kestrelle {

// What the picker's content view shows: one row per entry with a copy button at its end, a hint
// when nothing can be typed into, a Configure button when there are no entries, and which row
// is highlighted. The view draws exactly this, lays it out with `layout`, and forwards its
// clicks to the `click…` operations.
class PasswordPickerContent {
public:
    enum class Tone { normal, highlighted };

    struct Row {
        std::string title;
        std::string toolTip;
        std::string accessibilityLabel;
        int tag = 0;
    };

    // Rectangles in the document view's flipped coordinates, for a content width.
    struct Layout {
        Rect document;
        std::vector<Rect> rows;
        std::vector<Rect> copyButtons;
        std::optional<Rect> hint;
        std::optional<Rect> configureButton;
    };

    static constexpr std::string_view copySymbolName = "doc.on.doc";
    static constexpr std::string_view copyAccessibilityDescription = "Copy to clipboard";
    static constexpr std::string_view copyToolTip = "Copy to Clipboard (⌘-click)";
    static constexpr std::string_view hintText =
        "No text field is focused. Choosing an entry copies it.";
    static constexpr std::string_view configureTitle = "Configure Password…";

    static constexpr double rowHeight = 36;
    static constexpr double rowSpacing = 2;
    static constexpr double padding = 8;
    static constexpr double copyButtonSide = 28;
    static constexpr double hintHeight = 22;
    static constexpr double emptyHeight = 48;
    static constexpr double configureButtonHeight = 30;

    // The height that shows every row without scrolling; the panel is sized by the same rule.
    static double documentHeight(std::size_t entryCount, bool canType);

    // Replaces everything shown.
    void render(const std::vector<EntryMetadata>& entries, std::optional<int> highlightedIndex,
                bool canType);
    // An absent index, or one naming no row, highlights nothing.
    void setHighlighted(std::optional<int> index) { highlightedIndex_ = index; }

    const std::vector<Row>& rows() const { return rows_; }
    std::optional<int> highlightedIndex() const { return highlightedIndex_; }
    // Also the tone of the row's copy button.
    Tone tone(int row) const { return row == highlightedIndex_ ? Tone::highlighted : Tone::normal; }
    bool canType() const { return canType_; }
    bool showsHint() const { return !rows_.empty() && !canType_; }
    bool showsConfigureButton() const { return rows_.empty(); }

    Layout layout(double width) const;

    // A row clicked with Command held copies. `modifierFlags` are those of the click, 0 when
    // the platform has no current event.
    void clickRow(int index, std::uint64_t modifierFlags) const;
    void clickCopyButton(int index) const;
    void clickConfigure() const;

    void setOnSelect(std::function<void(int)> onSelect) { onSelect_ = std::move(onSelect); }
    void setOnCopy(std::function<void(int)> onCopy) { onCopy_ = std::move(onCopy); }
    void setOnConfigure(std::function<void()> onConfigure) {
        onConfigure_ = std::move(onConfigure);
    }

private:
    std::vector<Row> rows_;
    std::optional<int> highlightedIndex_;
    bool canType_ = true;
    std::function<void(int)> onSelect_;
    std::function<void(int)> onCopy_;
    std::function<void()> onConfigure_;
};

} // namespace kestrelle
