#include "Runtime/Logger.h"

#include "Support/LogCapture.h"

#include <gtest/gtest.h>

namespace kestrelle {
namespace {

TEST(LoggerTest, WritesIdentifiersAndNumbersIntoTheMessage) {
    test::LogCapture capture;
    auto id = *Uuid::parse("E621E1F8-C36C-495A-93FC-0C247A3E6E5F");
    Logger("Invocation").notice("Invocation {} started for pid {}", id, 42);
    Logger("Hotkey").error("Shortcut registration failed with status {}", -9878);

    auto records = capture.records();
    ASSERT_EQ(records.size(), 2U);
    EXPECT_EQ(records[0].subsystem, fixedBundleIdentifier);
    EXPECT_EQ(records[0].category, "Invocation");
    EXPECT_EQ(records[0].level, LogLevel::notice);
    EXPECT_EQ(records[0].message,
              "Invocation E621E1F8-C36C-495A-93FC-0C247A3E6E5F started for pid 42");
    EXPECT_EQ(records[1].level, LogLevel::error);
    EXPECT_EQ(records[1].message, "Shortcut registration failed with status -9878");
}

} // namespace
} // namespace kestrelle
