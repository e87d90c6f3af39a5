#include "Settings/PasswordSettingsService.h"

#include "Storage/EntryRepository.h"
#include "Storage/SecretStore.h"
#include "Support/FakeBiometrics.h"
#include "Support/FakeKeychainBackend.h"
#include "Support/FlakyFileWriter.h"
#include "Support/InlineQueue.h"
#include "Support/LogCapture.h"
#include "Support/ManualExecutor.h"
#include "Support/PasswordStack.h"
#include "Support/TaskProbe.h"
#include "Support/TemporaryDirectory.h"

#include <gtest/gtest.h>
#include <limits>

namespace kestrelle {
namespace {

using test::sameBytes;
using State = EntrySecretState;
using Labels = std::vector<std::string>;

constexpr auto controlText =
    "Passwords cannot contain control characters such as newlines, tabs, or NUL.";
constexpr auto entryNotFoundText =
    "That password entry no longer exists. Refresh Settings and try again.";
constexpr auto inProgressText = "Another password change is still in progress.";

template <class Call>
std::string errorOf(Call&& call) {
    try {
        call();
    } catch (const KestrelleError& error) {
        return error.description();
    }
    return "no error";
}

TEST(PasswordValidationTest, LabelsAreTrimmedAndPasswordsKeptAsTyped) {
    EXPECT_EQ(PasswordSettingsService::validatedLabel(" \t Work mail\r\n"), "Work mail");
    EXPECT_EQ(PasswordSettingsService::validatedLabel("\u3000\u00A0B a n k\u2029\u0085"),
              "B a n k");
    EXPECT_TRUE(sameBytes(PasswordSettingsService::validatedPasswordData(" pä 😀 "), " pä 😀 "));

    for (std::string_view label : {"", " \n\u2003\u202F", "Work\xFF"}) {
        EXPECT_EQ(errorOf([&] { PasswordSettingsService::validatedLabel(label); }),
                  "Enter a label.")
            << label;
    }
    EXPECT_EQ(errorOf([] { PasswordSettingsService::validatedPasswordData(""); }),
              "Enter a password.");
    // Passwords stay out of the failure output: cases are named by their index. The last four
    // are not UTF-8: a stray byte, an overlong form, a surrogate and a cut sequence.
    const std::string_view refused[] = {
        "a\tb",    "a\nb",    "ab\r",  {"a\0b", 3}, "a\x7F",         "a\u0085",      "a\u009F",
        "a\u2028", "a\u2029", "a\xFF", "a\xC0\xAF", "a\xED\xA0\x80", "a\xF0\x9F\x98"};
    for (std::size_t index = 0; index < std::size(refused); ++index) {
        EXPECT_EQ(errorOf([&] { PasswordSettingsService::validatedPasswordData(refused[index]); }),
                  controlText)
            << "case " << index;
    }
}

class PasswordSettingsServiceTest : public ::testing::Test, protected test::PasswordStack {
protected:
    void TearDown() override {
        executor.runUntilIdle();
        EXPECT_FALSE(securePasswords.isGateHeld());
        EXPECT_EQ(securePasswords.liveRecordCount(), 0U);
    }

    template <class T>
    T run(Task<T> task) {
        return test::runTask(executor, std::move(task));
    }
    template <class T>
    std::string failure(Task<T> task) {
        return errorOf([&] { run(std::move(task)); });
    }
    // What an earlier run left on disk.
    void seed(std::vector<EntryMetadata> entries) {
        run(repository.save({EntryCatalog::currentSchemaVersion, std::move(entries)}));
        writer->attempts = 0;
    }
    void storeItem(const Uuid& id, std::string_view password) {
        keychain.items[{store.service(), id.toString()}] = {test::secretBytes(password), {}};
    }
    bool itemHolds(const Uuid& id, std::string_view password) const {
        auto found = keychain.items.find({store.service(), id.toString()});
        return found != keychain.items.end() && sameBytes(found->second.value, password);
    }
    Labels labelsOnDisk() {
        Labels labels;
        for (const auto& entry : run(repository.load()).orderedEntries) {
            labels.push_back(entry.label);
        }
        return labels;
    }
    static bool logged(const test::LogCapture& log, std::string_view prefix) {
        const auto lines = log.messages();
        return std::any_of(lines.begin(), lines.end(),
                           [&](const std::string& line) { return line.starts_with(prefix); });
    }

    void cancelInvocation() { promptsWhenInvocationsCancelled.push_back(factory.made.size()); }

    std::vector<std::size_t> promptsWhenInvocationsCancelled;
    PasswordSettingsService service{repository, securePasswords,
                                    [this] { return cancelInvocation(); }};
    const Uuid entry = Uuid::random();
};

TEST_F(PasswordSettingsServiceTest, BadInputNeverPromptsNorReachesTheKeychain) {
    seed({{entry, "Mail"}});
    EXPECT_EQ(failure(service.add(" \n", "pw")), "Enter a label.");
    EXPECT_EQ(failure(service.add("Bank", "line\n")), controlText);
    EXPECT_EQ(failure(service.edit(entry, "Mail", "tab\t", false)), controlText);
    EXPECT_EQ(failure(service.edit(entry, "Mail", std::nullopt, true)), "Enter a password.");
    EXPECT_EQ(failure(service.edit(Uuid::random(), "Mail", std::nullopt, false)),
              entryNotFoundText);
    EXPECT_EQ(failure(service.move(Uuid::random(), 1)), entryNotFoundText);
    EXPECT_EQ(failure(service.deleteEntry(Uuid::random())), entryNotFoundText);
    EXPECT_TRUE(factory.made.empty());
    EXPECT_TRUE(promptsWhenInvocationsCancelled.empty());
    EXPECT_TRUE(keychain.received.empty());
    EXPECT_EQ(writer->attempts, 0);
}

TEST_F(PasswordSettingsServiceTest, AddEndsTheInvocationThenPromptsAndStoresBothHalves) {
    test::LogCapture log;
    run(service.add("  Mail  ", " s3cret "));
    const auto entries = run(repository.load()).orderedEntries;
    ASSERT_EQ(entries.size(), 1U);
    EXPECT_EQ(entries[0].label, "Mail");
    EXPECT_TRUE(itemHolds(entries[0].id(), " s3cret "));
    EXPECT_EQ(promptsWhenInvocationsCancelled, std::vector<std::size_t>{0});
    EXPECT_EQ(factory.last().reasons, Labels{"Authorize this password settings change."});
    const auto id = entries[0].id().toString();
    EXPECT_EQ(log.messages(), (Labels{"Starting add authentication for entry " + id,
                                      "Add authentication succeeded for entry " + id,
                                      "Add transaction committed for entry " + id}));
}

TEST_F(PasswordSettingsServiceTest, ACancelledPromptLeavesNothingBehind) {
    test::LogCapture log;
    factory.outcome = test::FakePromptOutcome::fail;
    factory.failureCode = BiometricErrorCode::userCancel;
    EXPECT_EQ(failure(service.add("Mail", "pw")), "Biometric authentication was cancelled.");
    EXPECT_TRUE(keychain.received.empty());
    EXPECT_FALSE(std::filesystem::exists(repository.fileURL()));
    EXPECT_TRUE(logged(log, "Add authentication failed for entry "));
}

TEST_F(PasswordSettingsServiceTest, ACatalogWriteGetsThreeAttemptsBeforeTheKeychainIsRolledBack) {
    writer->failures = 2;
    run(service.add("Mail", "one"));
    EXPECT_EQ(writer->attempts, 3);
    EXPECT_EQ(labelsOnDisk(), Labels{"Mail"});
    ASSERT_EQ(keychain.items.size(), 1U);

    test::LogCapture log;
    writer->failures = 3;
    EXPECT_EQ(failure(service.add("Bank", "two")), writeError);
    EXPECT_EQ(keychain.items.size(), 1U) << "the new item is deleted again";
    EXPECT_TRUE(logged(log, "Metadata commit failed for entry "));

    const auto mail = run(repository.load()).orderedEntries[0].id();
    writer->failures = 3;
    EXPECT_EQ(failure(service.edit(mail, "Work", "new", false)), writeError);
    EXPECT_TRUE(itemHolds(mail, "one"));
    EXPECT_EQ(run(service.snapshot()).entries.at(0).label, "Mail");
}

TEST_F(PasswordSettingsServiceTest, ARollbackThatFailsTooReportsBothErrors) {
    keychain.statusMessages[-25291] = "No keychain is available.";
    keychain.script({});           // the create
    keychain.scriptStatus(-25291); // its undo
    writer->failures = 3;
    EXPECT_EQ(failure(service.add("Mail", "pw")),
              "The password change could not be recorded, and cleanup also failed. Metadata: " +
                  writeError +
                  " The Keychain operation failed (status -25291): No keychain is available.");
}

TEST_F(PasswordSettingsServiceTest, ASecondChangeIsRefusedWhileTheFirstWaitsForTouchID) {
    seed({{entry, "Mail"}});
    storeItem(entry, "old");
    factory.outcome = test::FakePromptOutcome::hold;
    test::TaskProbe<void> first(executor, service.edit(entry, " Work ", "new", false));
    executor.runUntilIdle();
    ASSERT_TRUE(factory.last().isPromptUp());
    EXPECT_EQ(failure(service.edit(entry, "Other", std::nullopt, false)), inProgressText);
    EXPECT_EQ(failure(service.deleteEntry(entry)), inProgressText);

    factory.last().approvePrompt();
    executor.runUntilIdle();
    EXPECT_TRUE(first.succeeded());
    EXPECT_TRUE(itemHolds(entry, "new"));
    EXPECT_EQ(labelsOnDisk(), Labels{"Work"});
}

TEST_F(PasswordSettingsServiceTest, RepairStoresAMissingPasswordAndARenameLeavesTheKeychainAlone) {
    seed({{entry, "Mail"}});
    EXPECT_EQ(run(service.snapshot()).entries.at(0).secretState, State::missing);
    run(service.edit(entry, "Mail", "fresh", true));
    EXPECT_TRUE(itemHolds(entry, "fresh"));
    EXPECT_EQ(run(service.snapshot()).entries.at(0).secretState, State::available);

    keychain.received.clear();
    run(service.edit(entry, "Home", std::nullopt, false));
    EXPECT_TRUE(keychain.received.empty());
    EXPECT_EQ(labelsOnDisk(), Labels{"Home"});
}

TEST_F(PasswordSettingsServiceTest, SnapshotStatesNeverPromptAndMissingStaysMissing) {
    const Uuid unknown = Uuid::random(), available = Uuid::random(), missing = Uuid::random();
    seed({{unknown, "A"}, {available, "B"}, {missing, "C"}});
    storeItem(unknown, "x");
    storeItem(available, "y");
    keychain.scriptStatus(-25291); // the first existence check fails
    EXPECT_EQ(run(service.snapshot()),
              (PasswordSettingsSnapshot{{{unknown, "A", State::unknown},
                                         {available, "B", State::available},
                                         {missing, "C", State::missing}}}));

    // An unknown state is asked again; a missing one stays until a change repairs it.
    storeItem(missing, "z");
    const auto again = run(service.snapshot()).entries;
    EXPECT_EQ(again.at(0).secretState, State::available);
    EXPECT_EQ(again.at(2).secretState, State::missing);
    EXPECT_TRUE(factory.made.empty());
}

TEST_F(PasswordSettingsServiceTest, AFailedWriteAfterADeleteIsWrittenBeforeAnythingElse) {
    const Uuid other = Uuid::random();
    seed({{entry, "Mail"}, {other, "Bank"}});
    storeItem(entry, "pw");
    writer->failures = 3;
    EXPECT_EQ(failure(service.deleteEntry(entry)),
              "The password was removed, but its label could not be updated on disk. Kestrelle "
              "will retry. " +
                  writeError);
    EXPECT_TRUE(keychain.items.empty());
    EXPECT_EQ(labelsOnDisk(), (Labels{"Mail", "Bank"}));

    writer->failures = 3;
    EXPECT_EQ(failure(service.snapshot()), writeError);
    EXPECT_EQ(run(service.snapshot()).entries.size(), 1U);
    EXPECT_EQ(labelsOnDisk(), Labels{"Bank"});

    // A password that is already gone does not keep its entry alive.
    run(service.deleteEntry(other));
    EXPECT_TRUE(labelsOnDisk().empty());
}

TEST_F(PasswordSettingsServiceTest, MoveClampsAtTheEndsAndSkipsTheApprovalWhenNothingMoves) {
    constexpr auto far = std::numeric_limits<std::ptrdiff_t>::max();
    const Uuid b = Uuid::random(), c = Uuid::random();
    seed({{entry, "A"}, {b, "B"}, {c, "C"}});
    run(service.move(entry, 1));
    EXPECT_EQ(labelsOnDisk(), (Labels{"B", "A", "C"}));
    run(service.move(entry, far));
    EXPECT_EQ(labelsOnDisk(), (Labels{"B", "C", "A"}));
    run(service.move(entry, std::numeric_limits<std::ptrdiff_t>::min()));
    EXPECT_EQ(labelsOnDisk(), (Labels{"A", "B", "C"}));
    EXPECT_EQ(factory.made.size(), 3U);

    run(service.move(entry, -1));
    run(service.move(c, far));
    EXPECT_EQ(factory.made.size(), 3U);
    EXPECT_EQ(writer->attempts, 3);
}

} // namespace
} // namespace kestrelle
