#include "Picker/PasswordPicker.h"

#include "Runtime/ModifierFlags.h"
#include "Shortcut/Hotkey.h"
#include "Support/FakePickerPanel.h"
#include "Support/ManualExecutor.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace kestrelle {
namespace {

using namespace std::chrono_literals;
using Command = PasswordPickerKeyCommand;
using Key = PasswordPickerKeyEvent;
using Screen = PasswordPickerPanel::Screen;
using Strings = std::vector<std::string>;
namespace Flags = modifier;

const Key returnKey{kestrelle::Key::returnKey, "\r"};
const Key escapeKey{kestrelle::Key::escape, "\x1b"};
const Key downKey{kestrelle::Key::downArrow, ""};
const Key upKey{kestrelle::Key::upArrow, ""};
Key digit(int number, std::uint64_t flags = 0) {
    return {std::nullopt, std::to_string(number), flags};
}

class PasswordPickerTest : public ::testing::Test {
protected:
    PasswordPickerTest() { makePicker(); }

    void makePicker(bool screenYGrowsDown = false) {
        auto owned = std::make_unique<test::FakePickerPanel>();
        panel = owned.get();
        picker = PasswordPicker::create(std::move(owned), executor, screenYGrowsDown);
        picker->setOnSelection([this](Uuid invocationID, Uuid entryID, PasswordAction action) {
            const auto entry = std::ranges::find(entries, entryID, &EntryMetadata::id);
            record("select " + std::to_string(entry - entries.begin()) +
                       (action == PasswordAction::copy ? " copy" : " type"),
                   invocationID);
        });
        picker->setOnDismiss([this](Uuid invocationID) { record("dismiss", invocationID); });
        picker->setOnConfigure([this] { record("configure", invocation); });
    }

    void show(std::size_t count, bool canType = true) {
        entries.clear();
        for (std::size_t index = 0; index < count; ++index) {
            entries.emplace_back(Uuid::random(), "Entry " + std::to_string(index + 1));
        }
        invocation = Uuid::random();
        picker->show(invocation, entries, canType);
        executor.runUntilIdle();
    }

    // Every outcome is reported with the picker already hidden and deaf.
    void record(const std::string& outcome, Uuid invocationID) {
        EXPECT_FALSE(panel->visible) << outcome;
        EXPECT_EQ(panel->monitorCount(), 0U) << outcome;
        outcomes.push_back(outcome + (invocationID == invocation ? "" : " for another invocation"));
    }

    test::ManualExecutor executor;
    test::FakePickerPanel* panel = nullptr;
    std::shared_ptr<PasswordPicker> picker;
    std::vector<EntryMetadata> entries;
    Uuid invocation = Uuid::random();
    Strings outcomes;
};

TEST_F(PasswordPickerTest, ShowingTakesFocusWatchesEventsAndHighlightsTheFirstRow) {
    show(3);
    EXPECT_EQ(panel->calls, (Strings{"render", "order front", "make key"}));
    EXPECT_EQ(panel->monitorCount(), 3U);
    EXPECT_EQ(panel->content->rows().size(), 3U);
    EXPECT_EQ(panel->content->highlightedIndex(), 0);

    panel->press(downKey);
    EXPECT_EQ(panel->revealedRow, 1) << "a moved highlight is redrawn and scrolled to";
    panel->localClickMonitor(true);
    panel->content->clickRow(7, 0);
    EXPECT_TRUE(picker->isVisible()) << "clicks on the panel and on no row keep it";

    executor.advance(500ms);
    show(2);
    EXPECT_EQ(panel->monitorCount(), 3U);
    EXPECT_EQ(executor.runningOperationCount(), 1U) << "the first session's settling is gone";
    EXPECT_TRUE(outcomes.empty()) << "the first session was replaced silently";
}

// The panel hangs below the pointer, whichever way the screen's y runs; near a corner it moves
// inside the visible frame of the pointer's screen, and with no screen at all inside the
// fallback frame.
TEST_F(PasswordPickerTest, ThePanelHangsBelowThePointerInsideTheVisibleFrame) {
    for (const bool yDown : {false, true}) {
        SCOPED_TRACE(yDown ? "y grows downwards" : "y grows upwards");
        makePicker(yDown);
        const auto expectInside = [&](const Rect& frame) {
            const Size size = panel->contentSize;
            const Point at = panel->frameOrigin;
            EXPECT_EQ(size.width, PasswordPicker::panelWidth);
            EXPECT_TRUE(at.x >= frame.x && at.x + size.width <= frame.x + frame.width);
            EXPECT_TRUE(at.y >= frame.y && at.y + size.height <= frame.y + frame.height);
        };
        show(3);
        const double top =
            yDown ? panel->frameOrigin.y : panel->frameOrigin.y + panel->contentSize.height;
        EXPECT_EQ(top, panel->pointer.y + (yDown ? 1 : -1) * PasswordPicker::pointerGap);
        for (const Point corner : {Point{1439, 899}, Point{0, 0}}) {
            panel->pointer = corner;
            show(20);
            expectInside(panel->allScreens.front().visibleFrame);
        }
        panel->allScreens.clear();
        panel->main.reset();
        show(3);
        expectInside(PasswordPicker::fallbackScreenFrame);
    }
}

TEST_F(PasswordPickerTest, KeysChooseMoveAndDismiss) {
    constexpr std::uint64_t capsLock = 0x10000, numericPad = 0x200000, function = 0x800000;
    using Id = kestrelle::Key;
    const struct {
        std::size_t count;
        std::vector<Key> keys;
        Strings outcomes;
        bool canType = true;
        // Keys that make a command are kept from the other application, even when it does nothing.
        bool swallowed = true;
    } cases[] = {
        {10, {digit(1)}, {"select 0 type"}},
        {10, {digit(9)}, {"select 8 type"}},
        {2, {digit(0), digit(3)}, {}},
        {10, {digit(3, Flags::command)}, {"select 2 copy"}},
        {10, {digit(3, numericPad)}, {"select 2 type"}},
        {10, {Key{returnKey.key, "7"}}, {"select 6 type"}},
        {10, {Key{Id::keypadEnter, std::nullopt}}, {"select 0 type"}},
        {10, {downKey, Key{returnKey.key, "\r", Flags::command}}, {"select 1 copy"}},
        {10, {Key{downKey.key, "", capsLock | function}, returnKey}, {"select 1 type"}},
        {3, {upKey, returnKey}, {"select 0 type"}},
        {3, {downKey, downKey, downKey, returnKey}, {"select 2 type"}},
        {3, {returnKey}, {"select 0 copy"}, false},
        {3, {digit(2)}, {"select 1 copy"}, false},
        {0, {returnKey, downKey, upKey, digit(1), escapeKey}, {"dismiss"}},
        {10, {Key{escapeKey.key, "\x1b", Flags::command}, Key{Id::tab, "\t"}}, {}, true, false},
        {10, {Key{downKey.key, "", Flags::command}, Key{Id::a, "a"}}, {}, true, false},
    };
    for (std::size_t index = 0; const auto& each : cases) {
        // Shift, Control or Option make any key mean nothing.
        for (const auto modifier :
             {std::uint64_t{0}, Flags::shift, Flags::control, Flags::option}) {
            SCOPED_TRACE(testing::Message() << "case " << index << " modifier " << modifier);
            outcomes.clear();
            show(each.count, each.canType);
            for (auto key : each.keys) {
                key.modifierFlags |= modifier;
                EXPECT_EQ(panel->press(key), each.swallowed && modifier == 0);
            }
            EXPECT_EQ(outcomes, modifier == 0 ? each.outcomes : Strings{});
            EXPECT_EQ(picker->isVisible(), outcomes.empty());
        }
        ++index;
    }
}

// Under a keyboard grab the global shortcut's press reaches the picker: it dismisses it, with its
// four modifiers exactly and whatever the locks.
TEST_F(PasswordPickerTest, TheShortcutsPressDismissesThePicker) {
    const Hotkey shortcut{kestrelle::Key::space, Flags::control | Flags::option};
    picker->setShortcut(
        [&](const Key& key) { return shortcut.matches(key.key, key.modifierFlags); });
    show(3);
    for (const auto flags : {Flags::control, Flags::control | Flags::option | Flags::shift}) {
        EXPECT_FALSE(panel->press({kestrelle::Key::space, " ", flags}));
    }
    EXPECT_TRUE(
        panel->press({kestrelle::Key::space, " ", Flags::control | Flags::option | 0x10000}));
    EXPECT_EQ(outcomes, Strings{"dismiss"});
}

TEST_F(PasswordPickerTest, EveryWayOutReportsOneOutcomeAndLaterEventsNothing) {
    const std::pair<std::function<void()>, Strings> cases[] = {
        {[&] { panel->press(returnKey); }, {"select 0 type"}},
        {[&] { panel->content->clickRow(1, 0); }, {"select 1 type"}},
        {[&] { panel->content->clickRow(1, Flags::command); }, {"select 1 copy"}},
        {[&] { panel->content->clickCopyButton(2); }, {"select 2 copy"}},
        {[&] { panel->content->clickConfigure(); }, {"configure"}},
        {[&] { panel->press(escapeKey); }, {"dismiss"}},
        {[&] { panel->localClickMonitor(false); }, {"dismiss"}},
        {[&] { panel->globalClickMonitor(); }, {"dismiss"}},
        {[&] { picker->dismiss(true); }, {"dismiss"}},
        {[&] { picker->dismiss(false); }, {}},
        {[&] {
             executor.advance(1s);
             panel->resignKey();
         },
         {"dismiss"}},
        {[&] { picker.reset(); }, {}},
    };
    for (std::size_t index = 0; const auto& [wayOut, expected] : cases) {
        SCOPED_TRACE(index++);
        outcomes.clear();
        makePicker();
        show(3);
        const auto keyMonitor = panel->keyMonitor;
        const auto keyDown = panel->keyDownHandler;
        const auto click = panel->localClickMonitor;
        const auto otherAppClick = panel->globalClickMonitor;
        const auto resignKey = panel->resignKeyHandler;
        const auto content = panel->content;
        wayOut();
        // Events already on their way, and the picker's own timer.
        EXPECT_EQ(keyMonitor(returnKey), picker != nullptr) << "swallowed while the picker lives";
        keyDown(escapeKey);
        click(false);
        otherAppClick();
        content->clickRow(0, 0);
        content->clickCopyButton(0);
        resignKey();
        executor.runUntilIdle();
        EXPECT_EQ(executor.runningOperationCount(), 0U) << "the settle task ended at once";
        executor.advance(2s);
        EXPECT_EQ(outcomes, expected);
        EXPECT_TRUE(!picker || !panel->visible);
    }
}

TEST_F(PasswordPickerTest, KeyFocusLostWithinTheFirstSecondIsTakenBackAndThenDismisses) {
    show(3);
    for (const auto wait : {0ms, 850ms}) {
        executor.advance(wait);
        panel->resignKey();
        executor.advance(50ms);
        EXPECT_TRUE(picker->isVisible() && panel->key);
    }
    executor.advance(50ms);
    EXPECT_EQ(executor.runningOperationCount(), 0U) << "settling ended with its second";
    EXPECT_TRUE(outcomes.empty());

    // Not key when settling ends: lost too late to be taken back, or never granted.
    show(3);
    executor.advance(960ms);
    panel->resignKey();
    EXPECT_TRUE(picker->isVisible()) << "ignored while settling";
    executor.advance(2s);
    EXPECT_EQ(outcomes, Strings{"dismiss"});

    panel->refusesKey = true;
    picker->setOnDismiss([this](Uuid) {
        outcomes.push_back("dismiss");
        picker.reset();
    });
    show(3);
    panel->calls.clear();
    executor.advance(999ms);
    EXPECT_EQ(std::ranges::count(panel->calls, "make key"), 19) << "every 50 ms until the deadline";
    executor.advance(1s);
    EXPECT_EQ(outcomes, (Strings{"dismiss", "dismiss"}));
    EXPECT_EQ(picker, nullptr) << "the receiver may drop the picker while it reports";

    const auto now = executor.monotonicNow();
    EXPECT_FALSE((PasswordPickerKeyFocusSettling{now + 1s, 20}.isActive(now))) << "20 at most";
}

} // namespace
} // namespace kestrelle
