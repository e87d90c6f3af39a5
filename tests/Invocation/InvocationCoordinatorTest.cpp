#include "Invocation/InvocationCoordinator.h"

#include "Runtime/Offload.h"
#include "Security/BiometricAuthenticationError.h"
#include "Storage/SecretStore.h"
#include "Support/FakeAlerts.h"
#include "Support/FakeApplicationActivations.h"
#include "Support/FakeApplicationWorkspace.h"
#include "Support/FakeBiometrics.h"
#include "Support/FakeInsertionTarget.h"
#include "Support/FakeKeyboardEvents.h"
#include "Support/FakeKeychainBackend.h"
#include "Support/FakePasteboard.h"
#include "Support/FakePickerPanel.h"
#include "Support/LogCapture.h"
#include "Support/ManualExecutor.h"
#include "Support/ManualQueue.h"
#include "Support/TaskProbe.h"

#include <gtest/gtest.h>

namespace kestrelle {
namespace {

using namespace std::chrono_literals;
using Kind = InputInjectionError::Kind;
using Phase = InvocationCoordinator::Phase;
using Alerts = std::vector<AlertContent>;

constexpr std::int32_t ownPid = 1;
constexpr std::int32_t editorPid = 42;
constexpr std::int32_t otherPid = 77;
const FrontmostApplication other{otherPid, "com.example.other"};
const FrontmostApplication prompt{5, "com.apple.CoreAuthUI"};

// Background work that runs at once, unless the test holds it to act meanwhile.
test::ManualQueue holdableQueue() {
    test::ManualQueue queue;
    queue.runsAtOnce = true;
    return queue;
}

// The catalog, read on a queue the test may hold, as a slower store would be; `duringRead` runs
// there and may fail the read.
struct QueuedCatalog final : EntryCatalogStoring {
    Task<EntryCatalog> load() override {
        co_await offload(queue, [this] {
            if (duringRead) {
                duringRead();
            }
        });
        co_return stored;
    }
    Task<void> save(EntryCatalog catalog) override {
        stored = std::move(catalog);
        co_return;
    }
    test::ManualQueue queue = holdableQueue();
    EntryCatalog stored;
    std::function<void()> duringRead;
};

// The whole invocation road: the real secure password service, picker, injector and clipboard,
// with fakes at every platform seam and for the catalog.
class InvocationCoordinatorTest : public ::testing::Test {
protected:
    InvocationCoordinatorTest() {
        workspace.currentPid = ownPid;
        workspace.frontmost = FrontmostApplication{editorPid, "com.example.editor"};
        makeCoordinator();
    }
    void makeCoordinator() {
        coordinator = InvocationCoordinator::create({
            .executor = executor,
            .securePasswords = service,
            .repository = catalog,
            .picker = picker,
            .injector = injector,
            .clipboard = clipboard,
            .workspace = workspace,
            .activations = activations,
            .alerts = alerts,
            .captureTarget =
                [this] {
                    ++captures;
                    return capturedTarget;
                },
            .traits = traits,
        });
    }
    void TearDown() override {
        if (coordinator) {
            coordinator->cancel();
        }
        keychainQueue.runAll();
        catalog.queue.runAll();
        executor.runUntilIdle();
        EXPECT_EQ(service->liveRecordCount(), 0U);
        EXPECT_FALSE(service->isGateHeld());
        for (const auto& record : log.records()) {
            EXPECT_EQ(record.message.find("hunter2"), std::string::npos);
        }
    }

    // Appends an entry; pick() chooses the first one.
    Uuid saveEntry(std::string_view password = "hunter2") {
        const auto id = Uuid::random();
        catalog.stored.orderedEntries.emplace_back(id, "Entry");
        keychain.items[{store.service(), id.toString()}] = {test::secretBytes(password),
                                                            std::nullopt};
        return id;
    }
    // Presses the shortcut and lets the approval (and anything else that needs no time) run.
    void press() {
        coordinator->begin();
        executor.runUntilIdle();
    }
    // Chooses the first entry; Command copies even where typing is offered.
    void pick(std::uint64_t modifiers = 0) {
        panel->press({Key::digit1, "1", modifiers});
        executor.runUntilIdle();
    }
    // Ends the invocation and forgets what the last one did, for the next case of a table.
    void startOver() {
        coordinator->cancel();
        executor.runUntilIdle();
        *target = test::FakeInsertionTarget(target->pid);
        catalog.duringRead = nullptr;
        keyboard.heldChecks = 0;
        keyboard.posted.clear();
        alerts.shown.clear();
    }
    std::size_t keyDowns() const { return keyboard.chunkSizes().size(); }
    static Alerts alertOf(const KestrelleError& error) {
        return {{std::string(InvocationCoordinator::alertTitle), error.description()}};
    }
    // Nothing delivered, nothing left running, and only these alerts shown.
    void expectEnded(const Alerts& expected = {}) {
        EXPECT_EQ(coordinator ? coordinator->phase() : Phase::idle, Phase::idle);
        EXPECT_FALSE(panel->isVisible());
        EXPECT_TRUE(keyboard.posted.empty());
        EXPECT_EQ(pasteboard.offers, 0);
        EXPECT_EQ(alerts.shown, expected);
        EXPECT_EQ(service->liveRecordCount(), 0U);
    }

    test::LogCapture log;
    test::ManualExecutor executor;
    test::FakeBiometricContextFactory factory;
    test::FakeKeychainBackend keychain;
    test::ManualQueue keychainQueue = holdableQueue();
    SecretStore store{keychain, keychainQueue};
    std::shared_ptr<SecurePasswordService> service =
        std::make_shared<SecurePasswordService>(factory, store, executor);
    QueuedCatalog catalog;
    test::FakeKeyboardEvents keyboard{executor};
    InputInjector injector{keyboard};
    test::FakePasteboard pasteboard;
    PasswordClipboard clipboard{pasteboard, executor};
    test::FakeApplicationWorkspace workspace;
    test::FakeApplicationActivations activations;
    test::FakeAlerts alerts;
    std::shared_ptr<test::FakeInsertionTarget> target =
        std::make_shared<test::FakeInsertionTarget>(editorPid);
    std::shared_ptr<CapturedInsertionTarget> capturedTarget = target;
    int captures = 0;
    PlatformTraits traits = PlatformTraits::macOS();
    std::unique_ptr<test::FakePickerPanel> ownedPanel = std::make_unique<test::FakePickerPanel>();
    test::FakePickerPanel* panel = ownedPanel.get();
    std::shared_ptr<PasswordPicker> picker =
        PasswordPicker::create(std::move(ownedPanel), executor);
    std::shared_ptr<InvocationCoordinator> coordinator;
};

// A digit types the chosen entry into the captured field. With Command held, or with no field
// captured, it is copied instead; a copy-only picker survives other applications coming forward.
TEST_F(InvocationCoordinatorTest, ADigitTypesTheChosenPasswordOrCopiesIt) {
    saveEntry();
    saveEntry("correct horse");
    press();
    ASSERT_EQ(panel->content->rows().size(), 2U);
    pick();
    EXPECT_EQ(coordinator->phase(), Phase::inserting);
    EXPECT_FALSE(panel->isVisible());
    executor.advance(1s);
    EXPECT_EQ(coordinator->phase(), Phase::idle);
    ASSERT_EQ(keyDowns(), 1U);
    EXPECT_EQ(keyboard.posted.front().processIdentifier, editorPid);
    EXPECT_TRUE(test::sameUnits(keyboard.typedUnits(), u"hunter2"));

    for (const bool captured : {true, false}) {
        SCOPED_TRACE(captured ? "Command held" : "no field captured");
        capturedTarget = captured ? target : nullptr;
        press();
        if (!captured) {
            activations.activate(otherPid, "com.example.other");
            ASSERT_TRUE(panel->isVisible() && panel->content->showsHint());
        }
        pick(captured ? modifier::command : 0);
        EXPECT_EQ(coordinator->phase(), Phase::idle);
        EXPECT_TRUE(pasteboard.holds("hunter2"));
        pasteboard.clearContents();
    }
    EXPECT_EQ(keyDowns(), 1U);
    EXPECT_TRUE(alerts.shown.empty());
}

// A second press or Configure closes the picker and discards its session, and Configure opens
// Settings; the approval stays reusable.
TEST_F(InvocationCoordinatorTest, ASecondPressOrConfigureClosesThePicker) {
    int opened = 0;
    coordinator->setOnConfigure([&] { ++opened; });
    press();
    ASSERT_TRUE(panel->isVisible() && panel->content->showsConfigureButton());
    panel->content->clickConfigure();
    executor.runUntilIdle();
    EXPECT_EQ(opened, 1);
    expectEnded();

    saveEntry();
    press();
    ASSERT_TRUE(panel->isVisible());
    press();
    expectEnded();
    press();
    EXPECT_EQ(factory.made.size(), 1U) << "the approval is reused";
}

TEST_F(InvocationCoordinatorTest, APressDuringThePromptIsIgnoredAndACancelledPromptShowsNothing) {
    factory.outcome = test::FakePromptOutcome::hold;
    press();
    press();
    EXPECT_EQ(factory.made.size(), 1U);
    EXPECT_EQ(coordinator->phase(), Phase::authenticating);

    factory.last().failPrompt(BiometricErrorCode::userCancel);
    executor.runUntilIdle();
    EXPECT_EQ(coordinator->phase(), Phase::idle);
    EXPECT_TRUE(alerts.shown.empty());

    // Other refusals are shown.
    factory.outcome = test::FakePromptOutcome::fail;
    press();
    EXPECT_EQ(alerts.shown, alertOf(BiometricAuthenticationError::failed()));
}

// The approval's end stops typing between key presses, and closes the picker (here one
// reopened on a reused approval).
TEST_F(InvocationCoordinatorTest, TheApprovalRunningOutCutsTypingAndClosesThePicker) {
    saveEntry(std::string(64, 'x'));
    press();
    executor.advance(29970ms);
    pick();
    executor.advance(1s);
    // Chunks start at 29.970, 29.982 and 29.994 s; the expiry at 30 s stops the third one's
    // hold, whose key-up still goes out.
    EXPECT_EQ(keyDowns(), 3U);
    EXPECT_EQ(keyboard.posted.size(), 6U);
    EXPECT_EQ(coordinator->phase(), Phase::idle);
    EXPECT_TRUE(alerts.shown.empty());

    press();
    press(); // closes; the approval stays reusable
    executor.advance(29900ms);
    press();
    ASSERT_TRUE(panel->isVisible());
    executor.advance(99ms);
    EXPECT_TRUE(panel->isVisible());
    executor.advance(1ms);
    EXPECT_FALSE(panel->isVisible());
    EXPECT_EQ(coordinator->phase(), Phase::idle);
}

// With a field captured, another application coming to the front ends the prompt or the picker;
// the prompt itself, this app, the field's and the origin's applications do not.
TEST_F(InvocationCoordinatorTest, AnotherApplicationEndsThePromptAndThePicker) {
    saveEntry();
    target->pid = 43; // a field owned by a helper process of the editor
    const std::vector<std::tuple<std::optional<std::int32_t>, std::optional<std::string>, bool>>
        cases{{ownPid, "app.kestrelle.Kestrelle", false},
              {editorPid, std::nullopt, false},
              {43, std::nullopt, false},
              {5, "com.apple.CoreAuthUI", false},
              {8, "COM.APPLE.SECURITYAGENT", false},
              {10, "Polkit-gnome-authentication-agent-1", false},
              {std::nullopt, "com.apple.CoreAuthUI", false},
              {9, "com.apple.securityagent.helper", true},
              {otherPid, "", true},
              {std::nullopt, std::nullopt, true}};
    for (const bool prompting : {true, false}) {
        factory.outcome =
            prompting ? test::FakePromptOutcome::hold : test::FakePromptOutcome::approve;
        for (const auto& [pid, bundle, cancels] : cases) {
            SCOPED_TRACE(testing::Message()
                         << prompting << " " << pid.value_or(-1) << " " << bundle.value_or("-"));
            startOver();
            press();
            activations.activate(pid, bundle);
            executor.runUntilIdle();
            EXPECT_EQ(coordinator->phase(),
                      !cancels ? (prompting ? Phase::authenticating : Phase::choosing)
                               : Phase::idle);
            EXPECT_EQ(factory.last().isPromptUp(), prompting && !cancels);
            EXPECT_FALSE(panel->isVisible() && cancels);
            // Only a prompt's target hears of it: the field's focus is checked after the prompt.
            EXPECT_EQ(target->activations.size(), prompting && cancels ? 1U : 0U);
        }
    }
    EXPECT_TRUE(alerts.shown.empty());
}

// After the prompt the field has a budget of 25 ms waits to come back: 40 while the prompt's
// windows or this app are in front, 20 while anyone else (or nobody) is.
TEST_F(InvocationCoordinatorTest, TheFieldGetsSeparateBudgetsToComeBackAfterThePrompt) {
    using Frontmost = std::optional<FrontmostApplication>;
    // `before` is in front for the first `waits` waits, `after` from then on.
    const auto switching = [](int waits, Frontmost before, Frontmost after) {
        return [=](int wait) { return wait < waits ? before : after; };
    };
    const std::vector<std::tuple<const char*, std::function<Frontmost(int)>, int>> cases{
        {"another application", switching(0, {}, other), 20},
        {"an unnamed application", switching(0, {}, FrontmostApplication{otherPid, {}}), 20},
        {"the prompt", switching(0, {}, prompt), 40},
        {"this app", switching(0, {}, FrontmostApplication{ownPid, {}}), 40},
        {"the prompt, then another", switching(30, prompt, other), 50},
        {"another, then the prompt", switching(10, other, prompt), 50},
        {"alternating", [](int wait) -> Frontmost { return wait % 2 ? prompt : other; }, 40},
    };
    saveEntry();
    target->failure = Kind::targetChanged;
    for (const auto& [name, frontmost, expectedWaits] : cases) {
        SCOPED_TRACE(name);
        alerts.shown.clear();
        workspace.frontmost = frontmost(0);
        press();
        int waits = 0;
        while (coordinator->phase() == Phase::authenticating && waits < 100) {
            workspace.frontmost = frontmost(++waits);
            executor.advance(InvocationCoordinator::targetPollInterval);
        }
        EXPECT_EQ(waits, expectedWaits);
        EXPECT_FALSE(panel->isVisible());
        EXPECT_EQ(alerts.shown, alertOf(InputInjectionError(Kind::targetChanged)));
    }

    // The field coming back within the budget opens the picker.
    workspace.frontmost = prompt;
    press();
    executor.advance(39 * InvocationCoordinator::targetPollInterval);
    target->failure.reset();
    executor.advance(InvocationCoordinator::targetPollInterval);
    EXPECT_EQ(coordinator->phase(), Phase::choosing);
}

// Where an invocation starts at the shortcut's release, a capture that finds no field looks
// again for up to 300 ms before the prompt; where the picker grabs the keyboard, typing waits up
// to 300 ms for the field to have its focus back. Elsewhere neither waits.
TEST_F(InvocationCoordinatorTest, X11TraitsRetryTheCaptureAndWaitForTheFieldsFocus) {
    saveEntry();
    for (const bool x11 : {false, true}) {
        SCOPED_TRACE(x11 ? "X11" : "macOS");
        traits = x11 ? PlatformTraits::x11() : PlatformTraits::macOS();
        makeCoordinator();
        // The first look again comes at once, then one every 10 ms.
        for (const auto& [foundAfter, looksAgain] :
             std::vector<std::pair<Duration, int>>{{1ms, 1}, {51ms, 6}, {400ms, 30}}) {
            startOver();
            captures = 0;
            capturedTarget = nullptr;
            press();
            executor.advance(foundAfter - 1ms);
            capturedTarget = target;
            executor.advance(1ms);
            const bool found = x11 && foundAfter < traits.captureRetryPeriod;
            EXPECT_EQ(captures, 1 + (x11 ? looksAgain : 0));
            ASSERT_TRUE(panel->isVisible());
            EXPECT_EQ(panel->content->showsHint(), !found);
        }
        for (const auto refocusedAfter : {100ms, 400ms}) {
            startOver();
            press();
            target->failure = Kind::targetChanged;
            pick();
            executor.advance(refocusedAfter);
            target->failure.reset();
            executor.advance(1s);
            const bool typed = x11 && refocusedAfter < traits.refocusPeriod;
            EXPECT_EQ(keyDowns(), typed ? 1U : 0U);
            EXPECT_EQ(alerts.shown,
                      typed ? Alerts{} : alertOf(InputInjectionError(Kind::targetChanged)));
        }
    }
}

// Cancelled, or the coordinator gone, while the catalog is read after the prompt, or the catalog
// or the Keychain during delivery: nothing opens, nothing is typed or copied, and an ended
// invocation neither looks at the field again nor reads a password.
TEST_F(InvocationCoordinatorTest, AnInvocationEndedDuringAReadGoesNoFurther) {
    saveEntry();
    for (const auto read : {"catalog after the prompt", "catalog", "Keychain"}) {
        const bool atPrompt = read == std::string_view("catalog after the prompt");
        auto& held = read == std::string_view("Keychain") ? keychainQueue : catalog.queue;
        for (const bool copying : {false, true}) {
            for (const bool destroyed : {false, true}) {
                SCOPED_TRACE(testing::Message() << read << (copying ? ", copy" : ", type")
                                                << (destroyed ? ", destroyed" : ", cancelled"));
                // Copying at the prompt: no field was captured.
                capturedTarget = atPrompt && copying ? nullptr : target;
                held.runsAtOnce = !atPrompt;
                press();
                held.runsAtOnce = false;
                if (!atPrompt) {
                    pick(copying ? modifier::command : 0);
                }
                ASSERT_EQ(held.pendingCount(), 1U) << "the read is under way";
                const auto validations = target->validations;
                const auto keychainCalls = keychain.received.size();
                destroyed ? coordinator.reset() : coordinator->cancel();
                held.runsAtOnce = true;
                held.runAll();
                executor.advance(1s);
                expectEnded();
                EXPECT_EQ(target->validations, validations);
                EXPECT_EQ(keychain.received.size(), keychainCalls + (&held == &keychainQueue));
                if (!coordinator) {
                    makeCoordinator();
                }
            }
        }
    }
}

// Each failure on the way to the field or the pasteboard ends the invocation with its alert, or
// quietly for an entry deleted while the picker was open, and leaves nothing behind. Only a
// failure after the Keychain read comes with a spent approval.
TEST_F(InvocationCoordinatorTest, DeliveryFailuresAreShownAndLeaveNothingBehind) {
    const auto entry = saveEntry();
    auto& stored = keychain.items[{store.service(), entry.toString()}].value;
    const auto entries = catalog.stored;
    const auto fails = [](Kind kind) { return alertOf(InputInjectionError(kind)); };
    const std::vector<std::tuple<const char*, bool, bool, std::function<Alerts()>>> cases{
        {"modifiers held", false, true,
         [&] { return keyboard.heldChecks = 1000, fails(Kind::modifiersHeld); }},
        {"invalid UTF-8 typed", false, true,
         [&] { return stored = test::secretBytes("\xC0\xAF"), fails(Kind::invalidUTF8); }},
        {"unreadable catalog", false, false,
         [&] {
             catalog.duringRead = [] { throw KestrelleError("The catalog is unreadable."); };
             return alertOf(KestrelleError("The catalog is unreadable."));
         }},
        {"entry deleted", false, false, [&] { return catalog.stored = {}, Alerts{}; }},
        {"field lost during the catalog read", false, false,
         [&] {
             catalog.duringRead = [&] { target->failure = Kind::targetChanged; };
             return fails(Kind::targetChanged);
         }},
    };
    for (const auto& [name, copying, readsPassword, breakIt] : cases) {
        SCOPED_TRACE(name);
        startOver();
        press();
        const auto expected = breakIt();
        const auto keychainCalls = keychain.received.size();
        pick(copying ? modifier::command : 0);
        executor.advance(1s);
        expectEnded(expected);
        EXPECT_EQ(keychain.received.size(), keychainCalls + readsPassword);
        stored = test::secretBytes("hunter2");
        catalog.stored = entries;
    }
}

} // namespace
} // namespace kestrelle
