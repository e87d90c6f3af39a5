#include "Invocation/InvocationCoordinator.h"

#include "Invocation/InputInjector.h"
#include "Invocation/PasswordClipboard.h"
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
#include "Support/InlineQueue.h"
#include "Support/LogCapture.h"
#include "Support/ManualExecutor.h"
#include "Support/ManualQueue.h"
#include "Support/TaskProbe.h"
#include "Support/TemporaryDirectory.h"

#include <gtest/gtest.h>

namespace kestrelle {
namespace {

using namespace std::chrono_literals;
using Phase = InvocationCoordinator::Phase;

constexpr std::int32_t ownPid = 1;
constexpr std::int32_t editorPid = 42;
constexpr std::int32_t otherPid = 77;

// The whole invocation road: the real secure password service, catalog repository (on a
// temporary directory), picker, injector and clipboard, with fakes at every platform seam.
class InvocationCoordinatorTest : public ::testing::Test {
protected:
    InvocationCoordinatorTest() {
        workspace.currentPid = ownPid;
        workspace.frontmost = FrontmostApplication{editorPid, "com.example.editor"};
        auto ownedPanel = std::make_unique<test::FakePickerPanel>();
        panel = ownedPanel.get();
        picker = PasswordPicker::create(std::move(ownedPanel), executor);
        coordinator = InvocationCoordinator::create({executor, service, repository, picker,
                                                     injector, clipboard, workspace, activations,
                                                     alerts, [this] { return capturedTarget; }});
    }

    void TearDown() override {
        coordinator->cancel();
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
    void removeEntry(const Uuid& id) {
        auto catalog = test::runTask(executor, repository.load());
        std::erase_if(catalog.orderedEntries, [&](const auto& entry) { return entry.id() == id; });
        test::runTask(executor, repository.save(catalog));
    }
    // Presses the shortcut and lets the approval (and anything else that needs no time) run.
    void press() {
        coordinator->begin();
        executor.runUntilIdle();
    }
    void pressDigit(int digit, std::uint64_t modifiers = 0) {
        const std::uint16_t keyCodes[] = {29, 18, 19, 20, 21, 23, 22, 26, 28, 25};
        panel->press({keyCodes[digit], std::to_string(digit), modifiers});
        executor.runUntilIdle();
    }
    std::size_t keyDowns() const {
        return std::count_if(keyboard.posted.begin(), keyboard.posted.end(),
                             [](const auto& event) { return event.keyDown; });
    }
    std::vector<std::string> alertTexts() const {
        std::vector<std::string> texts;
        for (const auto& alert : alerts.shown) {
            EXPECT_EQ(alert.messageText, "Password not delivered");
            texts.push_back(alert.informativeText);
        }
        return texts;
    }

    test::LogCapture log;
    test::ManualExecutor executor;
    test::FakeBiometricContextFactory factory;
    test::FakeKeychainBackend keychain;
    test::ManualQueue keychainQueue;
    test::InlineQueue inlineQueue;
    SecretStore store{keychain, inlineQueue};
    std::shared_ptr<SecurePasswordService> service =
        std::make_shared<SecurePasswordService>(factory, store, executor);
    test::TemporaryDirectory directory;
    EntryRepository repository{[this] { return directory.path(); }};
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

    pressDigit(1);
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

TEST_F(InvocationCoordinatorTest, ASecondPressClosesThePickerAndAThirdStartsAgain) {
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
              (std::vector<std::string>{"Biometric authentication did not succeed."}));
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

TEST_F(InvocationCoordinatorTest, AnotherApplicationClosesThePickerButThePromptAndOwnAppsDoNot) {
    saveEntry("GitHub", "hunter2");
    target->pid = 43; // a field owned by a helper process of the editor
    press();
    activations.activate(ownPid, "app.kestrelle.Kestrelle");
    activations.activate(editorPid, std::nullopt);
    activations.activate(43, std::nullopt);
    activations.activate(5, "com.apple.CoreAuthUI");
    activations.activate(6, "com.apple.LocalAuthentication.UIAgent");
    activations.activate(7, "com.apple.SecurityAgent");
    EXPECT_TRUE(panel->isVisible());

    activations.activate(otherPid, std::nullopt);
    EXPECT_FALSE(panel->isVisible());
    EXPECT_EQ(coordinator->phase(), Phase::idle);
    EXPECT_TRUE(log.contains("Invocation " + log.records().front().message.substr(11, 36) +
                             " cancelled: unknown (pid 77) activated while choosing; origin pid "
                             "42"));
}

TEST_F(InvocationCoordinatorTest, ACopyOnlyInvocationSurvivesSwitchesAndCopies) {
    saveEntry("GitHub", "hunter2");
    capturedTarget = nullptr;
    press();
    activations.activate(otherPid, "com.example.other");
    ASSERT_TRUE(panel->isVisible());
    EXPECT_TRUE(panel->content->showsHint());

    pressDigit(1);
    EXPECT_EQ(coordinator->phase(), Phase::idle);
    EXPECT_TRUE(pasteboard.holds("public.utf8-plain-text", "hunter2"));
    EXPECT_TRUE(keyboard.posted.empty());
    EXPECT_TRUE(log.contains("Copied to clipboard"));
}

TEST_F(InvocationCoordinatorTest, AFieldThatDoesNotComeBackAfterThePromptEndsWithAnAlert) {
    saveEntry("GitHub", "hunter2");
    target->failure = InputInjectionError::Kind::targetChanged;
    workspace.frontmost = FrontmostApplication{otherPid, "com.example.other"};
    press();
    executor.advance(475ms);
    EXPECT_EQ(coordinator->phase(), Phase::authenticating);
    executor.advance(25ms);
    EXPECT_EQ(coordinator->phase(), Phase::idle);
    EXPECT_FALSE(panel->isVisible());
    EXPECT_EQ(alertTexts(),
              (std::vector<std::string>{
                  "The original input is no longer focused. Nothing more was typed."}));
    EXPECT_TRUE(log.contains("Invocation rejected: targetChanged"));
}

TEST_F(InvocationCoordinatorTest, ThePromptsOwnWindowsGetASecondToHandTheFocusBack) {
    saveEntry("GitHub", "hunter2");
    target->failure = InputInjectionError::Kind::targetChanged;
    workspace.frontmost = FrontmostApplication{5, "com.apple.CoreAuthUI"};
    press();
    executor.advance(900ms);
    EXPECT_EQ(coordinator->phase(), Phase::authenticating);
    target->failure.reset();
    executor.advance(25ms);
    EXPECT_EQ(coordinator->phase(), Phase::choosing);
    EXPECT_TRUE(panel->isVisible());
}

TEST_F(InvocationCoordinatorTest, AnEntryDeletedWhileThePickerIsOpenIsNotDelivered) {
    const auto doomed = saveEntry("GitHub", "hunter2");
    press();
    removeEntry(doomed);
    pressDigit(1);
    executor.advance(1s);
    EXPECT_EQ(coordinator->phase(), Phase::idle);
    EXPECT_TRUE(keyboard.posted.empty());
    EXPECT_TRUE(alerts.shown.empty());
}

TEST_F(InvocationCoordinatorTest, ADeliveryFinishingAfterACancellationTypesNothing) {
    SecretStore slowStore{keychain, keychainQueue};
    auto slowService = std::make_shared<SecurePasswordService>(factory, slowStore, executor);
    coordinator = InvocationCoordinator::create({executor, slowService, repository, picker,
                                                 injector, clipboard, workspace, activations,
                                                 alerts, [this] { return capturedTarget; }});
    saveEntry("GitHub", "hunter2");
    press();
    pressDigit(1);
    ASSERT_EQ(keychainQueue.pendingCount(), 1U) << "the Keychain read is under way";
    coordinator->cancel();
    keychainQueue.runAll();
    executor.advance(1s);
    EXPECT_TRUE(keyboard.posted.empty());
    EXPECT_TRUE(pasteboard.declaredTypes.empty());
    EXPECT_TRUE(alerts.shown.empty());
    EXPECT_EQ(slowService->liveRecordCount(), 0U);
}

TEST_F(InvocationCoordinatorTest, TheApprovalRunningOutCutsTypingBetweenChunks) {
    saveEntry("Long", std::string(64, 'x'));
    press();
    executor.advance(29970ms);
    pressDigit(1);
    executor.advance(1s);
    // Chunks start at 29.970, 29.982 and 29.994 s; the expiry at 30 s stops the third one's
    // hold, whose key-up still goes out.
    EXPECT_EQ(keyDowns(), 3U);
    EXPECT_EQ(keyboard.posted.size(), 6U);
    EXPECT_FALSE(keyboard.posted.back().keyDown);
    EXPECT_EQ(coordinator->phase(), Phase::idle);
    EXPECT_TRUE(alerts.shown.empty());
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

TEST_F(InvocationCoordinatorTest, CancelAllEndsEveryApproval) {
    saveEntry("GitHub", "hunter2");
    press();
    coordinator->cancelAll();
    EXPECT_FALSE(panel->isVisible());
    EXPECT_FALSE(service->hasReusableCredential());
    press();
    EXPECT_EQ(factory.made.size(), 2U);
}

TEST_F(InvocationCoordinatorTest, ModifiersHeldThroughTheWaitAreReported) {
    saveEntry("GitHub", "hunter2");
    keyboard.heldChecks = 1000;
    press();
    pressDigit(1);
    executor.advance(1s);
    EXPECT_EQ(alertTexts(),
              (std::vector<std::string>{
                  "Release the shortcut modifier keys, then invoke Kestrelle again."}));
    EXPECT_TRUE(keyboard.posted.empty());
}

TEST(InvocationCoordinatorStaticTest, RecognisesTheAuthenticationInterface) {
    for (const char* bundle :
         {"com.apple.CoreAuthUI", "com.apple.coreauthd", "com.apple.LocalAuthentication.UIAgent",
          "COM.APPLE.SECURITYAGENT"}) {
        EXPECT_TRUE(InvocationCoordinator::isAuthenticationUserInterface(std::string(bundle)))
            << bundle;
    }
    for (const char* bundle : {"com.apple.securityagent.helper", "com.example.editor", ""}) {
        EXPECT_FALSE(InvocationCoordinator::isAuthenticationUserInterface(std::string(bundle)))
            << bundle;
    }
    EXPECT_FALSE(InvocationCoordinator::isAuthenticationUserInterface(std::nullopt));
}

} // namespace
} // namespace kestrelle
