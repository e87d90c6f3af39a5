#include "Picker/PasswordPickerContent.h"

#include <gtest/gtest.h>

namespace kestrelle {
namespace {

// Rows stack down the document, each with its copy button after it; only the first nine rows,
// which number keys reach, show a number.
TEST(PasswordPickerContentTest, RowsStackInsideTheDocumentWithTheirCopyButtonsAndNumbers) {
    for (const auto& [count, canType] :
         {std::pair<std::size_t, bool>{0, false}, {1, false}, {3, true}, {12, false}}) {
        SCOPED_TRACE(testing::Message() << count << " entries, canType " << canType);
        std::vector<EntryMetadata> entries;
        for (std::size_t index = 0; index < count; ++index) {
            entries.emplace_back(Uuid::random(), "Label " + std::to_string(index + 1));
        }
        PasswordPickerContent content;
        content.render(entries, std::nullopt, canType);
        const auto layout = content.layout(320);
        EXPECT_EQ(layout.document.height, PasswordPickerContent::documentHeight(count, canType));
        EXPECT_EQ(layout.hint.has_value(), count > 0 && !canType);
        EXPECT_EQ(layout.configureButton.has_value(), count == 0);
        ASSERT_EQ(layout.rows.size(), count);
        for (std::size_t row = 0; row < count; ++row) {
            const Rect& rect = layout.rows[row];
            EXPECT_TRUE(rect.maxY() <= layout.document.maxY() &&
                        layout.copyButtons[row].x >= rect.maxX())
                << row;
            EXPECT_TRUE(row == 0 || rect.y > layout.rows[row - 1].maxY()) << row;
            const auto& title = content.rows()[row].title;
            const auto prefix = title.substr(0, title.size() - entries[row].label.size());
            EXPECT_EQ(prefix.find(std::to_string(row + 1)) != std::string::npos, row < 9);
            EXPECT_TRUE(title.ends_with(entries[row].label)) << title;
        }
    }
}

} // namespace
} // namespace kestrelle
