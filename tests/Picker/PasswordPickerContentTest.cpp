#include "Picker/PasswordPickerContent.h"

#include "Runtime/ModifierFlags.h"

#include <gtest/gtest.h>

namespace kestrelle {
namespace {

using Tone = PasswordPickerContent::Tone;

std::vector<EntryMetadata> entries(std::size_t count) {
    std::vector<EntryMetadata> list;
    for (std::size_t index = 0; index < count; ++index) {
        list.emplace_back(Uuid::random(), "Label " + std::to_string(index + 1));
    }
    return list;
}

TEST(PasswordPickerContentTest, RowsAreNumberedForTheFirstNineOnly) {
    PasswordPickerContent content;
    content.render(entries(12), 0, true);

    const auto& rows = content.rows();
    ASSERT_EQ(rows.size(), 12U);
    EXPECT_EQ(rows[0].title, "  1    Label 1");
    EXPECT_EQ(rows[2].title, "  3    Label 3");
    EXPECT_EQ(rows[8].title, "  9    Label 9");
    EXPECT_EQ(rows[9].title, "      Label 10");
    EXPECT_EQ(rows[11].title, "      Label 12");
    EXPECT_EQ(rows[11].toolTip, "Label 12");
    EXPECT_EQ(rows[11].accessibilityLabel, "Label 12");
    EXPECT_EQ(rows[11].tag, 11);
    EXPECT_FALSE(content.showsHint());
    EXPECT_FALSE(content.showsConfigureButton());
}

TEST(PasswordPickerContentTest, OneUntypeableEntryShowsItsRowAndTheHint) {
    PasswordPickerContent content;
    content.render(entries(1), 0, false);
    EXPECT_TRUE(content.showsHint());

    const auto layout = content.layout(320);
    EXPECT_EQ(layout.document, (Rect{0, 0, 320, 74}));
    EXPECT_EQ(layout.rows, (std::vector<Rect>{{8, 8, 276, 36}}));
    EXPECT_EQ(layout.copyButtons, (std::vector<Rect>{{284, 12, 28, 28}}));
    EXPECT_EQ(layout.hint, (Rect{12, 44, 296, 22}));
    EXPECT_EQ(layout.configureButton, std::nullopt);
}

TEST(PasswordPickerContentTest, RowsStackDownwardsAndNarrowWidthsDoNotGoNegative) {
    PasswordPickerContent content;
    content.render(entries(3), 0, true);
    EXPECT_EQ(PasswordPickerContent::documentHeight(3, true), 3 * 36 + 16 + 4);

    auto layout = content.layout(300);
    EXPECT_EQ(layout.rows[2], (Rect{8, 84, 256, 36}));
    EXPECT_EQ(layout.copyButtons[2], (Rect{264, 88, 28, 28}));
    EXPECT_EQ(layout.hint, std::nullopt);

    layout = content.layout(20);
    EXPECT_EQ(layout.rows[0].width, 0);
    EXPECT_EQ(layout.copyButtons[0].x, 8);
}

TEST(PasswordPickerContentTest, NoEntriesShowOnlyTheCentredConfigureButton) {
    PasswordPickerContent content;
    content.render({}, std::nullopt, false);
    EXPECT_TRUE(content.showsConfigureButton());
    EXPECT_FALSE(content.showsHint()) << "no hint even though nothing can be typed into";

    const auto layout = content.layout(320);
    EXPECT_EQ(layout.document, (Rect{0, 0, 320, 48}));
    EXPECT_TRUE(layout.rows.empty());
    EXPECT_EQ(layout.configureButton, (Rect{10, 9, 300, 30}));
}

TEST(PasswordPickerContentTest, ExactlyTheHighlightedRowHasTheHighlightedTone) {
    PasswordPickerContent content;
    content.render(entries(3), 1, true);
    EXPECT_EQ(content.tone(0), Tone::normal);
    EXPECT_EQ(content.tone(1), Tone::highlighted);

    content.setHighlighted(2);
    EXPECT_EQ(content.tone(1), Tone::normal);
    EXPECT_EQ(content.tone(2), Tone::highlighted);

    content.setHighlighted(std::nullopt);
    for (int row = 0; row < 3; ++row) {
        EXPECT_EQ(content.tone(row), Tone::normal);
    }
}

TEST(PasswordPickerContentTest, CommandClickOnARowCopiesAndPlainClickSelects) {
    PasswordPickerContent content;
    std::vector<std::string> reports;
    content.setOnSelect([&](int index) { reports.push_back("select " + std::to_string(index)); });
    content.setOnCopy([&](int index) { reports.push_back("copy " + std::to_string(index)); });
    content.setOnConfigure([&] { reports.push_back("configure"); });

    content.clickRow(4, 0);
    content.clickRow(4, modifier::command | modifier::shift);
    content.clickRow(2, 0x10000); // Caps Lock alone is a plain click
    content.clickCopyButton(3);
    content.clickConfigure();
    EXPECT_EQ(reports,
              (std::vector<std::string>{"select 4", "copy 4", "select 2", "copy 3", "configure"}));
}

} // namespace
} // namespace kestrelle
