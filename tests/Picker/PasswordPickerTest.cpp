#include "Picker/PasswordPicker.h"

#include "Runtime/ModifierFlags.h"
#include "Support/FakePickerPanel.h"
#include "Support/LogCapture.h"
#include "Support/ManualExecutor.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace kestrelle {
namespace {

using namespace std::chrono_literals;
using Command = PasswordPickerKeyCommand;
namespace Flags = modifier;
using Screen = PasswordPickerPanel::Screen;
using Strings = std::vector<std::string>;

const Strings removalAndHiding{"remove key monitor", "remove local click monitor",
                               "remove global click monitor", "order out"};

class PasswordPickerTest : public ::testing::Test {
protected:
    PasswordPickerTest() {
        auto owned = std::make_unique<test::FakePickerPanel>();
        panel = owned.get();
        picker = PasswordPicker::create(std::move(owned), executor);
        picker->setOnSelection([this](Uuid invocationID, Uuid entryID, PasswordAction action) {
            EXPECT_FALSE(panel->visible) << "hidden before the selection is reported";
            const auto entry = std::find_if(entries.begin(), entries.end(),
                                            [&](const auto& each) { return each.id() == entryID; });
            record("select " + std::to_string(entry - entries.begin()) +
                   (action == PasswordAction::copy ? " copy" : " type") + staleness(invocationID));
        });
        picker->setOnDismiss(
            [this](Uuid invocationID) { record("dismiss" + staleness(invocationID)); });
        picker->setOnConfigure([this] { record("configure"); });
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

    bool type(std::string characters, std::uint64_t flags = 0) {
        return panel->press({0, std::move(characters), flags});
    }
    bool press(std::uint16_t keyCode, std::uint64_t flags = 0) {
        return panel->press({keyCode, std::nullopt, flags});
    }

    std::string staleness(Uuid invocationID) const {
        return invocationID == invocation ? "" : " for another invocation";
    }
    void record(const std::string& outcome) {
        outcomes.push_back(outcome);
        panel->calls.push_back(outcome);
    }

    test::ManualExecutor executor;
    test::FakePickerPanel* panel = nullptr;
    std::shared_ptr<PasswordPicker> picker;
    std::vector<EntryMetadata> entries;
    Uuid invocation = Uuid::random();
    Strings outcomes;
};

TEST_F(PasswordPickerTest, ShowingRendersPlacesUnderThePointerTakesFocusAndWatchesEvents) {
    show(3);
    EXPECT_EQ(panel->calls, (Strings{"render", "order front", "make key", "add key monitor",
                                     "add local click monitor", "add global click monitor"}));
    EXPECT_EQ(panel->contentSize, (Size{320, 3 * 36 + 16 + 4}));
    EXPECT_EQ(panel->frameOrigin, (Point{700 - 160, 500 - 128 - 12}));
    EXPECT_EQ(panel->content->rows().size(), 3U);
    EXPECT_EQ(panel->content->highlightedIndex(), 0);
    EXPECT_TRUE(picker->isVisible());
    EXPECT_TRUE(panel->key);
}

TEST_F(PasswordPickerTest, ThePointersScreenIsUsedElseTheMainScreenElseAFixedFrame) {
    const Screen left{{0, 0, 1440, 900}, {0, 0, 1440, 875}};
    const Screen right{{1440, 0, 1000, 600}, {1440, 0, 1000, 580}};
    panel->allScreens = {left, right};
    panel->main = left;
    panel->pointer = {2430, 599};
    show(3);
    EXPECT_EQ(panel->frameOrigin, (Point{2440 - 320, 580 - 128})) << "inside the right screen";

    panel->main = right;
    panel->pointer = {-500, -500};
    show(3);
    EXPECT_EQ(panel->frameOrigin, (Point{1440, 0})) << "inside the main screen";

    panel->allScreens.clear();
    panel->main.reset();
    panel->pointer = {5000, 5000};
    show(3);
    EXPECT_EQ(panel->frameOrigin, (Point{1440 - 320, 900 - 128})) << "inside 1440 x 900";
}

TEST_F(PasswordPickerTest, HeightFollowsTheListUpToTheFrameMinus24AndNever420) {
    show(0);
    EXPECT_EQ(panel->contentSize.height, 48);
    show(3, false);
    EXPECT_EQ(panel->contentSize.height, 128 + 22);
    show(20);
    EXPECT_EQ(panel->contentSize.height, 420);

    panel->allScreens = {{{0, 0, 800, 300}, {0, 0, 800, 300}}};
    panel->pointer = {400, 200};
    show(20);
    EXPECT_EQ(panel->contentSize.height, 276);
}

TEST_F(PasswordPickerTest, APanelLargerThanItsFrameIsPinnedToTheTopAndRightEdges) {
    panel->allScreens = {{{100, 100, 200, 40}, {100, 100, 200, 40}}};
    panel->pointer = {150, 120};
    show(3);
    EXPECT_EQ(panel->contentSize, (Size{320, 48}));
    EXPECT_EQ(panel->frameOrigin, (Point{300 - 320, 140 - 48}));
}

TEST_F(PasswordPickerTest, WithNoEntriesOnlyEscapeDoesAnything) {
    show(0);
    EXPECT_EQ(panel->content->highlightedIndex(), std::nullopt);
    EXPECT_TRUE(press(Command::returnKey));
    EXPECT_TRUE(press(Command::downArrowKey));
    EXPECT_TRUE(press(Command::upArrowKey));
    EXPECT_TRUE(type("1"));
    EXPECT_TRUE(picker->isVisible());
    EXPECT_EQ(panel->content->highlightedIndex(), std::nullopt);
    EXPECT_TRUE(outcomes.empty());

    EXPECT_TRUE(press(Command::escapeKey));
    EXPECT_EQ(outcomes, Strings{"dismiss"});
}

TEST_F(PasswordPickerTest, WithoutATypeableFieldEveryChoiceCopies) {
    show(3, false);
    press(Command::returnKey);
    show(3, false);
    type("2");
    show(3, false);
    panel->content->clickRow(2, 0);
    EXPECT_EQ(outcomes, (Strings{"select 0 copy", "select 1 copy", "select 2 copy"}));
}

TEST_F(PasswordPickerTest, NumberKeysChooseAmongTheFirstNineAndZeroIsSwallowed) {
    show(10);
    type("1");
    show(10);
    type("9");
    show(10);
    EXPECT_TRUE(type("0"));
    EXPECT_TRUE(picker->isVisible());
    EXPECT_EQ(outcomes, (Strings{"select 0 type", "select 8 type"}));
}

TEST_F(PasswordPickerTest, CommandCopiesWithDigitsAndReturnOnly) {
    show(5);
    EXPECT_TRUE(type("3", Flags::command));
    show(5);
    press(Command::downArrowKey);
    EXPECT_FALSE(press(Command::escapeKey, Flags::command));
    EXPECT_FALSE(press(Command::downArrowKey, Flags::command));
    EXPECT_EQ(panel->content->highlightedIndex(), 1);
    EXPECT_TRUE(press(Command::returnKey, Flags::command));
    EXPECT_EQ(outcomes, (Strings{"select 2 copy", "select 1 copy"}));
}

TEST_F(PasswordPickerTest, ShiftControlAndOptionKeysReachThePanelAndDoNothing) {
    show(3);
    EXPECT_FALSE(type("1", Flags::shift));
    EXPECT_FALSE(press(Command::returnKey, Flags::control));
    EXPECT_FALSE(press(Command::escapeKey, Flags::option));
    EXPECT_FALSE(press(Command::downArrowKey, Flags::option | Flags::command));
    EXPECT_TRUE(picker->isVisible());
    EXPECT_EQ(panel->content->highlightedIndex(), 0);
    EXPECT_TRUE(outcomes.empty());
}

TEST_F(PasswordPickerTest, TheHighlightMovesWithoutWrappingAndReturnChoosesIt) {
    show(3);
    panel->calls.clear();
    press(Command::upArrowKey);
    for (int step = 0; step < 3; ++step) {
        press(Command::downArrowKey);
    }
    press(Command::upArrowKey);
    EXPECT_EQ(panel->calls,
              (Strings{"highlight 0", "highlight 1", "highlight 2", "highlight 2", "highlight 1"}));
    EXPECT_EQ(panel->content->highlightedIndex(), 1);
    press(Command::returnKey);
    EXPECT_EQ(outcomes, Strings{"select 1 type"});
}

TEST_F(PasswordPickerTest, AChoiceHidesFirstAndLaterEventsOfTheBurstDeliverNothing) {
    show(3);
    auto keyMonitor = panel->keyMonitor;
    auto clickMonitor = panel->localClickMonitor;
    panel->calls.clear();

    EXPECT_TRUE(keyMonitor({Command::returnKey, "\r", 0}));
    EXPECT_EQ(panel->calls, [] {
        auto expected = removalAndHiding;
        expected.push_back("select 0 type");
        return expected;
    }());
    EXPECT_TRUE(keyMonitor({Command::returnKey, "\r", 0})) << "still resolves, so swallowed";
    panel->keyDownHandler({Command::escapeKey, "\x1b", 0});
    panel->content->clickRow(1, 0);
    clickMonitor(false);
    panel->resignKeyHandler();
    EXPECT_EQ(outcomes, Strings{"select 0 type"});
}

TEST_F(PasswordPickerTest, EscapeRemovesMonitorsHidesAndThenReportsTheDismissal) {
    show(3);
    panel->calls.clear();
    press(Command::escapeKey);
    auto expected = removalAndHiding;
    expected.push_back("dismiss");
    EXPECT_EQ(panel->calls, expected);
    executor.runUntilIdle();
    EXPECT_EQ(executor.runningOperationCount(), 0U) << "the settle task ended at its cancellation";
}

TEST_F(PasswordPickerTest, ClicksOnThePanelKeepItAndClicksElsewhereDismissOnce) {
    show(3);
    panel->clickOnPanel();
    EXPECT_TRUE(picker->isVisible());
    auto globalMonitor = panel->globalClickMonitor;
    panel->clickElsewhereInApp();
    globalMonitor();
    EXPECT_EQ(outcomes, Strings{"dismiss"});

    show(3);
    panel->clickInOtherApp();
    EXPECT_EQ(outcomes, (Strings{"dismiss", "dismiss"}));
}

TEST_F(PasswordPickerTest, DismissNotifiesOnlyForAShowingSessionAndWhenAsked) {
    show(3);
    picker->dismiss(false);
    picker->dismiss(true);
    EXPECT_TRUE(outcomes.empty());
    EXPECT_FALSE(panel->visible);

    show(3);
    picker->dismiss(true);
    picker->dismiss(true);
    EXPECT_EQ(outcomes, Strings{"dismiss"});
}

TEST_F(PasswordPickerTest, ConfigureHidesWithoutDismissalAndReportsConfigureAlone) {
    show(0);
    panel->content->clickConfigure();
    EXPECT_FALSE(panel->visible);
    EXPECT_EQ(outcomes, Strings{"configure"});
}

TEST_F(PasswordPickerTest, RowClicksSelectCommandClicksAndCopyButtonsCopy) {
    show(3);
    panel->content->clickRow(7, 0);
    EXPECT_TRUE(picker->isVisible()) << "no such row";
    panel->content->clickRow(1, 0);
    show(3);
    panel->content->clickRow(1, Flags::command);
    show(3);
    panel->content->clickCopyButton(2);
    EXPECT_EQ(outcomes, (Strings{"select 1 type", "select 1 copy", "select 2 copy"}));
}

TEST_F(PasswordPickerTest, ShowingAgainReplacesTheSessionSilently) {
    show(3);
    const Uuid first = invocation;
    panel->calls.clear();
    show(2);
    EXPECT_NE(invocation, first);
    EXPECT_EQ(std::count(panel->calls.begin(), panel->calls.end(), "remove key monitor"), 1);
    EXPECT_EQ(executor.runningOperationCount(), 1U) << "one settle task";
    press(Command::returnKey);
    EXPECT_EQ(outcomes, Strings{"select 0 type"});
}

TEST_F(PasswordPickerTest, LosingKeyFocusWithinTheFirstSecondIsUndone) {
    test::LogCapture log;
    show(3);
    panel->calls.clear();
    panel->resignKey();
    EXPECT_TRUE(picker->isVisible());
    executor.advance(50ms);
    EXPECT_EQ(panel->calls, (Strings{"order front", "make key"}));
    EXPECT_TRUE(panel->key);

    executor.advance(850ms);
    panel->resignKey();
    executor.advance(50ms);
    EXPECT_TRUE(panel->key);
    const auto restoring = "Invocation " + invocation.toString() + " picker restoring key focus";
    EXPECT_EQ(log.messages(), Strings{restoring}) << "logged on the first re-assertion only";

    executor.advance(50ms);
    EXPECT_EQ(executor.runningOperationCount(), 0U) << "settling ended with its second";
    panel->resignKey();
    EXPECT_TRUE(log.contains("Picker dismissed: the panel resigned key focus"));
    EXPECT_EQ(outcomes, Strings{"dismiss"});
}

TEST_F(PasswordPickerTest, RefusedKeyFocusIsReassertedAtMost20TimesWithinOneSecond) {
    test::LogCapture log;
    panel->refusesKey = true;
    show(3);
    panel->calls.clear();
    executor.advance(5s);
    const auto reassertions = std::count(panel->calls.begin(), panel->calls.end(), "make key");
    EXPECT_EQ(reassertions, 19) << "polls at 50 ms up to, not including, the deadline";
    EXPECT_EQ(executor.pendingTimerCount(), 0U);

    PasswordPickerKeyFocusSettling settling{executor.monotonicNow() + 1s, 19};
    EXPECT_TRUE(settling.isActive(executor.monotonicNow()));
    settling.attempts = 20;
    EXPECT_FALSE(settling.isActive(executor.monotonicNow()));
}

TEST_F(PasswordPickerTest, APanelNotKeyWhenSettlingEndsIsDismissedOnce) {
    // Key lost late in the second and never regained: the resignation itself is ignored.
    show(3);
    executor.advance(960ms);
    panel->resignKey();
    EXPECT_TRUE(picker->isVisible());
    executor.advance(2s);
    EXPECT_FALSE(picker->isVisible());
    EXPECT_EQ(panel->keyMonitor, nullptr);
    EXPECT_EQ(outcomes, Strings{"dismiss"});

    // Never made key by the system at all.
    panel->refusesKey = true;
    show(3);
    executor.advance(5s);
    EXPECT_FALSE(picker->isVisible());
    EXPECT_EQ(outcomes, (Strings{"dismiss", "dismiss"}));
    EXPECT_EQ(executor.runningOperationCount(), 0U);
}

TEST_F(PasswordPickerTest, HandlersFindingThePickerGoneDoNothing) {
    show(3);
    auto keyMonitor = panel->keyMonitor;
    auto keyDown = panel->keyDownHandler;
    auto clickMonitor = panel->localClickMonitor;
    auto resignKey = panel->resignKeyHandler;
    auto content = panel->content;
    picker.reset();

    EXPECT_FALSE(keyMonitor({Command::returnKey, "\r", 0})) << "passed on unchanged";
    keyDown({Command::escapeKey, "\x1b", 0});
    clickMonitor(false);
    resignKey();
    content->clickRow(0, 0);
    content->clickConfigure();
    executor.advance(2s);
    EXPECT_TRUE(outcomes.empty());
}

TEST_F(PasswordPickerTest, AReceiverMayDropThePickerWhileItReports) {
    picker->setOnDismiss([this](Uuid) { picker.reset(); });
    show(3);
    EXPECT_TRUE(press(Command::escapeKey));
    EXPECT_EQ(picker, nullptr);
    executor.advance(2s);
}

} // namespace
} // namespace kestrelle
