#include "Picker/PasswordPickerContent.h"

#include <gtest/gtest.h>

namespace kestrelle {
namespace {

bool inside(const Rect& inner, const Rect& outer) {
    return inner.x >= outer.x && inner.y >= outer.y && inner.maxX() <= outer.maxX() &&
           inner.maxY() <= outer.maxY();
}

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
            const Rect& copy = layout.copyButtons[row];
            EXPECT_TRUE(inside(rect, layout.document) && copy.x >= rect.maxX()) << row;
            EXPECT_TRUE(inside(copy, {rect.x, rect.y, layout.document.width, rect.height})) << row;
            EXPECT_TRUE(row == 0 || rect.y > layout.rows[row - 1].maxY()) << row;
            // Number keys reach the first nine rows only, so only they show a number.
            const auto& title = content.rows()[row].title;
            const auto prefix = title.substr(0, title.size() - entries[row].label.size());
            EXPECT_EQ(prefix.find(std::to_string(row + 1)) != std::string::npos, row < 9);
            EXPECT_TRUE(title.ends_with(entries[row].label)) << title;
        }
        for (const auto& extra : {layout.hint, layout.configureButton}) {
            EXPECT_TRUE(!extra || inside(*extra, layout.document));
            EXPECT_TRUE(!extra || count == 0 || extra->y >= layout.rows.back().maxY());
        }
    }
}

} // namespace
} // namespace kestrelle
