#include "Invocation/PasswordClipboard.h"

#include "Invocation/InputInjectionError.h"
#include "Support/FakePasteboard.h"
#include "Support/ManualExecutor.h"

#include <gtest/gtest.h>

namespace kestrelle {
namespace {

using namespace std::chrono_literals;

constexpr auto plainText = PasswordClipboard::plainTextType;
constexpr auto concealed = PasswordClipboard::concealedType;

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

// The text goes out with the marker that keeps clipboard managers from storing it, and is cleared
// a minute after the last copy.
TEST_F(PasswordClipboardTest, WritesConcealedTextAndClearsItAMinuteAfterTheLastCopy) {
    copy("first");
    executor.advance(30s);
    const auto second = executor.monotonicNow();
    copy("p\xC3\xA4ssw\xC3\xB6rd");
    EXPECT_EQ(pasteboard.declaredTypes,
              (std::vector<std::string>{std::string(plainText), std::string(concealed)}));
    EXPECT_TRUE(pasteboard.holds(plainText, "p\xC3\xA4ssw\xC3\xB6rd"));
    EXPECT_TRUE(pasteboard.holds(concealed, ""));
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

// Neither what was copied since elsewhere, nor what was there before an invalid password.
TEST_F(PasswordClipboardTest, ClearsOnlyItsOwnCopyAndNeverCopiesInvalidUtf8) {
    copy("secret");
    executor.advance(30s);
    EXPECT_THROW(copy("bad\xC0\xAF"), InputInjectionError);
    EXPECT_EQ(pasteboard.declarations, 1);
    EXPECT_TRUE(pasteboard.holds(plainText, "secret"));
    executor.advance(30s);
    EXPECT_EQ(pasteboard.clears, 1) << "the pending clear still ran";

    copy("secret");
    pasteboard.copyFromElsewhere();
    executor.advance(2min);
    EXPECT_EQ(pasteboard.clears, 1);
    EXPECT_FALSE(pasteboard.declaredTypes.empty());
}

} // namespace
} // namespace kestrelle
