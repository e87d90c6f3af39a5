#include "Runtime/Logger.h"

#include "Support/LogCapture.h"

#include <gtest/gtest.h>

namespace kestrelle {
namespace {

// Only literals and text marked public may be logged: text decoded from a secret is a string.
static_assert(!LogArgument<std::string> && !LogArgument<std::string_view> &&
              !LogArgument<const char*> && !LogArgument<std::u16string>);
static_assert(LogArgument<char[5]> && LogArgument<PublicText> && LogArgument<Uuid> &&
              LogArgument<bool>);

TEST(LoggerTest, WritesIdentifiersNumbersAndPublicTextIntoItsCategorysMessage) {
    test::LogCapture capture;
    auto id = *Uuid::parse("E621E1F8-C36C-495A-93FC-0C247A3E6E5F");
    Logger("Invocation").error("{} for pid {} in {}", id, -42, PublicText("Mail"));
    auto records = capture.records();
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].subsystem, fixedBundleIdentifier);
    EXPECT_EQ(records[0].category, "Invocation");
    EXPECT_EQ(records[0].level, LogLevel::error);
    EXPECT_EQ(records[0].message, "E621E1F8-C36C-495A-93FC-0C247A3E6E5F for pid -42 in Mail");
}

} // namespace
} // namespace kestrelle
