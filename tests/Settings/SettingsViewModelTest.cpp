#include "Settings/SettingsViewModel.h"

#include "Security/BiometricAuthenticationError.h"
#include "Settings/PasswordSettingsError.h"
#include "Support/FakeAppActivationNotifier.h"
#include "Support/FakeLoginItemSystem.h"
#include "Support/FakeSystemWorkspace.h"
#include "Support/InMemoryKeyValueStore.h"
#include "Support/ManualRepeatingTimers.h"
#include "Support/PasswordStack.h"
#include "Support/TaskProbe.h"

#include <gtest/gtest.h>

namespace kestrelle {
namespace {

using Labels = std::vector<std::string>;
using Results = std::vector<EntryEditorSaveResult>;
using Outcome = test::FakePromptOutcome;
const std::string cancelled = BiometricAuthenticationError::cancelled().description();

// The model over the real services, with fake biometrics, Keychain and platform behind them.
class SettingsViewModelTest : public ::testing::Test, protected test::PasswordStack {
protected:
    void SetUp() override {
        test::runTask(executor, repository.save({1, {{mail, "Mail"}, {bank, "Bank"}}}));
        storeItem(mail, "pw");
        storeItem(bank, "pw");
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
    // With `Outcome::hold`, leaves the delete waiting for Touch ID.
    void deleteFirst(Outcome outcome = Outcome::approve) {
        factory.outcome = outcome;
        model->requestDelete(row(0));
        model->confirmDelete();
        executor.runUntilIdle();
    }
    // Opens the editor on row `index`, or for a new entry "Home", and submits `password`; with
    // `Outcome::hold`, the save waits for Touch ID.
    std::shared_ptr<EntryEditorModel> save(std::string_view password,
                                           std::optional<std::size_t> index = std::nullopt,
                                           Outcome outcome = Outcome::approve) {
        factory.outcome = outcome;
        index ? model->beginEdit(row(*index)) : model->beginAdd();
        const auto editor = model->editorModel();
        if (!index) {
            editor->setLabel("Home");
        }
        editor->setPassword(password);
        editor->submit();
        executor.runUntilIdle();
        return editor;
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
    static Task<void> noInvocation() { co_return; }

    PasswordSettingsService passwords{repository, securePasswords, &noInvocation};
    const std::string loadFailure = std::string(SettingsViewModel::loadFailurePrefix) + writeError;

    test::InMemoryKeyValueStore defaults;
    Settings settings{defaults, PlatformTraits::Keyboard::mac};
    test::FakeSystemWorkspace workspace;
    test::FakeAppActivationNotifier activations;
    test::ManualRepeatingTimers timers{executor};
    std::shared_ptr<PermissionsManager> permissions =
        PermissionsManager::create({[] { return false; },
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

// A change whose catalog write failed is reported, and the list reloaded. A reload that fails
// keeps the list and shows its cause until a load succeeds. The next change clears a report.
TEST_F(SettingsViewModelTest, FailedWritesAreReportedUntilALoadOrAChangeSucceeds) {
    std::vector<bool> loading;
    auto subscription = model->subscribeIsLoading([&](bool value) { loading.push_back(value); });
    writer->failures = 3;
    deleteFirst();
    EXPECT_EQ(model->errorMessage(),
              PasswordSettingsError::metadataReconciliationPending(writeError).description());
    EXPECT_EQ(labels(), Labels{"Bank"});
    model->move(row(0), 1);
    EXPECT_EQ(model->errorMessage(), std::nullopt);

    // The delete's three attempts fail, then the three of the reload that follows it.
    writer->failures = 6;
    deleteFirst();
    EXPECT_EQ(model->errorMessage(), loadFailure);
    EXPECT_EQ(labels(), Labels{"Bank"});
    refreshed();
    EXPECT_EQ(labels(), Labels{});
    EXPECT_EQ(model->errorMessage(), std::nullopt);
    EXPECT_EQ(loading, (std::vector{false, true, false}));
}

TEST_F(SettingsViewModelTest, ADeleteClosesItsConfirmationFirstAndItsSuccessClearsTheLine) {
    factory.outcome = Outcome::hold;
    model->requestDelete(row(0));
    model->confirmDelete();
    EXPECT_EQ(model->deleteCandidate(), std::nullopt);
    EXPECT_FALSE(factory.last().isPromptUp());
    executor.runUntilIdle();
    EXPECT_TRUE(model->isBusy());
    // Refused while the delete waits; the delete's success ends that report.
    model->move(row(1), -1);
    executor.runUntilIdle();
    EXPECT_EQ(model->errorMessage(), PasswordSettingsError::mutationInProgress().description());

    factory.last().approvePrompt();
    executor.runUntilIdle();
    EXPECT_EQ(labels(), Labels{"Bank"});
    EXPECT_FALSE(model->isBusy());
    EXPECT_EQ(model->errorMessage(), std::nullopt);
}

TEST_F(SettingsViewModelTest, NothingReportedToAClosedWindowReachesTheNextOpening) {
    // A change that closing Settings cancelled.
    deleteFirst(Outcome::hold);
    model->clearTransientForms();
    executor.runUntilIdle();
    EXPECT_EQ(model->errorMessage(), std::nullopt);
    EXPECT_EQ(labels(), (Labels{"Mail", "Bank"}));

    // A load that failed after the window closed: the delete's writes fail, the reload's after
    // it, and then the load that the closing overtook.
    writer->failures = 9;
    deleteFirst();
    ASSERT_EQ(model->errorMessage(), loadFailure);
    model->refresh();
    model->clearTransientForms();
    executor.runUntilIdle();
    EXPECT_EQ(model->errorMessage(), std::nullopt);

    refreshed();
    EXPECT_EQ(labels(), Labels{"Bank"});
    EXPECT_EQ(model->errorMessage(), std::nullopt);
}

TEST_F(SettingsViewModelTest, AnOlderLoadNeverOverwritesANewerOne) {
    deleteFirst(Outcome::hold);
    // The delete's writes fail, then the reload after it fails at once; the load started here
    // before them ends last.
    writer->failures = 6;
    factory.last().approvePrompt();
    model->refresh();
    executor.runUntilIdle();
    EXPECT_EQ(model->errorMessage(), loadFailure);
}

TEST_F(SettingsViewModelTest, TheModelMayGoWhileItsChangesAreOutstanding) {
    const auto editor = save("pw", std::nullopt, Outcome::hold);
    // Refused at once, but only after the model has gone.
    model->move(row(0), 1);
    model.reset();
    factory.last().approvePrompt();
    executor.runUntilIdle();
    EXPECT_FALSE(editor->isSaving());
}

TEST_F(SettingsViewModelTest, ClosingSettingsEndsEveryApprovalAndFormButAStillReportsItsSave) {
    test::runTask(executor, securePasswords.beginInvocation(Uuid::random()));
    ASSERT_TRUE(securePasswords.hasReusableCredential());
    const auto editor = save("new", 0, Outcome::hold);
    model->requestDelete(row(1));

    model->clearTransientForms();
    EXPECT_EQ(model->editor(), std::nullopt);
    EXPECT_EQ(model->editorModel(), nullptr);
    EXPECT_TRUE(editor->isPasswordEmpty());
    EXPECT_EQ(model->deleteCandidate(), std::nullopt);
    EXPECT_FALSE(securePasswords.hasReusableCredential());
    executor.runUntilIdle();
    EXPECT_EQ(results, Results{EntryEditorSaveResult::failed(cancelled)});
    EXPECT_TRUE(itemHolds(mail, "pw"));
}

TEST_F(SettingsViewModelTest, ACancelledPromptKeepsTheEditorOpenWithTheMessage) {
    const auto editor = save(" s3cret ", std::nullopt, Outcome::hold);
    EXPECT_TRUE(editor->isSaving());
    editor->cancel();
    EXPECT_NE(model->editor(), std::nullopt) << "a running save cannot be cancelled";

    factory.last().failPrompt(BiometricErrorCode::userCancel);
    executor.runUntilIdle();
    EXPECT_EQ(labels(), (Labels{"Mail", "Bank"}));
    EXPECT_EQ(model->editorModel(), editor);
    EXPECT_EQ(editor->footerMessage()->text, cancelled);
    EXPECT_EQ(results, Results{EntryEditorSaveResult::failed(cancelled)});

    factory.outcome = Outcome::approve;
    editor->submit();
    executor.runUntilIdle();
    EXPECT_EQ(model->editor(), std::nullopt);
    EXPECT_TRUE(itemHolds(row(2).id, " s3cret ")) << "saved as typed, untrimmed";
    EXPECT_TRUE(results.back().isSaved());
}

} // namespace
} // namespace kestrelle
