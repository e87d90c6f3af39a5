#include "Invocation/InputInjector.h"

#include "Invocation/AccessibilityInsertionTarget.h"
#include "Support/FakeAccessibility.h"
#include "Support/FakeApplicationWorkspace.h"
#include "Support/FakeInsertionTarget.h"
#include "Support/FakeKeyboardEvents.h"
#include "Support/LogCapture.h"
#include "Support/ManualExecutor.h"
#include "Support/TaskProbe.h"

#include <gtest/gtest.h>

namespace kestrelle {
namespace {

using namespace std::chrono_literals;
using Kind = InputInjectionError::Kind;
using test::sameUnits;

constexpr std::int32_t targetPid = 42;

// `count` ASCII units, so the UTF-8 and UTF-16 lengths agree.
std::string asciiPassword(std::size_t count) {
    std::string text;
    for (std::size_t index = 0; index < count; ++index) {
        text.push_back(static_cast<char>('a' + index % 26));
    }
    return text;
}

std::u16string utf16(std::string_view ascii) {
    return {ascii.begin(), ascii.end()};
}

std::optional<Kind> failureOf(const test::TaskProbe<void>& probe) {
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

class InputInjectorTest : public ::testing::Test {
protected:
    // Starts typing `password` (UTF-8) and runs until the first pause.
    test::TaskProbe<void> type(std::string_view password) { return typeInto(password, target); }
    test::TaskProbe<void> typeInto(std::string_view password,
                                   std::shared_ptr<CapturedInsertionTarget> into) {
        secret = std::make_unique<TransientSecret>(SecretBytes(password.begin(), password.end()));
        test::TaskProbe<void> probe(
            executor, injector.insert(*secret, std::move(into), [this] { return wanted; }));
        executor.runUntilIdle();
        return probe;
    }
    std::vector<std::size_t> chunkSizes() const {
        std::vector<std::size_t> sizes;
        for (const auto& event : keyboard.posted) {
            if (event.keyDown) {
                sizes.push_back(event.units.size());
            }
        }
        return sizes;
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
    const auto twenty = utf16(asciiPassword(20));
    EXPECT_EQ(InputInjector::utf16Chunks(twenty, 20), Chunks{twenty});

    const auto twentyOne = utf16(asciiPassword(21));
    const auto split = InputInjector::utf16Chunks(twentyOne, 20);
    ASSERT_EQ(split.size(), 2U);
    EXPECT_EQ(split[0].size(), 20U);
    EXPECT_EQ(split[1], u"u");

    // A pair at units 20 and 21 moves whole into the second chunk.
    const auto withKey = utf16(asciiPassword(19)) + u"\U0001F511" + u"z";
    EXPECT_EQ(InputInjector::utf16Chunks(withKey, 20),
              (Chunks{std::u16string_view(withKey).substr(0, 19), u"\U0001F511z"}));
    EXPECT_EQ(InputInjector::utf16Chunks(u"\U0001F511\U0001F512\U0001F513", 3),
              (Chunks{u"\U0001F511", u"\U0001F512", u"\U0001F513"}));

    // A lone surrogate counts as one unit.
    EXPECT_EQ(InputInjector::utf16Chunks(u"a\xD800", 2), Chunks{u"a\xD800"});

    EXPECT_TRUE(InputInjector::utf16Chunks(u"", 20).empty());
    for (int limit : {1, 0, -3}) {
        EXPECT_TRUE(InputInjector::utf16Chunks(u"abc", limit).empty()) << limit;
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
}

TEST_F(InputInjectorTest, SixtyFourUnitsAreFourChunksAndFortyEightMillisecondsOfHolds) {
    const auto password = asciiPassword(64);
    const auto probe = type(password);
    executor.advance(47ms);
    EXPECT_FALSE(probe.finished());
    executor.advance(1ms);
    ASSERT_TRUE(probe.succeeded());

    EXPECT_EQ(chunkSizes(), (std::vector<std::size_t>{20, 20, 20, 4}));
    ASSERT_EQ(keyboard.posted.size(), 8U);
    for (std::size_t index = 0; index < 8; ++index) {
        // Down at 0, 12, 24, 36 ms; each up 12 ms later, and the next chunk right after it.
        EXPECT_EQ(keyboard.posted[index].at - start, 12ms * ((index + 1) / 2)) << index;
        EXPECT_EQ(keyboard.posted[index].keyDown, index % 2 == 0) << index;
    }
    EXPECT_TRUE(sameUnits(keyboard.typedUnits(), utf16(password)));
    // Before the wait, after it, and before each chunk.
    EXPECT_EQ(target->validations, 6);
}

TEST_F(InputInjectorTest, AnEmptyPasswordPostsNothing) {
    const auto probe = type("");
    EXPECT_TRUE(probe.succeeded());
    EXPECT_TRUE(keyboard.posted.empty());
}

TEST_F(InputInjectorTest, WaitsTwentyChecksForTheModifiersToBeReleased) {
    // Caps Lock and Fn are not shortcut modifiers.
    keyboard.releasedFlags = 0x10000 | 0x800000;
    keyboard.heldChecks = 19;
    const auto released = type("abc");
    executor.advance(475ms);
    EXPECT_EQ(keyboard.posted.size(), 1U);
    executor.advance(12ms);
    EXPECT_TRUE(released.succeeded());
    EXPECT_EQ(keyboard.modifierChecks, 20);

    keyboard.posted.clear();
    keyboard.modifierChecks = 0;
    keyboard.heldChecks = 20;
    const auto held = type("abc");
    executor.advance(499ms);
    EXPECT_FALSE(held.finished());
    executor.advance(1ms);
    EXPECT_EQ(failureOf(held), Kind::modifiersHeld);
    EXPECT_EQ(keyboard.modifierChecks, 20);
    EXPECT_TRUE(keyboard.posted.empty());
}

TEST_F(InputInjectorTest, FailuresBeforeTheFirstChunkPostNothing) {
    EXPECT_EQ(failureOf(typeInto("abc", nullptr)), Kind::unavailableTarget);

    target->failure = Kind::permissionDenied;
    EXPECT_EQ(failureOf(type("abc")), Kind::permissionDenied);
    EXPECT_EQ(keyboard.modifierChecks, 0);

    // The target is validated again once the modifiers are up.
    target->failure.reset();
    keyboard.heldChecks = 1;
    const auto probe = type("abc");
    target->failure = Kind::targetChanged;
    executor.advance(25ms);
    EXPECT_EQ(failureOf(probe), Kind::targetChanged);

    target->failure.reset();
    EXPECT_EQ(failureOf(type("bad\xED\xA0\x80")), Kind::invalidUTF8);
    EXPECT_EQ(keyboard.sourcesMade, 0);

    keyboard.failSourceCreation = true;
    EXPECT_EQ(failureOf(type("abc")), Kind::eventCreationFailed);
    EXPECT_TRUE(keyboard.posted.empty());
}

TEST_F(InputInjectorTest, FailuresBetweenChunksKeepWhatWasTyped) {
    const auto password = asciiPassword(45);
    keyboard.failingEventCreations = {6};
    const auto noEvent = type(password);
    executor.advance(24ms);
    EXPECT_EQ(failureOf(noEvent), Kind::eventCreationFailed);
    EXPECT_EQ(chunkSizes(), (std::vector<std::size_t>{20, 20}));
    EXPECT_EQ(keyboard.posted.size(), 4U);

    keyboard.posted.clear();
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

TEST_F(InputInjectorTest, AnInsertionNoLongerWantedStopsBeforeTheNextChunkAfterTheKeyUp) {
    keyboard.afterPost = [this](const auto& event) {
        if (event.keyDown) {
            wanted = false;
        }
    };
    const auto probe = type(asciiPassword(30));
    executor.advance(11ms);
    EXPECT_FALSE(probe.finished());
    executor.advance(1ms);
    EXPECT_TRUE(probe.threw<CancelledError>());
    ASSERT_EQ(keyboard.posted.size(), 2U);
    EXPECT_FALSE(keyboard.posted[1].keyDown);

    // While waiting for the modifiers too.
    keyboard.posted.clear();
    keyboard.afterPost = nullptr;
    keyboard.heldChecks = 100;
    wanted = true;
    const auto waiting = type("abc");
    EXPECT_FALSE(waiting.finished());
    wanted = false;
    executor.advance(25ms);
    EXPECT_TRUE(waiting.threw<CancelledError>());
    EXPECT_TRUE(keyboard.posted.empty());
}

TEST_F(InputInjectorTest, ACancelledHoldPostsItsKeyUpAtOnce) {
    const auto probe = type(asciiPassword(30));
    executor.advance(5ms);
    probe.cancel();
    executor.runUntilIdle();
    EXPECT_TRUE(probe.threw<CancelledError>());
    ASSERT_EQ(keyboard.posted.size(), 2U);
    EXPECT_FALSE(keyboard.posted[1].keyDown);
    EXPECT_EQ(keyboard.posted[1].at - start, 5ms);
    EXPECT_EQ(executor.pendingTimerCount(), 0U);
}

// With the real target: the user moves to another field of the same window mid-way.
TEST_F(InputInjectorTest, MovingFocusWithinTheApplicationStopsTyping) {
    test::LogCapture logs;
    test::FakeAccessibility accessibility;
    test::FakeApplicationWorkspace workspace;
    const auto field = test::FakeAccessibility::textField();
    const auto otherField = test::FakeAccessibility::textField();
    const auto editor = accessibility.addApplication(
        targetPid, {test::FakeAccessibility::group({field, otherField})});
    workspace.frontmost = FrontmostApplication{targetPid, "com.example.editor"};
    test::FakeAccessibility::focus(editor, field);
    const auto captured = AccessibilityInsertionTarget::capture(accessibility, workspace);
    ASSERT_TRUE(captured);

    keyboard.afterPost = [&](const auto& event) {
        if (!event.keyDown) {
            test::FakeAccessibility::focus(editor, otherField);
            accessibility.postFocusChanged(targetPid);
        }
    };
    const auto probe = typeInto(asciiPassword(30), captured);
    executor.advance(12ms);
    EXPECT_EQ(failureOf(probe), Kind::targetChanged);
    EXPECT_EQ(chunkSizes(), std::vector<std::size_t>{20});
}

} // namespace
} // namespace kestrelle
