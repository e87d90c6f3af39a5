#include "Invocation/InvocationCoordinator.h"

#include "Runtime/Offload.h"
#include "Security/BiometricAuthenticationError.h"
#include "Storage/EntryRepository.h"
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
#include "Support/TemporaryDirectory.h"

#include <gtest/gtest.h>

namespace kestrelle {
namespace {

using namespace std::chrono_literals;
using Kind = InputInjectionError::Kind;
using Phase = InvocationCoordinator::Phase;

constexpr std::int32_t ownPid = 1;
constexpr std::int32_t editorPid = 42;
constexpr std::int32_t otherPid = 77;
const FrontmostApplication editor{editorPid, "com.example.editor"};
const FrontmostApplication other{otherPid, "com.example.other"};
const FrontmostApplication prompt{5, "com.apple.CoreAuthUI"};

// Background work that runs at once, unless the test holds it to act meanwhile.
struct HoldableQueue final : SerialQueue {
    void async(std::function<void()> work) override {
        held ? pending.async(std::move(work)) : work();
    }
    bool held = false;
    test::ManualQueue pending;
};

// The real repository, read through a queue, as a slower store would be.
struct QueuedRepository final : EntryCatalogStoring {
    QueuedRepository(EntryCatalogStoring& inner, SerialQueue& queue) : inner(inner), queue(queue) {}
    Task<EntryCatalog> load() override {
        co_await offload(queue, [] {});
        co_return co_await inner.load();
    }
    Task<void> save(EntryCatalog catalog) override { return inner.save(std::move(catalog)); }
    EntryCatalogStoring& inner;
    SerialQueue& queue;
};

// The whole invocation road: the real secure password service, catalog repository (on a
// temporary directory), picker, injector and clipboard, with fakes at every platform seam.
class InvocationCoordinatorTest : public ::testing::Test {
protected:
    InvocationCoordinatorTest() {
        workspace.currentPid = ownPid;
        workspace.frontmost = editor;
        auto ownedPanel = std::make_unique<test::FakePickerPanel>();
        panel = ownedPanel.get();
        picker = PasswordPicker::create(std::move(ownedPanel), executor);
        makeCoordinator();
    }
    void makeCoordinator() {
        coordinator = InvocationCoordinator::create({
            .executor = executor,
            .securePasswords = service,
            .repository = queuedRepository,
            .picker = picker,
            .injector = injector,
            .clipboard = clipboard,
            .workspace = workspace,
            .activations = activations,
            .alerts = alerts,
            .captureTarget = [this] { return capturedTarget; },
        });
    }

    void TearDown() override {
        if (coordinator) {
            coordinator->cancel();
        }
        keychainQueue.pending.runAll();
        catalogQueue.pending.runAll();
        executor.runUntilIdle();
        EXPECT_EQ(service->liveRecordCount(), 0U);
        EXPECT_FALSE(service->isGateHeld());
        for (const auto& record : log.records()) {
            EXPECT_EQ(record.message.find("hunter2"), std::string::npos);
        }
    }

    Uuid saveEntry(const std::string& label, std::string_view password) {
        auto catalog = test::runTask(executor, repository.load());
        const auto id = Uuid::random();
        catalog.orderedEntries.emplace_back(id, label);
        test::runTask(executor, repository.save(catalog));
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
        panel->press({18, "1", modifiers});
        executor.runUntilIdle();
    }
    std::size_t keyDowns() const { return keyboard.chunkSizes().size(); }
    std::vector<std::string> alertTexts() const {
        std::vector<std::string> texts;
        for (const auto& alert : alerts.shown) {
            EXPECT_EQ(alert.messageText, InvocationCoordinator::alertTitle);
            texts.push_back(alert.informativeText);
        }
        return texts;
    }
    static std::vector<std::string> textOf(Kind kind) {
        return {InputInjectionError(kind).description()};
    }
    // Nothing delivered, nothing shown, nothing left running.
    void expectQuietEnd() {
        EXPECT_EQ(coordinator ? coordinator->phase() : Phase::idle, Phase::idle);
        EXPECT_FALSE(panel->isVisible());
        EXPECT_TRUE(keyboard.posted.empty());
        EXPECT_EQ(pasteboard.declarations, 0);
        EXPECT_TRUE(alerts.shown.empty());
        EXPECT_EQ(service->liveRecordCount(), 0U);
    }

    test::LogCapture log;
    test::ManualExecutor executor;
    test::FakeBiometricContextFactory factory;
    test::FakeKeychainBackend keychain;
    HoldableQueue keychainQueue;
    HoldableQueue catalogQueue;
    SecretStore store{keychain, keychainQueue};
    std::shared_ptr<SecurePasswordService> service =
        std::make_shared<SecurePasswordService>(factory, store, executor);
    test::TemporaryDirectory directory;
    EntryRepository repository{[this] { return directory.path(); }};
    QueuedRepository queuedRepository{repository, catalogQueue};
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
    test::FakePickerPanel* panel = nullptr;
    std::shared_ptr<PasswordPicker> picker;
    std::shared_ptr<InvocationCoordinator> coordinator;
};

TEST_F(InvocationCoordinatorTest, ADigitTypesTheChosenPasswordIntoTheCapturedField) {
    saveEntry("GitHub", "hunter2");
    saveEntry("Bank", "correct horse");
    press();
    ASSERT_EQ(coordinator->phase(), Phase::choosing);
    ASSERT_TRUE(panel->isVisible());
    ASSERT_EQ(panel->content->rows().size(), 2U);

    pick();
    EXPECT_EQ(coordinator->phase(), Phase::inserting);
    EXPECT_FALSE(panel->isVisible());
    executor.advance(1s);
    EXPECT_EQ(coordinator->phase(), Phase::idle);
    EXPECT_EQ(keyDowns(), 1U);
    EXPECT_EQ(keyboard.posted.front().processIdentifier, editorPid);
    EXPECT_TRUE(test::sameUnits(keyboard.typedUnits(), u"hunter2"));
    EXPECT_TRUE(alerts.shown.empty());
    EXPECT_TRUE(log.contains("Insertion completed"));
}

TEST_F(InvocationCoordinatorTest, ASecondPressClosesThePickerAndCancelAllEndsTheApprovalToo) {
    saveEntry("GitHub", "hunter2");
    press();
    ASSERT_TRUE(panel->isVisible());
    press();
    EXPECT_FALSE(panel->isVisible());
    EXPECT_EQ(coordinator->phase(), Phase::idle);
    EXPECT_EQ(service->liveRecordCount(), 0U);

    press();
    EXPECT_TRUE(panel->isVisible());
    EXPECT_EQ(factory.made.size(), 1U) << "the approval is reused";
    coordinator->cancelAll();
    EXPECT_FALSE(panel->isVisible());
    press();
    EXPECT_EQ(factory.made.size(), 2U);
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
    EXPECT_EQ(alertTexts(),
              std::vector<std::string>{BiometricAuthenticationError::failed().description()});
}

TEST_F(InvocationCoordinatorTest, ThePickerClosesWhenTheApprovalRunsOut) {
    saveEntry("GitHub", "hunter2");
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
    EXPECT_TRUE(alerts.shown.empty());
}

// With a field captured, another application coming to the front ends the prompt or the picker;
// the prompt itself, this app, the field's and the origin's applications do not.
TEST_F(InvocationCoordinatorTest, AnotherApplicationEndsThePromptAndThePicker) {
    saveEntry("GitHub", "hunter2");
    target->pid = 43; // a field owned by a helper process of the editor
    const std::vector<std::tuple<std::optional<std::int32_t>, std::optional<std::string>, bool>>
        cases{{ownPid, "app.kestrelle.Kestrelle", false},
              {editorPid, std::nullopt, false},
              {43, std::nullopt, false},
              {5, "com.apple.CoreAuthUI", false},
              {6, "com.apple.LocalAuthentication.UIAgent", false},
              {7, "com.apple.SecurityAgent", false},
              {std::nullopt, "com.apple.CoreAuthUI", false},
              {otherPid, "com.example.other", true},
              {std::nullopt, std::nullopt, true}};
    for (const bool prompting : {true, false}) {
        factory.outcome =
            prompting ? test::FakePromptOutcome::hold : test::FakePromptOutcome::approve;
        for (const auto& [pid, bundle, cancels] : cases) {
            SCOPED_TRACE(testing::Message()
                         << prompting << " " << pid.value_or(-1) << " " << bundle.value_or("-"));
            target->activations.clear();
            target->failure.reset();
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
            coordinator->cancel();
            executor.runUntilIdle();
        }
    }
    EXPECT_TRUE(alerts.shown.empty());
    EXPECT_TRUE(std::ranges::any_of(log.messages(), [](const std::string& line) {
        return line.ends_with(
            " cancelled: unknown (pid -1) activated while choosing; origin pid 42");
    }));
}

TEST_F(InvocationCoordinatorTest, AnotherApplicationWhileTypingStopsItThroughTheTarget) {
    saveEntry("Long", std::string(64, 'x'));
    const std::vector<std::pair<std::optional<std::int32_t>, std::size_t>> cases{
        {otherPid, 1}, {std::nullopt, 1}, {editorPid, 4}};
    for (const auto& [pid, chunks] : cases) {
        SCOPED_TRACE(pid.value_or(-1));
        target->failure.reset();
        target->activations.clear();
        keyboard.posted.clear();
        alerts.shown.clear();
        press();
        pick();
        ASSERT_EQ(keyDowns(), 1U);
        activations.activate(pid, std::nullopt);
        EXPECT_EQ(coordinator->phase(), Phase::inserting) << "the typing itself decides";
        executor.advance(1s);
        EXPECT_EQ(keyDowns(), chunks);
        EXPECT_EQ(alertTexts(),
                  chunks == 4 ? std::vector<std::string>{} : textOf(Kind::targetChanged));
        EXPECT_EQ(target->activations, std::vector<std::optional<std::int32_t>>{pid});
    }
}

TEST_F(InvocationCoordinatorTest, ACopyOnlyInvocationSurvivesSwitchesAndCopies) {
    saveEntry("GitHub", "hunter2");
    capturedTarget = nullptr;
    press();
    activations.activate(otherPid, "com.example.other");
    ASSERT_TRUE(panel->isVisible());
    EXPECT_TRUE(panel->content->showsHint());

    pick();
    EXPECT_EQ(coordinator->phase(), Phase::idle);
    EXPECT_TRUE(pasteboard.holds("public.utf8-plain-text", "hunter2"));
    EXPECT_TRUE(keyboard.posted.empty());
    EXPECT_TRUE(log.contains("Copied to clipboard"));
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
        {"nobody", switching(0, {}, std::nullopt), 20},
        {"an unnamed application", switching(0, {}, FrontmostApplication{otherPid, {}}), 20},
        {"the prompt", switching(0, {}, prompt), 40},
        {"this app", switching(0, {}, FrontmostApplication{ownPid, {}}), 40},
        {"the prompt, then another", switching(30, prompt, other), 50},
        {"another, then the prompt", switching(10, other, prompt), 50},
        {"alternating", [](int wait) -> Frontmost { return wait % 2 ? prompt : other; }, 40},
    };
    saveEntry("GitHub", "hunter2");
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
        EXPECT_EQ(alertTexts(), textOf(Kind::targetChanged));
    }
    EXPECT_TRUE(log.contains("Invocation rejected: targetChanged"));

    // The field coming back within the budget opens the picker.
    workspace.frontmost = prompt;
    press();
    executor.advance(39 * InvocationCoordinator::targetPollInterval);
    target->failure.reset();
    executor.advance(InvocationCoordinator::targetPollInterval);
    EXPECT_EQ(coordinator->phase(), Phase::choosing);
}

// A cancellation, or the coordinator going away, while the catalog is read after the prompt:
// the picker never opens and the approval is discarded. Reading the catalog is the operation's
// only suspension without a cancellation point behind it.
TEST_F(InvocationCoordinatorTest, NothingOpensForAnInvocationEndedDuringTheCatalogRead) {
    saveEntry("GitHub", "hunter2");
    for (const bool withTarget : {false, true}) {
        SCOPED_TRACE(withTarget ? "with a target" : "copy only");
        capturedTarget = withTarget ? target : nullptr;
        catalogQueue.held = true;
        press();
        ASSERT_EQ(catalogQueue.pending.pendingCount(), 1U);
        coordinator->cancel();
        catalogQueue.held = false;
        catalogQueue.pending.runAll();
        executor.runUntilIdle();
        expectQuietEnd();
        EXPECT_EQ(target->validations, 0) << "no look at the field for an ended invocation";
    }
    catalogQueue.held = true;
    press();
    coordinator.reset();
    catalogQueue.pending.runAll();
    executor.runUntilIdle();
    expectQuietEnd();
}

TEST_F(InvocationCoordinatorTest, AnEntryDeletedWhileThePickerIsOpenIsNotDelivered) {
    const auto doomed = saveEntry("GitHub", "hunter2");
    press();
    auto catalog = test::runTask(executor, repository.load());
    std::erase_if(catalog.orderedEntries, [&](const auto& entry) { return entry.id() == doomed; });
    test::runTask(executor, repository.save(catalog));
    pick();
    executor.advance(1s);
    expectQuietEnd();
}

// Cancelled, or the coordinator gone, while the catalog or the Keychain is read during delivery:
// nothing is typed or copied, and an ended invocation reads no password.
TEST_F(InvocationCoordinatorTest, ADeliveryOutlivingItsInvocationDeliversNothing) {
    saveEntry("GitHub", "hunter2");
    for (auto* held : {&catalogQueue, &keychainQueue}) {
        for (const bool copying : {false, true}) {
            for (const bool destroyed : {false, true}) {
                SCOPED_TRACE(testing::Message() << (held == &catalogQueue ? "catalog" : "Keychain")
                                                << " read, " << (copying ? "copy, " : "type, ")
                                                << (destroyed ? "destroyed" : "cancelled"));
                press();
                held->held = true;
                copying ? pick(modifier::command) : pick();
                ASSERT_EQ(held->pending.pendingCount(), 1U) << "the read is under way";
                const auto keychainCalls = keychain.received.size();
                destroyed ? coordinator.reset() : coordinator->cancel();
                held->held = false;
                held->pending.runAll();
                executor.advance(1s);
                expectQuietEnd();
                if (held == &catalogQueue) {
                    EXPECT_EQ(keychain.received.size(), keychainCalls);
                }
                if (!coordinator) {
                    makeCoordinator();
                }
            }
        }
    }
}

TEST_F(InvocationCoordinatorTest, TheApprovalRunningOutCutsTypingBetweenChunks) {
    saveEntry("Long", std::string(64, 'x'));
    press();
    executor.advance(29970ms);
    pick();
    executor.advance(1s);
    // Chunks start at 29.970, 29.982 and 29.994 s; the expiry at 30 s stops the third one's
    // hold, whose key-up still goes out.
    EXPECT_EQ(keyDowns(), 3U);
    EXPECT_EQ(keyboard.posted.size(), 6U);
    EXPECT_FALSE(keyboard.posted.back().keyDown);
    EXPECT_EQ(coordinator->phase(), Phase::idle);
    EXPECT_TRUE(alerts.shown.empty());
}

TEST_F(InvocationCoordinatorTest, DeliveryFailuresAreShownAndLeaveNothingBehind) {
    const auto entry = saveEntry("GitHub", "hunter2");
    auto& stored = keychain.items[{store.service(), entry.toString()}].value;
    const auto unreadable = [this] {
        test::TemporaryDirectory::write(repository.fileURL(), "{ not a catalog");
        try {
            test::runTask(executor, repository.load());
        } catch (const KestrelleError& error) {
            return std::vector<std::string>{error.description()};
        }
        return std::vector<std::string>{"the catalog was readable"};
    };
    const std::vector<std::tuple<const char*, bool, std::function<std::vector<std::string>()>>>
        cases{
            {"modifiers held", false,
             [&] { return keyboard.heldChecks = 1000, textOf(Kind::modifiersHeld); }},
            {"invalid UTF-8 typed", false,
             [&] { return stored = test::secretBytes("\xC0\xAF"), textOf(Kind::invalidUTF8); }},
            {"invalid UTF-8 copied", true,
             [&] { return stored = test::secretBytes("\xED\xA0\x80"), textOf(Kind::invalidUTF8); }},
            {"unreadable catalog", false, unreadable},
        };
    const auto catalogFile = test::TemporaryDirectory::read(repository.fileURL());
    for (const auto& [name, copying, breakIt] : cases) {
        SCOPED_TRACE(name);
        alerts.shown.clear();
        press();
        const auto expected = breakIt();
        copying ? pick(modifier::command) : pick();
        executor.advance(1s);
        EXPECT_EQ(coordinator->phase(), Phase::idle);
        EXPECT_TRUE(keyboard.posted.empty());
        EXPECT_EQ(pasteboard.declarations, 0);
        EXPECT_EQ(alertTexts(), expected);
        EXPECT_EQ(service->liveRecordCount(), 0U);
        keyboard.heldChecks = 0;
        stored = test::secretBytes("hunter2");
        test::TemporaryDirectory::write(repository.fileURL(), catalogFile);
    }
}

TEST_F(InvocationCoordinatorTest, ConfigureEndsTheInvocationAndOpensSettings) {
    int opened = 0;
    coordinator->setOnConfigure([&] { ++opened; });
    press();
    ASSERT_TRUE(panel->isVisible());
    ASSERT_TRUE(panel->content->showsConfigureButton());
    panel->content->clickConfigure();
    executor.runUntilIdle();
    EXPECT_EQ(opened, 1);
    EXPECT_EQ(coordinator->phase(), Phase::idle);
    EXPECT_FALSE(panel->isVisible());
}

TEST(InvocationCoordinatorStaticTest, RecognisesTheAuthenticationInterface) {
    const std::vector<std::pair<std::optional<std::string>, bool>> cases{
        {"com.apple.CoreAuthUI", true},
        {"com.apple.coreauthd", true},
        {"com.apple.LocalAuthentication.UIAgent", true},
        {"COM.APPLE.SECURITYAGENT", true},
        {"com.apple.securityagent.helper", false},
        {"com.example.editor", false},
        {"", false},
        {std::nullopt, false}};
    for (const auto& [bundle, recognised] : cases) {
        EXPECT_EQ(InvocationCoordinator::isAuthenticationUserInterface(bundle), recognised)
            << bundle.value_or("none");
    }
}

} // namespace
} // namespace kestrelle
