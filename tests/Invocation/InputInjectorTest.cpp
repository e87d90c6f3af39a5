#include "Invocation/InputInjector.h"

#include "Support/FakeInsertionTarget.h"
#include "Support/FakeKeyboardEvents.h"
#include "Support/ManualExecutor.h"
#include "Support/TaskProbe.h"

#include <gtest/gtest.h>

namespace kestrelle {
namespace {

using namespace std::chrono_literals;
using Kind = InputInjectionError::Kind;
using test::sameUnits;

constexpr std::int32_t targetPid = 42;

// `count` ASCII letters, so the UTF-8 and UTF-16 lengths agree.
std::string letters(std::size_t count) {
    std::string text;
    for (std::size_t index = 0; index < count; ++index) {
        text.push_back(static_cast<char>('a' + index % 26));
    }
    return text;
}

std::u16string utf16(std::string_view ascii) {
    return {ascii.begin(), ascii.end()};
}

class InputInjectorTest : public ::testing::Test {
protected:
    // Starts typing `password` (UTF-8) and runs until the first pause.
    test::TaskProbe<void> type(std::string_view password,
                               std::shared_ptr<CapturedInsertionTarget> into = nullptr) {
        secret = std::make_unique<TransientSecret>(SecretBytes(password.begin(), password.end()));
        test::TaskProbe<void> probe(
            executor, injector.insert(*secret, into ? into : target, [this] { return wanted; }));
        executor.runUntilIdle();
        return probe;
    }
    static std::optional<Kind> failureOf(const test::TaskProbe<void>& probe) {
        try {
            if (probe.error()) {
                std::rethrow_exception(probe.error());
            }
        } catch (const InputInjectionError& error) {
            return error.kind();
        } catch (...) {
        }
        return std::nullopt;
    }
    test::ManualExecutor executor;
    MonotonicTime start = executor.monotonicNow();
    test::FakeKeyboardEvents keyboard{executor};
    std::shared_ptr<test::FakeInsertionTarget> target =
        std::make_shared<test::FakeInsertionTarget>(targetPid);
    InputInjector injector{keyboard};
    std::unique_ptr<TransientSecret> secret;
    bool wanted = true;
};

TEST(InputInjectorChunksTest, KeepWithinTheLimitAndNeverSplitASurrogatePair) {
    using Chunks = std::vector<std::u16string_view>;
    const auto twenty = utf16(letters(20));
    const auto twentyOne = utf16(letters(21));
    // A pair at units 20 and 21 moves whole into the second chunk.
    const auto withKey = utf16(letters(19)) + u"\U0001F511z";
    const std::vector<std::tuple<std::u16string_view, int, Chunks>> cases{
        {twenty, 20, {twenty}},
        {twentyOne, 20, {std::u16string_view(twentyOne).substr(0, 20), u"u"}},
        {withKey, 20, {std::u16string_view(withKey).substr(0, 19), u"\U0001F511z"}},
        {u"\U0001F511\U0001F512\U0001F513", 3, {u"\U0001F511", u"\U0001F512", u"\U0001F513"}},
        {u"a\xD800", 2, {u"a\xD800"}}, // a lone surrogate is one unit
        {u"", 20, {}},
        {u"abc", 1, {}},
        {u"abc", -3, {}},
    };
    for (const auto& [text, limit, chunks] : cases) {
        SCOPED_TRACE(testing::Message() << text.size() << " units, limit " << limit);
        EXPECT_EQ(InputInjector::utf16Chunks(text, limit), chunks);
    }
}

TEST_F(InputInjectorTest, TypesUnicodeAsKeyPairsOfVirtualKeyZeroWithoutModifiersToTheTarget) {
    const auto probe = type("p\xC3\xA4ss \xE2\x82\xAC \xF0\x9F\x94\x91");
    executor.advance(12ms);
    ASSERT_TRUE(probe.succeeded());
    ASSERT_EQ(keyboard.posted.size(), 2U);
    EXPECT_EQ(keyboard.sourcesMade, 1);
    for (const auto& event : keyboard.posted) {
        EXPECT_EQ(event.processIdentifier, targetPid);
        EXPECT_EQ(event.flags, 0U);
        EXPECT_EQ(event.virtualKey, 0);
        EXPECT_EQ(event.source, 1);
        EXPECT_TRUE(sameUnits(event.units, u"p\u00E4ss \u20AC \U0001F511"));
    }
    EXPECT_TRUE(keyboard.posted[0].keyDown);
    EXPECT_FALSE(keyboard.posted[1].keyDown);

    keyboard.posted.clear();
    EXPECT_TRUE(type("").succeeded());
    EXPECT_TRUE(keyboard.posted.empty());
}

TEST_F(InputInjectorTest, SixtyFourUnitsAreFourChunksAndFortyEightMillisecondsOfHolds) {
    const auto password = letters(64);
    const auto probe = type(password);
    executor.advance(47ms);
    EXPECT_FALSE(probe.finished());
    executor.advance(1ms);
    ASSERT_TRUE(probe.succeeded());
    EXPECT_EQ(keyboard.chunkSizes(), (std::vector<std::size_t>{20, 20, 20, 4}));
    ASSERT_EQ(keyboard.posted.size(), 8U);
    for (std::size_t index = 0; index < 8; ++index) {
        SCOPED_TRACE(index);
        // Down at 0, 12, 24, 36 ms; each up 12 ms later, and the next chunk right after it.
        EXPECT_EQ(keyboard.posted[index].at - start, 12ms * ((index + 1) / 2));
        EXPECT_EQ(keyboard.posted[index].keyDown, index % 2 == 0);
    }
    EXPECT_TRUE(sameUnits(keyboard.typedUnits(), utf16(password)));
    // Before the wait, after it, and before each chunk.
    EXPECT_EQ(target->validations, 6);
}

TEST_F(InputInjectorTest, WaitsTwentyChecksForTheModifiersToBeReleased) {
    // Caps Lock and Fn are not shortcut modifiers.
    keyboard.releasedFlags = 0x10000 | 0x800000;
    for (const int heldChecks : {19, 20}) {
        SCOPED_TRACE(heldChecks);
        keyboard.posted.clear();
        keyboard.modifierChecks = 0;
        keyboard.heldChecks = heldChecks;
        const auto probe = type("abc");
        executor.advance(25ms * heldChecks - 1ms);
        EXPECT_FALSE(probe.finished());
        executor.advance(1ms + 12ms);
        EXPECT_EQ(keyboard.modifierChecks, 20);
        EXPECT_EQ(failureOf(probe),
                  heldChecks == 20 ? std::optional(Kind::modifiersHeld) : std::nullopt);
        EXPECT_EQ(keyboard.posted.size(), heldChecks == 20 ? 0U : 2U);
    }
}

TEST_F(InputInjectorTest, FailuresBeforeTheFirstChunkPostNothing) {
    struct Case {
        const char* name;
        std::function<void()> breakIt;
        Kind failure;
        std::string password = "abc";
    };
    const std::vector<Case> cases{
        {"no target", [&] { target = nullptr; }, Kind::unavailableTarget},
        {"invalid at once", [&] { target->failure = Kind::permissionDenied; },
         Kind::permissionDenied},
        // The target is validated again once the modifiers are up.
        {"invalid after the wait",
         [&] {
             keyboard.heldChecks = 1;
             executor.scheduleAfter(10ms, [&] { target->failure = Kind::targetChanged; });
         },
         Kind::targetChanged},
        {"invalid UTF-8", [] {}, Kind::invalidUTF8, "bad\xED\xA0\x80"},
        {"no event source", [&] { keyboard.failSourceCreation = true; }, Kind::eventCreationFailed},
    };
    for (const auto& [name, breakIt, failure, password] : cases) {
        SCOPED_TRACE(name);
        keyboard = test::FakeKeyboardEvents{executor};
        target = std::make_shared<test::FakeInsertionTarget>(targetPid);
        breakIt();
        const auto probe = type(password, target);
        executor.advance(1s);
        EXPECT_EQ(failureOf(probe), failure);
        EXPECT_TRUE(keyboard.posted.empty());
    }
}

TEST_F(InputInjectorTest, FailuresBetweenChunksKeepWhatWasTyped) {
    const auto password = letters(45);
    keyboard.failingEventCreation = 6;
    const auto noEvent = type(password);
    executor.advance(24ms);
    EXPECT_EQ(failureOf(noEvent), Kind::eventCreationFailed);
    EXPECT_EQ(keyboard.chunkSizes(), (std::vector<std::size_t>{20, 20}));
    EXPECT_EQ(keyboard.posted.size(), 4U);

    keyboard = test::FakeKeyboardEvents{executor};
    keyboard.afterPost = [this](const auto& event) {
        if (!event.keyDown) {
            target->failure = Kind::targetChanged;
        }
    };
    const auto moved = type(password);
    executor.advance(12ms);
    EXPECT_EQ(failureOf(moved), Kind::targetChanged);
    EXPECT_TRUE(sameUnits(keyboard.typedUnits(), utf16(password.substr(0, 20))));
    EXPECT_EQ(keyboard.posted.size(), 2U);
}

TEST_F(InputInjectorTest, AnInsertionNoLongerWantedStopsBeforeItsNextStep) {
    keyboard.afterPost = [this](const auto& event) { wanted = wanted && !event.keyDown; };
    const auto typing = type(letters(30));
    executor.advance(11ms);
    EXPECT_FALSE(typing.finished());
    executor.advance(1ms);
    EXPECT_TRUE(typing.threw<CancelledError>());
    ASSERT_EQ(keyboard.posted.size(), 2U);
    EXPECT_FALSE(keyboard.posted[1].keyDown) << "the chunk under way still gets its key-up";

    // While waiting for the modifiers too.
    keyboard = test::FakeKeyboardEvents{executor};
    keyboard.heldChecks = 100;
    wanted = true;
    const auto waiting = type("abc");
    wanted = false;
    executor.advance(25ms);
    EXPECT_TRUE(waiting.threw<CancelledError>());
    EXPECT_TRUE(keyboard.posted.empty());
}

TEST_F(InputInjectorTest, ACancelledHoldPostsItsKeyUpAtOnce) {
    const auto probe = type(letters(30));
    executor.advance(5ms);
    probe.cancel();
    executor.runUntilIdle();
    EXPECT_TRUE(probe.threw<CancelledError>());
    ASSERT_EQ(keyboard.posted.size(), 2U);
    EXPECT_FALSE(keyboard.posted[1].keyDown);
    EXPECT_EQ(keyboard.posted[1].at - start, 5ms);
    EXPECT_EQ(executor.pendingTimerCount(), 0U);
}

} // namespace
} // namespace kestrelle
