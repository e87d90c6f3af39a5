#include "Settings/SettingsViewModel.h"

#include "Storage/EntryRepository.h"
#include "Storage/SecretStore.h"
#include "Support/FakeAppActivationNotifier.h"
#include "Support/FakeBiometrics.h"
#include "Support/FakeKeychainBackend.h"
#include "Support/FakeLoginItemSystem.h"
#include "Support/FakeSystemWorkspace.h"
#include "Support/FlakyFileWriter.h"
#include "Support/InMemoryKeyValueStore.h"
#include "Support/InlineQueue.h"
#include "Support/ManualExecutor.h"
#include "Support/ManualRepeatingTimers.h"
#include "Support/PasswordStack.h"
#include "Support/TaskProbe.h"
#include "Support/TemporaryDirectory.h"

#include <gtest/gtest.h>

namespace kestrelle {
namespace {

using Labels = std::vector<std::string>;
using Results = std::vector<EntryEditorSaveResult>;
using System = LoginItemSystemService;
using Tone = SettingsTone;
constexpr auto cancelledText = "Biometric authentication was cancelled.";

// The model over the real services, with fake biometrics, Keychain and platform behind them.
class SettingsViewModelTest : public ::testing::Test, protected test::PasswordStack {
protected:
    void SetUp() override {
        test::runTask(executor, repository.save({1, {{mail, "Mail"}, {bank, "Bank"}}}));
        for (const auto& id : {mail, bank}) {
            keychain.items[{store.service(), id.toString()}] = {test::secretBytes("pw"), {}};
        }
        model->setOnEditorSaveCompleted([this](const auto& result) { results.push_back(result); });
        refreshed();
    }
    void TearDown() override {
        executor.runUntilIdle();
        EXPECT_FALSE(securePasswords.isGateHeld());
    }

    void refreshed() {
        model->refresh();
        executor.runUntilIdle();
    }
    void deleteMail() {
        model->requestDelete(row(0));
        model->confirmDelete();
        executor.runUntilIdle();
    }
    bool itemHolds(const Uuid& id, std::string_view password) const {
        auto found = keychain.items.find({store.service(), id.toString()});
        return found != keychain.items.end() && test::sameBytes(found->second.value, password);
    }
    Labels labels() const {
        Labels labels;
        for (const auto& entry : model->snapshot().entries) {
            labels.push_back(entry.label);
        }
        return labels;
    }
    const SettingsEntry& row(std::size_t index) const {
        return model->snapshot().entries.at(index);
    }
    // Availability checks make contexts too, but never prompt.
    std::size_t promptCount() const {
        std::size_t count = 0;
        for (const auto& context : factory.made) {
            count += context->reasons.size();
        }
        return count;
    }
    static Task<void> noInvocation() { co_return; }

    PasswordSettingsService passwords{repository, securePasswords, &noInvocation};

    test::InMemoryKeyValueStore defaults;
    Settings settings{defaults};
    bool trusted = false;
    test::FakeSystemWorkspace workspace;
    test::FakeAppActivationNotifier activations;
    test::ManualRepeatingTimers timers{executor};
    std::shared_ptr<PermissionsManager> permissions =
        PermissionsManager::create({[this] { return trusted; },
                                    [] {},
                                    workspace,
                                    activations,
                                    timers,
                                    {"/Applications/Kestrelle.app", std::nullopt}});
    std::shared_ptr<test::FakeLoginItemSystem> loginSystem =
        std::make_shared<test::FakeLoginItemSystem>();
    std::shared_ptr<LoginItemService> loginItem =
        LoginItemService::create(loginSystem, activations);

    const Uuid mail = Uuid::random();
    const Uuid bank = Uuid::random();
    Results results;
    std::shared_ptr<SettingsViewModel> model =
        SettingsViewModel::create({executor, settings, *permissions, *loginItem, passwords,
                                   securePasswords, securePasswords.availability()});
};

TEST_F(SettingsViewModelTest, AFailedLoadKeepsTheListAndShowsItsCause) {
    std::vector<bool> loading;
    auto subscription = model->subscribeIsLoading([&](bool value) { loading.push_back(value); });
    // The delete's three attempts fail, then the three of the reload that follows it.
    writer->failures = 6;
    deleteMail();
    EXPECT_EQ(model->errorMessage(),
              "Password metadata could not be loaded. The existing file was left unchanged. " +
                  writeError);
    EXPECT_EQ(labels(), (Labels{"Mail", "Bank"}));

    refreshed();
    EXPECT_EQ(labels(), Labels{"Bank"});
    EXPECT_EQ(loading, (std::vector{false, true, false}));
}

TEST_F(SettingsViewModelTest, ADeleteWhoseCatalogWriteFailedIsReportedAndGoneAfterTheReload) {
    writer->failures = 3;
    deleteMail();
    EXPECT_EQ(model->errorMessage(), "The password was removed, but its label could not be "
                                     "updated on disk. Kestrelle will retry. " +
                                         writeError);
    EXPECT_EQ(labels(), Labels{"Bank"});

    // The next change starts without the old report.
    model->move(row(0), 1);
    EXPECT_EQ(model->errorMessage(), std::nullopt);
}

TEST_F(SettingsViewModelTest, ConfirmingADeleteClosesTheConfirmationBeforeThePrompt) {
    factory.outcome = test::FakePromptOutcome::hold;
    model->requestDelete(row(0));
    std::vector<std::size_t> promptsWhenClosed;
    auto subscription = model->subscribeDeleteCandidate([&](const auto& candidate) {
        if (!candidate) {
            promptsWhenClosed.push_back(promptCount());
        }
    });
    model->confirmDelete();
    executor.runUntilIdle();
    ASSERT_TRUE(factory.last().isPromptUp());
    EXPECT_EQ(promptsWhenClosed, std::vector<std::size_t>{0});
    EXPECT_TRUE(model->isBusy());
    EXPECT_FALSE(model->passwordsPane().rows.at(1).canDelete);

    factory.last().approvePrompt();
    executor.runUntilIdle();
    EXPECT_EQ(labels(), Labels{"Bank"});
    EXPECT_FALSE(model->isBusy());
}

TEST_F(SettingsViewModelTest, AChangeCancelledByClosingSettingsLeavesNoErrorForTheNextOpening) {
    factory.outcome = test::FakePromptOutcome::hold;
    model->requestDelete(row(0));
    model->confirmDelete();
    executor.runUntilIdle();
    ASSERT_TRUE(factory.last().isPromptUp());
    model->clearTransientForms();
    executor.runUntilIdle();
    EXPECT_FALSE(model->errorMessage());
    EXPECT_EQ(labels(), (Labels{"Mail", "Bank"}));
}

TEST_F(SettingsViewModelTest, ClosingSettingsEndsAReusableApprovalAndWipesTheEditor) {
    test::runTask(executor, securePasswords.beginInvocation(Uuid::random()));
    ASSERT_TRUE(securePasswords.hasReusableCredential());
    model->beginEdit(row(0));
    const auto editor = model->editorModel();
    editor->setPassword("typed");
    model->requestDelete(row(1));

    model->clearTransientForms();
    EXPECT_EQ(model->editor(), std::nullopt);
    EXPECT_EQ(model->editorModel(), nullptr);
    EXPECT_TRUE(editor->isPasswordEmpty());
    EXPECT_EQ(model->deleteCandidate(), std::nullopt);
    EXPECT_FALSE(securePasswords.hasReusableCredential());

    const auto prompts = promptCount();
    test::runTask(executor, securePasswords.beginInvocation(Uuid::random()));
    EXPECT_EQ(promptCount(), prompts + 1);
    securePasswords.cancelAll();
}

TEST_F(SettingsViewModelTest, ACancelledPromptKeepsTheEditorOpenWithTheMessage) {
    model->beginAdd();
    const auto editor = model->editorModel();
    editor->setLabel("Home");
    editor->setPassword(" s3cret ");
    factory.outcome = test::FakePromptOutcome::hold;
    editor->submit();
    executor.runUntilIdle();
    EXPECT_EQ(editor->progressText(), "Waiting for Touch ID…");
    EXPECT_FALSE(editor->isSaveEnabled() || editor->isCancelEnabled() ||
                 editor->allowsInteractiveDismissal());
    editor->cancel();
    EXPECT_NE(model->editor(), std::nullopt) << "a running save cannot be cancelled";

    factory.last().failPrompt(BiometricErrorCode::userCancel);
    executor.runUntilIdle();
    EXPECT_EQ(model->editorModel(), editor);
    EXPECT_EQ(editor->footerMessage(),
              (EntryEditorModel::Message{cancelledText, "exclamationmark.triangle.fill"}));
    EXPECT_EQ(editor->progressText(), std::nullopt);
    EXPECT_EQ(results, Results{EntryEditorSaveResult::failed(cancelledText)});

    factory.outcome = test::FakePromptOutcome::approve;
    editor->submit();
    executor.runUntilIdle();
    EXPECT_EQ(model->editor(), std::nullopt);
    EXPECT_TRUE(editor->isPasswordEmpty());
    EXPECT_EQ(labels(), (Labels{"Mail", "Bank", "Home"}));
    EXPECT_TRUE(itemHolds(row(2).id, " s3cret ")) << "saved as typed, untrimmed";
    EXPECT_TRUE(results.back().isSaved());
}

TEST_F(SettingsViewModelTest, ClosingSettingsDuringASaveDismissesThePromptAndStillReports) {
    model->beginEdit(row(0));
    model->editorModel()->setPassword("new");
    factory.outcome = test::FakePromptOutcome::hold;
    model->editorModel()->submit();
    executor.runUntilIdle();

    model->clearTransientForms();
    executor.runUntilIdle();
    EXPECT_EQ(results, Results{EntryEditorSaveResult::failed(cancelledText)});
    EXPECT_TRUE(itemHolds(mail, "pw"));
}

TEST_F(SettingsViewModelTest, AMissingPasswordOpensARepairThatMayOnlyRename) {
    keychain.items.erase({store.service(), mail.toString()});
    refreshed();
    model->beginEdit(row(0));
    EXPECT_EQ(model->editor(),
              (EntryEditorRequest{mail, EntryEditorRequest::Mode::edit(true), "Mail",
                                  PasswordFieldPresentation::missingSecret}));
    model->editorModel()->setLabel("Home");
    model->editorModel()->submit();
    executor.runUntilIdle();
    EXPECT_EQ(labels(), (Labels{"Home", "Bank"}));
    EXPECT_EQ(row(0).secretState, EntrySecretState::missing);

    model->beginEdit(row(0));
    model->editorModel()->setPassword("fresh");
    model->editorModel()->submit();
    executor.runUntilIdle();
    EXPECT_TRUE(itemHolds(mail, "fresh"));
    EXPECT_EQ(row(0).secretState, EntrySecretState::available);
}

TEST_F(SettingsViewModelTest, ALoginItemAwaitingApprovalShowsTheToggleOnAndTheApprovalLine) {
    using Button = GeneralPanePresentation::StartupButton;
    using Action = GeneralPanePresentation::StartupAction;
    int changes = 0;
    auto subscription = model->subscribePanes([&] { ++changes; });
    loginSystem->currentStatus = System::statusRequiresApproval;
    loginItem->refresh();
    EXPECT_EQ(changes, 1);
    auto pane = model->generalPane();
    EXPECT_TRUE(pane.launchAtLoginIsOn && pane.launchAtLoginIsEnabled);
    EXPECT_EQ(pane.startupNotices,
              (std::vector<GeneralPanePresentation::StartupNotice>{
                  {{"Approval required", "exclamationmark.circle.fill", Tone::caution},
                   SettingsCaption{"Kestrelle is registered but will not start at login until "
                                   "you allow it under Login Items."},
                   Button{"Open Login Items Settings…", Action::openLoginItemsSettings}}}));

    // Switching it off fails, and Try Again repeats that.
    model->setLaunchAtLogin(false);
    executor.runUntilIdle();
    EXPECT_FALSE(model->generalPane().launchAtLoginIsEnabled);
    loginSystem->complete(System::statusRequiresApproval, "Denied.");
    executor.runUntilIdle();
    const auto failure = model->generalPane().startupNotices.at(1);
    EXPECT_EQ(failure.status.text, "Kestrelle could not be removed from your login items. Denied.");
    EXPECT_EQ(failure.button, (Button{"Try Again", Action::tryAgain}));
    model->retryLaunchAtLogin();
    executor.runUntilIdle();
    EXPECT_EQ(loginSystem->unregisterCount, 2);
    loginSystem->complete(System::statusNotRegistered);
    executor.runUntilIdle();
    EXPECT_FALSE(model->generalPane().launchAtLoginIsOn);
    EXPECT_TRUE(model->generalPane().startupNotices.empty());
}

TEST_F(SettingsViewModelTest, AShortcutConflictShowsUnderTheRecorderAndThePermissionFollowsTrust) {
    auto pane = model->generalPane();
    EXPECT_EQ(pane.shortcutStatus, (SettingsStatusLabel{"Shortcut registered",
                                                        "checkmark.circle.fill", Tone::positive}));
    EXPECT_EQ(pane.accessibilityStatus,
              (SettingsStatusLabel{"Not granted", "xmark.circle.fill", Tone::critical}));
    EXPECT_TRUE(pane.showsGrantAccessButton);

    settings.setShortcutStatus(ShortcutStatus::conflict("Another app uses this shortcut."));
    trusted = true;
    permissions->refresh();
    pane = model->generalPane();
    EXPECT_EQ(pane.shortcutStatus,
              (SettingsStatusLabel{"Another app uses this shortcut.",
                                   "exclamationmark.triangle.fill", Tone::critical}));
    EXPECT_EQ(pane.accessibilityStatus,
              (SettingsStatusLabel{"Granted", "checkmark.circle.fill", Tone::positive}));
    EXPECT_FALSE(pane.showsGrantAccessButton);
}

} // namespace
} // namespace kestrelle
