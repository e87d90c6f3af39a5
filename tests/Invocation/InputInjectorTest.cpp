#include "Invocation/InputInjector.h"

#include "Runtime/Cancellation.h"
#include "Support/FakeInsertionTarget.h"
#include "Support/FakeKeyboardEvents.h"
#include "Support/ManualExecutor.h"
#include "Support/TaskProbe.h"

#include <gtest/gtest.h>

namespace kestrelle {
namespace {

using namespace std::chrono_literals;
using Kind = InputInjectionError::Kind;

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
    test::TaskProbe<void> type(std::string_view password) {
        secret = std::make_unique<TransientSecret>(SecretBytes(password.begin(), password.end()));
        test::TaskProbe<void> probe(executor,
                                    injector.insert(*secret, target, [this] { return wanted; }));
        executor.runUntilIdle();
        return probe;
    }
    // How the typing ended: "typed", "cancelled", the error's name, or "running".
    static std::string outcomeOf(const test::TaskProbe<void>& probe) {
        try {
            if (probe.error()) {
                std::rethrow_exception(probe.error());
            }
            return probe.finished() ? "typed" : "running";
        } catch (const InputInjectionError& error) {
            return std::string(error.name());
        } catch (const CancelledError&) {
            return "cancelled";
        }
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
    const auto twentyOne = utf16(letters(21));
    // A pair at units 20 and 21 moves whole into the second chunk.
    const auto withKey = utf16(letters(19)) + u"\U0001F511z";
    const std::vector<std::tuple<std::u16string_view, int, Chunks>> cases{
        {twentyOne, 21, {twentyOne}},
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

// Each chunk of at most 20 units is a key-down and, 12 ms later, a key-up of virtual key 0
// without modifiers, both carrying its text, posted to the target's process alone. The target is
// validated before the modifier wait, after it, and before each chunk.
TEST_F(InputInjectorTest, TypesChunksAsKeyPairsWithoutModifiersToTheTarget) {
    const auto probe = type("p\xC3\xA4ss \xE2\x82\xAC \xF0\x9F\x94\x91" + letters(55));
    executor.advance(47ms);
    EXPECT_FALSE(probe.finished());
    executor.advance(1ms);
    ASSERT_TRUE(probe.succeeded());
    EXPECT_EQ(keyboard.chunkSizes(), (std::vector<std::size_t>{20, 20, 20, 4}));
    EXPECT_TRUE(test::sameUnits(keyboard.typedUnits(),
                                u"p\u00E4ss \u20AC \U0001F511" + utf16(letters(55))));
    for (std::size_t index = 0; index < keyboard.posted.size(); ++index) {
        SCOPED_TRACE(index);
        const auto& event = keyboard.posted[index];
        EXPECT_EQ(event.keyDown, index % 2 == 0);
        // Down at 0, 12, 24, 36 ms; each up 12 ms later, and the next chunk right after it.
        EXPECT_EQ(event.at - start, 12ms * ((index + 1) / 2));
        EXPECT_EQ(event.processIdentifier, targetPid);
        EXPECT_EQ(event.flags, 0U);
        EXPECT_EQ(event.virtualKey, 0);
        EXPECT_TRUE(event.units == keyboard.posted[index & ~1U].units);
    }
    EXPECT_EQ(target->validations, 6);

    keyboard.posted.clear();
    EXPECT_TRUE(type("").succeeded());
    EXPECT_TRUE(keyboard.posted.empty());
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
        EXPECT_EQ(outcomeOf(probe), heldChecks == 20 ? "modifiersHeld" : "typed");
        EXPECT_EQ(keyboard.posted.size(), heldChecks == 20 ? 0U : 2U);
    }
}

// Typing that fails or is no longer wanted ends with what was typed by then, and every key-down
// posted has its key-up (a cancelled hold's at once).
TEST_F(InputInjectorTest, StopsBeforeAnyOrTheNextChunkWithoutLeavingAKeyDown) {
    struct Case {
        const char* name;
        std::function<void()> before;
        std::string outcome;
        std::size_t posted;
        std::string password = letters(45);
        std::function<void(const test::TaskProbe<void>&)> after = [](const auto&) {};
    };
    const auto failBetweenChunks = [this](const auto& event) {
        if (!event.keyDown) {
            target->failure = Kind::targetChanged;
        }
    };
    const std::vector<Case> cases{
        {"no target", [&] { target = nullptr; }, "unavailableTarget", 0},
        {"invalid at once", [&] { target->failure = Kind::permissionDenied; }, "permissionDenied",
         0},
        {"invalid after the modifier wait",
         [&] {
             keyboard.heldChecks = 1;
             executor.scheduleAfter(10ms, [&] { target->failure = Kind::targetChanged; });
         },
         "targetChanged", 0},
        {"invalid UTF-8", [] {}, "invalidUTF8", 0, "bad\xED\xA0\x80"},
        {"no event source", [&] { keyboard.failSourceCreation = true; }, "eventCreationFailed", 0},
        {"no event for the third chunk", [&] { keyboard.failingEventCreation = 6; },
         "eventCreationFailed", 4},
        {"invalid after the first chunk", [&] { keyboard.afterPost = failBetweenChunks; },
         "targetChanged", 2},
        {"unwanted during the first hold",
         [&] {
             keyboard.afterPost = [this](const auto& event) { wanted = wanted && !event.keyDown; };
         },
         "cancelled", 2},
        {"unwanted during the modifier wait", [&] { keyboard.heldChecks = 100; }, "cancelled", 0,
         "abc", [&](const auto&) { wanted = false; }},
        {"cancelled during the first hold", [] {}, "cancelled", 2, letters(45),
         [&](const auto& probe) {
             executor.advance(5ms);
             probe.cancel();
             executor.runUntilIdle();
             EXPECT_EQ(keyboard.posted.back().at - start, 5ms);
         }},
    };
    for (const auto& [name, before, outcome, posted, password, after] : cases) {
        SCOPED_TRACE(name);
        keyboard = test::FakeKeyboardEvents{executor};
        target = std::make_shared<test::FakeInsertionTarget>(targetPid);
        wanted = true;
        start = executor.monotonicNow();
        before();
        const auto probe = type(password);
        after(probe);
        executor.advance(1s);
        EXPECT_EQ(outcomeOf(probe), outcome);
        EXPECT_EQ(keyboard.posted.size(), posted);
        EXPECT_TRUE(posted == 0 || !keyboard.posted.back().keyDown);
        // Whole chunks of 20 units each.
        EXPECT_TRUE(test::sameUnits(keyboard.typedUnits(), utf16(letters(posted / 2 * 20))));
    }
}

} // namespace
} // namespace kestrelle
