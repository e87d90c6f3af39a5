#include "Invocation/InputInjector.h"

#include "Invocation/KeystrokePlan.h"
#include "Runtime/Cancellation.h"
#include "Support/FakeInsertionTarget.h"
#include "Support/FakeKeyboardEvents.h"
#include "Support/FakeKeymapKeyboard.h"
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

// 38 code points: eight characters a US keymap lacks, and characters at both of its levels; as
// typed, and as stored.
constexpr std::u32string_view mixedCodePoints =
    U"K\u00E4se&Br\u00F6t-\u20AC42 \u6F22\u5B57\U0001F600 "
    U"Stra\u00DFe_\u00E4\u20AC\u6F22\U0001F600~Zz9!Qu\u00FC#";
const std::string_view mixed =
    reinterpret_cast<const char*>(u8"K\u00E4se&Br\u00F6t-\u20AC42 \u6F22\u5B57\U0001F600 "
                                  u8"Stra\u00DFe_\u00E4\u20AC\u6F22\U0001F600~Zz9!Qu\u00FC#");

class InputInjectorTest : public ::testing::Test {
protected:
    // Starts typing `password` (UTF-8) and runs until the first pause.
    test::TaskProbe<void> type(std::string_view password, InputInjector* through = nullptr) {
        secret = std::make_unique<TransientSecret>(SecretBytes(password.begin(), password.end()));
        running.emplace(executor, (through ? *through : injector).insert(*secret, target, [this] {
            return wanted;
        }));
        executor.runUntilIdle();
        return *running;
    }
    // Fresh keyboards of both kinds, `freeKeys` key codes free in the keymap, a fresh target.
    void reset(std::size_t freeKeys = 8) {
        keyboard = test::FakeKeyboardEvents{executor};
        keys = test::FakeKeymapKeyboard{executor, freeKeys};
        target = std::make_shared<test::FakeInsertionTarget>(targetPid);
        wanted = true;
        start = executor.monotonicNow();
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
    test::FakeKeymapKeyboard keys{executor, 8};
    InputInjector keymapInjector{keys};
    std::unique_ptr<TransientSecret> secret;
    std::optional<test::TaskProbe<void>> running;
    bool wanted = true;
};

// Each chunk of at most 20 units is a key-down and, 12 ms later, a key-up of virtual key 0
// without modifiers, both carrying its text, posted to the target's process alone; a surrogate
// pair at units 20 and 21 moves whole into the next chunk. The target is validated before the
// modifier wait, after it, and before each chunk.
TEST_F(InputInjectorTest, TypesChunksAsKeyPairsWithoutModifiersToTheTarget) {
    const auto probe =
        type("p\xC3\xA4ss \xE2\x82\xAC " + letters(12) + "\xF0\x9F\x94\x91" + letters(42));
    executor.advance(47ms);
    EXPECT_FALSE(probe.finished());
    executor.advance(1ms);
    ASSERT_TRUE(probe.succeeded());
    EXPECT_EQ(keyboard.chunkSizes(), (std::vector<std::size_t>{19, 20, 20, 4}));
    EXPECT_TRUE(test::sameUnits(keyboard.typedUnits(), u"p\u00E4ss \u20AC " + utf16(letters(12)) +
                                                           u"\U0001F511" + utf16(letters(42))));
    for (std::size_t index = 0; index < keyboard.posted.size(); ++index) {
        SCOPED_TRACE(index);
        const auto& event = keyboard.posted[index];
        EXPECT_EQ(event.keyDown, index % 2 == 0);
        // Down at 0, 12, 24, 36 ms; each up 12 ms later, and the next chunk right after it.
        EXPECT_EQ(event.at - start, 12ms * ((index + 1) / 2));
        EXPECT_EQ(event.processIdentifier, targetPid);
        EXPECT_EQ(event.flags, 0U);
        EXPECT_TRUE(event.units == keyboard.posted[index & ~1U].units);
    }
    EXPECT_EQ(target->validations, 6);

    // An empty password posts nothing.
    EXPECT_TRUE(type("").succeeded());
    EXPECT_EQ(keyboard.posted.size(), 8U);
}

TEST_F(InputInjectorTest, WaitsTwentyChecksForTheModifiersToBeReleased) {
    for (const int heldChecks : {19, 20}) {
        SCOPED_TRACE(heldChecks);
        reset();
        // Caps Lock and Fn are not shortcut modifiers.
        keyboard.releasedFlags = 0x10000 | 0x800000;
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
        reset();
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

TEST(KeystrokePlanTest, TypesWhatTheKeymapHasAndBindsFreeKeysForTheRestInRuns) {
    using Keymap = KeymapKeyboard::Keymap;
    // Key codes 10 and 13 are free; 11 has symbols at higher levels only.
    const Keymap keymap{
        .firstKeyCode = 8,
        .keys = {{'a', 'A'}, {0xFFE1}, {}, {.boundElsewhere = true}, {'b', 'a'}, {}}};
    const auto key = [](std::uint8_t keyCode) { return Keystroke{keyCode, std::nullopt}; };
    const std::vector<std::tuple<const Keymap&, std::u32string_view, KeystrokePlan>> cases{
        {keymap, U"aAb", KeystrokePlan{key(8), Keystroke{8, 9}, key(12)}},
        {keymap, U"\u00E4\U0001F600\u00E4",
         KeystrokePlan{KeyBinding{13, 0xE4}, KeyBinding{10, 0x0101F600}, key(13), key(10),
                       key(13)}},
        // A third character takes the key of one not needed in the run ahead.
        {keymap, U"\u00E4\u00F6\u00FC\u00F6",
         KeystrokePlan{KeyBinding{13, 0xE4}, KeyBinding{10, 0xF6}, key(13), key(10),
                       KeyBinding{13, 0xFC}, key(13), key(10)}},
    };
    for (const auto& [map, text, plan] : cases) {
        SCOPED_TRACE(testing::Message() << text.size() << " code points");
        EXPECT_EQ(planKeystrokes(map, text), plan);
    }
    // No Shift key and no free key code.
    EXPECT_THROW(planKeystrokes(Keymap{.firstKeyCode = 8, .keys = {{'a', 'A'}}}, U"aA"),
                 InputInjectionError);
}

// Through a US keymap that lacks eight of the password's characters, to a field that looks the
// keymap up late and with Caps Lock off or on: free key codes are bound in as few runs as they
// allow, with no wait before the keys. Keys go to whatever has the focus and combine with the
// modifier keys the user holds, so every key is preceded by a check and none follows a change;
// each waits for the window to have handled the one before, and a window that stops answering
// stops the typing. However typing ends, every key pressed types its character, no key is left down
// or bound and Caps Lock is as it was.
TEST_F(InputInjectorTest, TypesThroughTheKeymapAndStopsBeforeTheNextKeyAfterAnyChange) {
    const std::vector<std::tuple<const char*, std::string, std::size_t, std::function<void()>>>
        cases{
            {"8 free keys", "typed", 8, nullptr},
            {"1 free key", "typed", 1, nullptr},
            {"no free key", "noFreeKey", 0, nullptr},
            {"focus moved", "targetChanged", 3, [&] { target->failure = Kind::targetChanged; }},
            {"Shift held", "modifiersHeld", 3, [&] { keys.heldModifiers = modifier::shift; }},
            {"Alt held", "modifiersHeld", 3, [&] { keys.heldModifiers = modifier::option; }},
            {"not wanted", "cancelled", 3, [&] { wanted = false; }},
            {"cancelled", "cancelled", 3, [&] { running->cancel(); }},
            {"window hung", "unavailableTarget", 3, [&] { keys.hung = true; }},
            {"window not askable", "typed", 3, [&] { keys.askable = false; }},
        };
    for (const auto& [name, outcome, freeKeys, change] : cases) {
        for (const std::size_t after : {1, 2, 7, 30}) {
            for (const bool capsLock : {false, true}) {
                SCOPED_TRACE(testing::Message()
                             << name << " after key " << after << (capsLock ? " caps" : ""));
                reset(freeKeys);
                keys.capsLock = capsLock;
                keys.onKeyPress = {after, change ? change : [] {}};
                const auto probe = type(mixed, &keymapInjector);
                executor.advance(37 * InputInjector::keyInterval);
                EXPECT_EQ(keys.keyPresses == 38, freeKeys == 8);
                executor.advance(2s);
                EXPECT_EQ(outcomeOf(probe), outcome);
                const std::size_t typed = outcome == "typed" ? 38 : change ? after : 0;
                EXPECT_EQ(keys.keyPresses, typed);
                EXPECT_TRUE(std::ranges::equal(keys.typed | std::views::take(typed),
                                               mixedCodePoints.substr(0, typed)));
                EXPECT_TRUE(keys.map.keys == test::FakeKeymapKeyboard::usKeymap(freeKeys).keys);
                EXPECT_EQ(keys.keysDown, 0);
                EXPECT_EQ(keys.capsLock, capsLock);
            }
        }
    }
    reset();
    EXPECT_EQ(outcomeOf(type("\xE4", &keymapInjector)), "invalidUTF8");
}

} // namespace
} // namespace kestrelle
