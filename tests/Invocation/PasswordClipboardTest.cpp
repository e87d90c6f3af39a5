#include "Invocation/PasswordClipboard.h"

#include "Support/FakePasteboard.h"
#include "Support/ManualExecutor.h"

#include <algorithm>
#include <functional>
#include <gtest/gtest.h>
#include <optional>

namespace kestrelle {
namespace {

using namespace std::chrono_literals;

class PasswordClipboardTest : public ::testing::Test {
protected:
    void copy(std::string_view password) {
        clipboard->copy(TransientSecret(SecretBytes(password.begin(), password.end())));
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
    std::optional<PasswordClipboard> clipboard{std::in_place, pasteboard, executor};
};

TEST_F(PasswordClipboardTest, ClearsAMinuteAfterTheLastCopy) {
    copy("first");
    executor.advance(30s);
    const auto second = executor.monotonicNow();
    copy("p\xC3\xA4ssw\xC3\xB6rd");
    EXPECT_TRUE(pasteboard.holds("p\xC3\xA4ssw\xC3\xB6rd"));
    EXPECT_EQ(timeUntilCleared(second), 60s);
    EXPECT_FALSE(pasteboard.text);
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
}

// What wiping buffers free while observed: the sizes, and whether any block held anything but
// zeros or was still lent to `lender`.
const test::FakePasteboard* lender = nullptr;
std::vector<std::size_t> freedSizes;
bool freedBadly = false;

void recordFreed(std::span<const std::byte> block) {
    const auto* lent =
        reinterpret_cast<const std::byte*>(lender->text ? lender->text->data() : nullptr);
    const bool stillLent =
        std::less_equal<>{}(block.data(), lent) && std::less<>{}(lent, block.data() + block.size());
    freedSizes.push_back(block.size());
    freedBadly = freedBadly || stillLent ||
                 std::ranges::any_of(block, [](auto b) { return b != std::byte{}; });
}

// The clipboard's copy of the password is wiped, once no longer lent, however it lets go.
TEST_F(PasswordClipboardTest, WipesTheCopyOnEveryWayOut) {
    const std::vector<std::pair<const char*, std::function<void()>>> ways{
        {"taken over",
         [&] {
             pasteboard.copyFromElsewhere();
             executor.advance(1s);
         }},
        {"cleared", [&] { executor.advance(60s); }},
        {"replaced", [&] { copy("other"); }},
        {"destroyed", [&] { clipboard.reset(); }},
    };
    lender = &pasteboard;
    observeFreedSecrets(&recordFreed);
    for (const auto& [way, letGo] : ways) {
        SCOPED_TRACE(way);
        copy("8 bytes!");
        freedSizes.clear();
        letGo();
        EXPECT_EQ(std::ranges::count(freedSizes, 8U), 1);
        EXPECT_FALSE(std::exchange(freedBadly, false));
    }
    observeFreedSecrets(nullptr);
}

} // namespace
} // namespace kestrelle
