#include "Picker/PasswordPickerSession.h"

#include <gtest/gtest.h>

namespace kestrelle {
namespace {

PasswordPickerSession sessionWith(std::size_t count) {
    PasswordPickerSession session{Uuid::random(), {}, PasswordAction::type, 0, false};
    for (std::size_t index = 0; index < count; ++index) {
        session.entries.emplace_back(Uuid::random(), "Entry " + std::to_string(index + 1));
    }
    return session;
}

TEST(PasswordPickerSessionTest, NumberKeysReachTheFirstNineEntriesOnce) {
    const auto ten = sessionWith(10);
    for (int number = 1; number <= 9; ++number) {
        auto session = ten;
        EXPECT_EQ(session.consumeShortcut(number),
                  ten.entries[static_cast<std::size_t>(number - 1)].id());
        EXPECT_TRUE(session.consumed);
        EXPECT_EQ(session.consumeShortcut(number), std::nullopt) << "a second choice";
    }
    const auto two = sessionWith(2);
    for (const auto& [list, number] : {std::pair{ten, 0}, {ten, 10}, {ten, -1}, {two, 3}}) {
        auto session = list;
        EXPECT_EQ(session.consumeShortcut(number), std::nullopt) << number;
        EXPECT_EQ(session, list) << "unchanged by " << number;
    }
}

} // namespace
} // namespace kestrelle
