#include "Picker/PasswordPickerKeyCommand.h"

#include "Runtime/ModifierFlags.h"

#include <gtest/gtest.h>

namespace kestrelle {
namespace {

using Command = PasswordPickerKeyCommand;
namespace Flags = modifier;

constexpr std::uint16_t digitThreeKey = 20;
constexpr std::uint16_t letterAKey = 0;
constexpr std::uint16_t tabKey = 48;
constexpr std::uint64_t capsLock = 0x10000;
constexpr std::uint64_t function = 0x800000;
constexpr std::uint64_t numericPad = 0x200000;

std::optional<Command> resolve(std::uint16_t keyCode, std::optional<std::string> characters,
                               std::uint64_t flags = 0) {
    return Command::resolve(keyCode, characters, flags);
}

const Command dismiss{Command::Dismiss{}};
Command shortcut(int number, bool forcesCopy) {
    return {Command::Shortcut{number, forcesCopy}};
}
Command selectHighlighted(bool forcesCopy) {
    return {Command::SelectHighlighted{forcesCopy}};
}
Command move(int delta) {
    return {Command::Move{delta}};
}

TEST(PasswordPickerKeyCommandTest, DigitsAreShortcutsThatCommandTurnsIntoCopies) {
    EXPECT_EQ(resolve(digitThreeKey, "3"), shortcut(3, false));
    EXPECT_EQ(resolve(digitThreeKey, "3", Flags::command), shortcut(3, true));
    EXPECT_EQ(resolve(29, "0"), shortcut(0, false));
    // Keypad digits carry the numeric-pad flag, which does not count as a modifier.
    EXPECT_EQ(resolve(85, "3", numericPad), shortcut(3, false));
    // The characters decide, not the key code.
    EXPECT_EQ(resolve(PasswordPickerKeyCommand::returnKey, "7"), shortcut(7, false));
}

TEST(PasswordPickerKeyCommandTest, PlainNavigationKeys) {
    EXPECT_EQ(resolve(Command::returnKey, "\r"), selectHighlighted(false));
    EXPECT_EQ(resolve(Command::keypadEnterKey, std::nullopt), selectHighlighted(false));
    EXPECT_EQ(resolve(Command::escapeKey, "\x1b"), dismiss);
    EXPECT_EQ(resolve(Command::downArrowKey, ""), move(+1));
    EXPECT_EQ(resolve(Command::upArrowKey, "", capsLock | function), move(-1));
    EXPECT_EQ(resolve(tabKey, "\t"), std::nullopt);
    EXPECT_EQ(resolve(letterAKey, "a"), std::nullopt);
}

TEST(PasswordPickerKeyCommandTest, CommandAloneOnlyCopiesWithReturn) {
    EXPECT_EQ(resolve(Command::returnKey, "\r", Flags::command), selectHighlighted(true));
    EXPECT_EQ(resolve(Command::keypadEnterKey, "\x03", Flags::command), selectHighlighted(true));
    EXPECT_EQ(resolve(Command::escapeKey, "\x1b", Flags::command), std::nullopt);
    EXPECT_EQ(resolve(Command::downArrowKey, "", Flags::command), std::nullopt);
    EXPECT_EQ(resolve(Command::upArrowKey, "", Flags::command), std::nullopt);
}

TEST(PasswordPickerKeyCommandTest, ShiftControlOrOptionMeanNothingWhateverTheKey) {
    for (auto flag : {Flags::shift, Flags::control, Flags::option}) {
        for (auto flags : {flag, flag | Flags::command}) {
            EXPECT_EQ(resolve(digitThreeKey, "3", flags), std::nullopt) << flags;
            EXPECT_EQ(resolve(Command::returnKey, "\r", flags), std::nullopt) << flags;
            EXPECT_EQ(resolve(Command::escapeKey, "\x1b", flags), std::nullopt) << flags;
            EXPECT_EQ(resolve(Command::downArrowKey, "", flags), std::nullopt) << flags;
        }
    }
}

} // namespace
} // namespace kestrelle
