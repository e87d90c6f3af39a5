#include "Invocation/PasswordClipboard.h"

#include "Invocation/InputInjectionError.h"
#include "Support/FakePasteboard.h"
#include "Support/ManualExecutor.h"

#include <gtest/gtest.h>

namespace kestrelle {
namespace {

using namespace std::chrono_literals;

constexpr auto plainText = PasswordClipboard::plainTextType;

class PasswordClipboardTest : public ::testing::Test {
protected:
    void copy(std::string_view password) {
        clipboard.copy(TransientSecret(SecretBytes(password.begin(), password.end())));
    }
    // Runs timers second by second until the pasteboard is cleared; the time it took.
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

TEST_F(PasswordClipboardTest, WritesConcealedTextAndClearsItAMinuteLater) {
    copy("p\xC3\xA4ssw\xC3\xB6rd");
    EXPECT_EQ(pasteboard.declaredTypes,
              (std::vector<std::string>{std::string(plainText),
                                        std::string(PasswordClipboard::concealedType)}));
    EXPECT_TRUE(pasteboard.holds(plainText, "p\xC3\xA4ssw\xC3\xB6rd"));
    EXPECT_TRUE(pasteboard.holds(PasswordClipboard::concealedType, ""));

    executor.advance(60s - 1ms);
    EXPECT_EQ(pasteboard.clears, 0);
    executor.advance(1ms);
    EXPECT_EQ(pasteboard.clears, 1);
    EXPECT_TRUE(pasteboard.values.empty());
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

TEST_F(PasswordClipboardTest, ASecondCopyRestartsThePeriod) {
    copy("first");
    executor.advance(30s);
    const auto second = executor.monotonicNow();
    copy("second");
    executor.advance(30s);
    EXPECT_TRUE(pasteboard.holds(plainText, "second"));
    EXPECT_EQ(timeUntilCleared(second), 60s);
    executor.advance(10min);
    EXPECT_EQ(pasteboard.clears, 1);
    EXPECT_EQ(executor.runningOperationCount(), 0U);
}

TEST_F(PasswordClipboardTest, LeavesWhatWasCopiedElsewhereAlone) {
    copy("secret");
    executor.advance(10s);
    pasteboard.copyFromElsewhere();
    executor.advance(60s);
    EXPECT_EQ(pasteboard.clears, 0);
    EXPECT_FALSE(pasteboard.declaredTypes.empty());
}

TEST_F(PasswordClipboardTest, InvalidUtf8TouchesNeitherThePasteboardNorThePendingClear) {
    copy("secret");
    executor.advance(30s);
    try {
        copy("bad\xC0\xAF");
        ADD_FAILURE() << "invalid UTF-8 was copied";
    } catch (const InputInjectionError& error) {
        EXPECT_EQ(error.kind(), InputInjectionError::Kind::invalidUTF8);
    }
    EXPECT_EQ(pasteboard.declarations, 1);
    EXPECT_TRUE(pasteboard.holds(plainText, "secret"));
    executor.advance(30s);
    EXPECT_EQ(pasteboard.clears, 1);
}

} // namespace
} // namespace kestrelle
