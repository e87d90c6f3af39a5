#include "Settings/PasswordSettingsService.h"

#include "Security/SettingsTransactionError.h"
#include "Settings/ControlCharacterRanges.h"
#include "Settings/PasswordSettingsError.h"
#include "Settings/PasswordValidationError.h"
#include "Support/PasswordStack.h"
#include "Support/TaskProbe.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <limits>
#include <ranges>

namespace kestrelle {
namespace {

using test::sameBytes;
using State = EntrySecretState;
using Labels = std::vector<std::string>;

const std::string blankLabel = PasswordValidationError::blankLabel().description();
const std::string emptyPassword = PasswordValidationError::emptyPassword().description();
const std::string controlCharacter = PasswordValidationError::controlCharacter().description();
const std::string entryNotFound = PasswordSettingsError::entryNotFound().description();

template <class Call>
std::string errorOf(Call&& call) {
    try {
        call();
    } catch (const std::exception& error) {
        return error.what();
    }
    return "no error";
}

bool isRefused(std::string_view password) {
    return errorOf([&] { PasswordSettingsService::validatedPasswordData(password); }) ==
           controlCharacter;
}

std::string utf8(char32_t scalar) {
    const int extra = scalar < 0x80 ? 0 : scalar < 0x800 ? 1 : scalar < 0x10000 ? 2 : 3;
    constexpr char32_t lead[] = {0, 0xC0, 0xE0, 0xF0};
    std::string bytes(1, static_cast<char>(lead[extra] | scalar >> 6 * extra));
    for (int shift = 6 * (extra - 1); shift >= 0; shift -= 6) {
        bytes += static_cast<char>(0x80 | (scalar >> shift & 0x3F));
    }
    return bytes;
}

TEST(PasswordValidationTest, LabelsAreTrimmedAndPasswordsKeptAsTypedOrRefused) {
    EXPECT_EQ(PasswordSettingsService::validatedLabel(" \t Work mail\r\n"), "Work mail");
    EXPECT_EQ(PasswordSettingsService::validatedLabel("\u3000\u00A0B a n k\u2029\u0085"),
              "B a n k");
    for (std::string_view label : {"", " \n\u2003\u202F", "Work\xFF"}) {
        EXPECT_EQ(errorOf([&] { PasswordSettingsService::validatedLabel(label); }), blankLabel)
            << label;
    }
    EXPECT_EQ(errorOf([] { PasswordSettingsService::validatedPasswordData(""); }), emptyPassword);
    EXPECT_TRUE(sameBytes(PasswordSettingsService::validatedPasswordData(" pä 😀 "), " pä 😀 "));

    // A format character, for machines without the Unicode data the next test reads, and bytes
    // that are not UTF-8, which it cannot make: a stray byte, an overlong form, a surrogate and a
    // cut sequence. Named by index, as passwords stay out of the failure output.
    const std::string_view refused[] = {"\uFEFFab", "a\xFF", "a\xC0\xAF", "a\xED\xA0\x80",
                                        "a\xF0\x9F\x98"};
    for (std::size_t index = 0; index < std::size(refused); ++index) {
        EXPECT_TRUE(isRefused(refused[index])) << index;
    }
}

// Every scalar against the Unicode Character Database, when the machine has it (Debian's
// unicode-data package): refused exactly when it is in Cc or Cf, or a line break.
TEST(PasswordValidationTest, ControlAndFormatCharactersFollowTheUnicodeData) {
    const std::filesystem::path database = "/usr/share/unicode";
    std::ifstream data(database / "UnicodeData.txt"), age(database / "DerivedAge.txt");
    std::string version;
    if (!data || !std::getline(age, version) ||
        version != "# DerivedAge-" + std::string(controlCharacterUnicodeVersion) + ".txt") {
        GTEST_SKIP() << "no Unicode " << controlCharacterUnicodeVersion << " data in " << database;
    }
    // Fields: code point; name; general category. The line breaks are in Cc but for the one in
    // Zl and the one in Zp. No scalar of these categories is listed as a range.
    std::vector<bool> expected(0x110000);
    for (std::string line; std::getline(data, line);) {
        const auto category = line.substr(line.find(';', line.find(';') + 1) + 1, 2);
        if (category == "Cc" || category == "Cf" || category == "Zl" || category == "Zp") {
            expected[std::stoul(line, nullptr, 16)] = true;
        }
    }
    // Those expected to pass go in one password, and only when it is refused one by one.
    const auto isSurrogate = [](char32_t scalar) { return scalar >= 0xD800 && scalar <= 0xDFFF; };
    std::string accepted;
    for (char32_t scalar = 0; scalar < expected.size(); ++scalar) {
        if (expected[scalar]) {
            EXPECT_TRUE(isRefused("a" + utf8(scalar)))
                << "U+" << std::hex << static_cast<std::uint32_t>(scalar);
        } else if (!isSurrogate(scalar)) {
            accepted += utf8(scalar);
        }
    }
    for (char32_t scalar = 0; isRefused(accepted) && scalar < expected.size(); ++scalar) {
        if (!expected[scalar] && !isSurrogate(scalar) && isRefused(utf8(scalar))) {
            ADD_FAILURE() << "U+" << std::hex << static_cast<std::uint32_t>(scalar)
                          << " is refused";
            break;
        }
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
    Labels labelsOnDisk() {
        const auto entries = run(repository.load()).orderedEntries;
        const auto labels = entries | std::views::transform(&EntryMetadata::label);
        return {labels.begin(), labels.end()};
    }
    State stateOfFirst() { return run(service.snapshot()).entries.at(0).secretState; }

    std::vector<std::size_t> promptsWhenInvocationsCancelled;
    PasswordSettingsService service{
        repository, securePasswords,
        [this] { promptsWhenInvocationsCancelled.push_back(factory.made.size()); }};
    const Uuid entry = Uuid::random();
};

TEST_F(PasswordSettingsServiceTest, BadInputNeverPromptsAndAnAddEndsTheInvocationFirst) {
    seed({{entry, "Mail"}});
    EXPECT_EQ(failure(service.add(" \n", "pw")), blankLabel);
    EXPECT_EQ(failure(service.add("Bank", "line\n")), controlCharacter);
    EXPECT_EQ(failure(service.edit(entry, "Mail", "tab\t", false)), controlCharacter);
    EXPECT_EQ(failure(service.edit(entry, "Mail", std::nullopt, true)), emptyPassword);
    EXPECT_EQ(failure(service.edit(Uuid::random(), "Mail", std::nullopt, false)), entryNotFound);
    EXPECT_EQ(failure(service.move(Uuid::random(), 1)), entryNotFound);
    EXPECT_EQ(failure(service.deleteEntry(Uuid::random())), entryNotFound);
    EXPECT_TRUE(factory.made.empty());
    EXPECT_TRUE(promptsWhenInvocationsCancelled.empty());
    EXPECT_TRUE(keychain.received.empty());
    EXPECT_EQ(writer->attempts, 0);

    run(service.add("  Bank  ", " s3cret "));
    const auto bank = run(repository.load()).orderedEntries.at(1);
    EXPECT_EQ(bank.label, "Bank");
    EXPECT_TRUE(itemHolds(bank.id(), " s3cret "));
    EXPECT_EQ(promptsWhenInvocationsCancelled, std::vector<std::size_t>{0});
    EXPECT_EQ(factory.made.size(), 1U);
    // The catalog write gets three attempts; after the third failure the Keychain step is undone.
    writer->failures = 2;
    run(service.add("Home", "two"));
    EXPECT_EQ(writer->attempts, 4);
    writer->failures = 3;
    EXPECT_EQ(failure(service.add("Work", "three")), writeError);
    EXPECT_EQ(keychain.items.size(), 2U) << "the new item is deleted again";
    EXPECT_EQ(labelsOnDisk(), (Labels{"Mail", "Bank", "Home"}));
    EXPECT_EQ(run(service.snapshot()).entries.size(), 3U);
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

TEST_F(PasswordSettingsServiceTest, ACheckDuringARepairIsNotKeptWhenTheRepairLeavesThePassword) {
    seed({{entry, "Mail"}});
    factory.outcome = test::FakePromptOutcome::hold;
    test::TaskProbe<void> repair(executor, service.edit(entry, "Mail", "fresh", true));
    executor.runUntilIdle();
    EXPECT_EQ(stateOfFirst(), State::missing);

    // The password is stored, the catalog cannot be written, and the undo fails too.
    keychain.script({});
    storeItem(entry, "fresh");
    keychain.scriptStatus(-25291);
    writer->failures = 3;
    factory.last().approvePrompt();
    executor.runUntilIdle();
    ASSERT_TRUE(repair.threw<SettingsTransactionError>());
    EXPECT_EQ(stateOfFirst(), State::available);
}

TEST_F(PasswordSettingsServiceTest, AFailedWriteAfterADeleteIsWrittenBeforeAnythingElse) {
    const Uuid other = Uuid::random();
    seed({{entry, "Mail"}, {other, "Bank"}});
    storeItem(entry, "pw");
    writer->failures = 3;
    EXPECT_EQ(failure(service.deleteEntry(entry)),
              PasswordSettingsError::metadataReconciliationPending(writeError).description());
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
