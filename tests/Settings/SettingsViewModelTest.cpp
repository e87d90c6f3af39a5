#include "Settings/SettingsViewModel.h"

#include "Security/BiometricAuthenticationError.h"
#include "Settings/PasswordSettingsError.h"
#include "Settings/PasswordValidationError.h"
#include "Settings/PasswordsPanePresentation.h"
#include "Support/FakeAppActivationNotifier.h"
#include "Support/FakeLoginItemSystem.h"
#include "Support/FakeSystemWorkspace.h"
#include "Support/InMemoryKeyValueStore.h"
#include "Support/ManualRepeatingTimers.h"
#include "Support/PasswordStack.h"
#include "Support/TaskProbe.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <ranges>
#include <set>
#include <tuple>

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
        const auto labels =
            model->snapshot().entries | std::views::transform(&SettingsEntry::label);
        return {labels.begin(), labels.end()};
    }
    const SettingsEntry& row(std::size_t index) const {
        return model->snapshot().entries.at(index);
    }
    PasswordSettingsService passwords{repository, securePasswords, [] {}};
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
    std::shared_ptr<LoginItemService> loginItem =
        LoginItemService::create(std::make_shared<test::FakeLoginItemSystem>(), activations);

    const Uuid mail = Uuid::random();
    const Uuid bank = Uuid::random();
    Results results;
    std::shared_ptr<SettingsViewModel> model =
        SettingsViewModel::create({executor, settings, *permissions, *loginItem, passwords,
                                   securePasswords, securePasswords.availability()});
};

// Where the secret store binds no biometrics (Linux), the biometrics line is not the whole story.
TEST_F(SettingsViewModelTest, WithoutBiometricBindingTheBiometricsSectionSaysWhatProtects) {
    EXPECT_EQ(model->passwordsPane().protectionCaption, std::nullopt);
    const auto keyring =
        SettingsViewModel::create({executor, settings, *permissions, *loginItem, passwords,
                                   securePasswords, securePasswords.availability(), false});
    EXPECT_NE(keyring->passwordsPane().protectionCaption, std::nullopt);
}

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

// Each row button acts on its own row's entry, in its own direction.
TEST_F(SettingsViewModelTest, ARowsButtonsActOnThatRowsEntry) {
    using Action = PasswordsPanePresentation::Action;
    model->perform(row(1), Action::moveUp);
    executor.runUntilIdle();
    EXPECT_EQ(labels(), (Labels{"Bank", "Mail"}));
    model->perform(row(0), Action::moveDown);
    executor.runUntilIdle();
    EXPECT_EQ(labels(), (Labels{"Mail", "Bank"}));
    model->perform(row(1), Action::edit);
    ASSERT_TRUE(model->editor());
    EXPECT_EQ(model->editor()->id, bank);
    model->closeEditor(*model->editor());
    model->perform(row(1), Action::remove);
    ASSERT_TRUE(model->deleteCandidate());
    EXPECT_EQ(model->deleteCandidate()->id, bank);
}

TEST_F(SettingsViewModelTest, ADeleteClosesItsConfirmationFirstAndItsSuccessClearsTheLine) {
    factory.outcome = Outcome::hold;
    model->requestDelete(row(0));
    model->confirmDelete();
    EXPECT_EQ(model->deleteCandidate(), std::nullopt);
    EXPECT_FALSE(factory.last().isPromptUp());
    executor.runUntilIdle();
    EXPECT_TRUE(model->isBusy());
    EXPECT_FALSE(model->passwordsPane().rows.at(1).canEdit) << "the rows wait for the change";
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

TEST_F(SettingsViewModelTest, NeitherAClosedWindowsReportsNorAnOlderLoadReachTheLine) {
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

    // The delete's writes fail, then the reload after it fails at once; the load started here
    // before them checks three passwords, so it ends last, and succeeds.
    save("pw");
    save("pw");
    deleteFirst(Outcome::hold);
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

TEST_F(SettingsViewModelTest, AFailedSaveKeepsItsEditorButClosingSettingsEndsEveryForm) {
    const auto editor = save(" s3cret ", std::nullopt, Outcome::hold);
    EXPECT_TRUE(editor->isSaving());
    editor->cancel();
    EXPECT_NE(model->editor(), std::nullopt) << "a running save cannot be cancelled";
    factory.last().failPrompt(BiometricErrorCode::userCancel);
    executor.runUntilIdle();
    EXPECT_EQ(labels(), (Labels{"Mail", "Bank"}));
    EXPECT_EQ(model->editorModel(), editor);
    EXPECT_EQ(editor->footerMessage()->text, cancelled);
    factory.outcome = Outcome::approve;
    editor->submit();
    executor.runUntilIdle();
    EXPECT_EQ(model->editor(), std::nullopt);
    EXPECT_TRUE(itemHolds(row(2).id, " s3cret ")) << "saved as typed, untrimmed";

    // Closing ends the approvals, the editor (wiped) and the confirmation; a running save still
    // reports to its editor.
    test::runTask(executor, securePasswords.beginInvocation(Uuid::random()));
    ASSERT_TRUE(securePasswords.hasReusableCredential());
    const auto renaming = save("new", 0, Outcome::hold);
    model->requestDelete(row(1));
    model->clearTransientForms();
    EXPECT_EQ(model->editor(), std::nullopt);
    EXPECT_EQ(model->editorModel(), nullptr);
    EXPECT_TRUE(renaming->isPasswordEmpty());
    EXPECT_EQ(model->deleteCandidate(), std::nullopt);
    EXPECT_FALSE(securePasswords.hasReusableCredential());
    executor.runUntilIdle();
    const auto failed = EntryEditorSaveResult::failed(cancelled);
    EXPECT_EQ(results, (Results{failed, EntryEditorSaveResult::saved(), failed}));
    EXPECT_TRUE(itemHolds(mail, "pw"));
}

// Every text a Linux desktop shows, in every state that can arise there.
TEST_F(SettingsViewModelTest, OnLinuxNoTextNamesMacOSAndNoLinkIntoItsSettingsIsOffered) {
    const auto onLinux = SettingsViewModel::create(
        {executor, settings, *permissions, *loginItem, passwords, securePasswords,
         BiometricAvailability::lockedOut(), false, PlatformTraits::x11().systemNames});
    const auto general = onLinux->generalPane();
    EXPECT_FALSE(general.showsTroubleshooting);
    EXPECT_TRUE(model->generalPane().showsTroubleshooting);
    std::vector<std::string> texts{
        general.approvalSectionTitle,     general.reuseWindowPickerLabel,
        general.accessibilityStatus.text, general.accessibilityCaption.text,
        general.grantAccessTitle,         general.launchAtLoginCaption.text};
    for (const auto availability :
         {BiometricAvailability::available(BiometricKind::faceID),
          BiometricAvailability::lockedOut(), BiometricAvailability::unsupported(),
          BiometricAvailability::notEnrolled()}) {
        const auto pane =
            PasswordsPanePresentation::make({}, availability, std::nullopt, false, false,
                                            PlatformTraits::SystemNames::linuxDesktop);
        EXPECT_FALSE(pane.showsBiometricSettingsButton);
        texts.insert(texts.end(),
                     {pane.biometricsSectionTitle, pane.biometrics.text, pane.caption});
    }
    for (const auto& open : {std::function([&] { onLinux->beginEdit(row(0)); }),
                             std::function([&] { onLinux->beginAdd(); })}) {
        open();
        const auto editor = onLinux->editorModel();
        editor->setLabel("Home");
        editor->setPassword("pw");
        editor->submit();
        texts.insert(texts.end(), {std::string(editor->title()), std::string(editor->subtitle()),
                                   std::string(editor->progressText().value())});
    }
    for (const auto& text : texts) {
        // The approval may be the account password.
        for (const auto* macOnly :
             {"Touch ID", "Face ID", "Mac", "Keychain", "System Settings", "biometric"}) {
            EXPECT_EQ(text.find(macOnly), std::string::npos) << text;
        }
    }
}

// The editor alone.

using Presentation = PasswordFieldPresentation;
using Mode = EntryEditorRequest::Mode;

TEST(EntryEditorModelTest, AnUnknownPasswordOpensAsSavedSoThatAnEmptyFieldOnlyRenames) {
    const SettingsEntry entry{Uuid::random(), "Mail", EntrySecretState::unknown};
    EXPECT_EQ(EntryEditorRequest::forEntry(entry),
              (EntryEditorRequest{entry.id, Mode::edit(false), "Mail", Presentation::savedSecret}));
}

TEST(EntryEditorModelTest, TheFirstFailingCheckIsShownAndSaveWaitsForValidInput) {
    const auto blankLabel = PasswordValidationError::blankLabel().description();
    const auto emptyPassword = PasswordValidationError::emptyPassword().description();
    const auto controlCharacter = PasswordValidationError::controlCharacter().description();
    // An empty field keeps a saved password, or with a missing one changes only the label.
    const std::tuple<Presentation, const char*, const char*, std::optional<std::string>> cases[] = {
        {Presentation::newSecret, " ", "a\tb", blankLabel},
        {Presentation::newSecret, "Mail", "", emptyPassword},
        {Presentation::savedSecret, "Mail", "a\tb", controlCharacter},
        {Presentation::savedSecret, "Mail", "", std::nullopt},
        {Presentation::missingSecret, "Mail", "", std::nullopt},
        {Presentation::replacementRequired, "Mail", "", emptyPassword},
    };
    test::ManualExecutor executor;
    for (std::size_t index = 0; index < std::size(cases); ++index) {
        SCOPED_TRACE(index);
        const auto& [presentation, label, password, message] = cases[index];
        const auto editor = EntryEditorModel::create(
            {Uuid::random(), Mode::edit(false), "Mail", presentation}, executor, {}, {});
        editor->setLabel(label);
        editor->setPassword(password);
        const auto footer = editor->footerMessage();
        EXPECT_EQ(footer ? std::optional(footer->text) : std::nullopt, message);
        EXPECT_EQ(editor->isSaveEnabled(), !message);
        // What a screen reader hears of a typed password tells neither its length nor content.
        editor->setPassword("x");
        const std::string typed(editor->passwordAccessibilityValue());
        editor->setPassword("a much longer password 😀");
        EXPECT_EQ(editor->passwordAccessibilityValue(), typed);
    }
}

// The Passwords pane names the approval in force; on the desktop, in no state does it name the
// Mac, nor do the refusals it reads from.
TEST(PasswordsPaneTest, TheBiometricsLineNamesTheKindInForce) {
    using enum BiometricKind;
    using Availability = BiometricAvailability;
    const auto line = [](Availability state) {
        return PasswordsPanePresentation::make({}, state, {}, false, true,
                                               PlatformTraits::SystemNames::macOS)
            .biometrics.text;
    };
    const std::set ready{
        line(Availability::available(touchID)), line(Availability::available(faceID)),
        line(Availability::available(fingerprint)), line(Availability::available(password))};
    EXPECT_EQ(ready.size(), 4U);
    for (auto kind : {fingerprint, password}) {
        for (auto state : {Availability::available(kind), Availability::notEnrolled(kind),
                           Availability::lockedOut(kind), Availability::unsupported(kind)}) {
            EXPECT_THAT(line(state),
                        testing::Not(testing::ContainsRegex("Mac|macOS|Touch ID|System Settings")));
        }
    }
}

} // namespace
} // namespace kestrelle
