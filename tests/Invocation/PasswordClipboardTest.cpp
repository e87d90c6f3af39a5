#include "Invocation/PasswordClipboard.h"

#include "Support/FakePasteboard.h"
#include "Support/ManualExecutor.h"

#include <gtest/gtest.h>

namespace kestrelle {
namespace {

using namespace std::chrono_literals;

class PasswordClipboardTest : public ::testing::Test {
protected:
    void copy(std::string_view password) {
        clipboard.copy(TransientSecret(SecretBytes(password.begin(), password.end())));
    }
    // Runs timers second by second until the pasteboard is cleared; the time since `since`.
    Duration timeUntilCleared(MonotonicTime since) {
        while (pasteboard.clears == 0 && executor.monotonicNow() - since < 5min) {
            executor.advance(1s);
        }
        return executor.monotonicNow() - since;
    }

    test::ManualExecutor executor;
    test::FakePasteboard pasteboard;
    PasswordClipboard clipboard{pasteboard, executor};
};

TEST_F(PasswordClipboardTest, ClearsAMinuteAfterTheLastCopy) {
    copy("first");
    executor.advance(30s);
    const auto second = executor.monotonicNow();
    copy("p\xC3\xA4ssw\xC3\xB6rd");
    EXPECT_EQ(timeUntilCleared(second), 60s);
    EXPECT_TRUE(pasteboard.values.empty());
    executor.advance(10min);
    EXPECT_EQ(pasteboard.clears, 1);
    EXPECT_EQ(executor.runningOperationCount(), 0U);
}

// The minute goes on while the computer sleeps, which timers do not see; a wall clock set back
// does not stretch it.
TEST_F(PasswordClipboardTest, TheMinuteCountsTimeAsleep) {
    const std::vector<std::pair<Duration, Duration>> cases{
        {10min, 11s}, {45s, 15s}, {-1h, 60s}, {0s, 60s}};
    for (const auto& [asleep, clearedAfter] : cases) {
        SCOPED_TRACE(std::chrono::duration_cast<std::chrono::seconds>(asleep).count());
        pasteboard.clears = 0;
        const auto start = executor.monotonicNow();
        copy("secret");
        executor.advance(10s);
        executor.shiftWallClock(asleep);
        EXPECT_EQ(timeUntilCleared(start), clearedAfter);
    }
}

// What was copied since elsewhere is not the clipboard's to clear.
TEST_F(PasswordClipboardTest, ClearsOnlyItsOwnCopy) {
    copy("secret");
    pasteboard.copyFromElsewhere();
    executor.advance(2min);
    EXPECT_EQ(pasteboard.clears, 0);
    EXPECT_FALSE(pasteboard.declaredTypes.empty());
}

} // namespace
} // namespace kestrelle
