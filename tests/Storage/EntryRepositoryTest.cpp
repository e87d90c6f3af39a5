#include "Storage/EntryRepository.h"

#include "Storage/EntryCatalogJson.h"
#include "Storage/FileSystemError.h"
#include "Storage/MetadataFormatError.h"
#include "Storage/RepositoryError.h"
#include "Storage/UnavailableEntryRepository.h"
#include "Support/FaultyFileSystem.h"
#include "Support/ManualExecutor.h"
#include "Support/TaskProbe.h"
#include "Support/TemporaryDirectory.h"

#include <cstdlib>
#include <functional>
#include <gtest/gtest.h>

namespace kestrelle {
namespace {

using test::ManualExecutor;
using test::runTask;
using test::TemporaryDirectory;

const std::string firstId = "0E0B5AA4-1F6C-4C64-9E59-58D0A0F8C8A1";
const std::string secondId = "7D3C1F00-92AB-4E11-8C2D-3B4A5C6D7E8F";
const std::string corrupt = "The password metadata file is corrupt. It was not changed. ";

EntryMetadata entry(const std::string& id, std::string label) {
    return EntryMetadata(*Uuid::parse(id), std::move(label));
}

EntryCatalog catalog(std::vector<EntryMetadata> entries, std::int64_t version = 1) {
    return EntryCatalog{.schemaVersion = version, .orderedEntries = std::move(entries)};
}

std::string systemReason(std::errc error) {
    return std::make_error_code(error).message();
}

// The description of the error that `operation` ends with; a test failure when it ends otherwise.
std::string failure(const std::function<void()>& operation) {
    try {
        operation();
        ADD_FAILURE() << "no error";
    } catch (const KestrelleError& error) {
        return error.description();
    }
    return {};
}

template <class T>
std::string failure(ManualExecutor& executor, Task<T> task) {
    return failure([&] { runTask(executor, std::move(task)); });
}

struct EntryRepositoryTest : ::testing::Test {
    EntryCatalog load() { return runTask(executor, repository.load()); }
    void save(EntryCatalog catalog) { runTask(executor, repository.save(std::move(catalog))); }
    std::filesystem::path file() const { return repository.fileURL(); }

    TemporaryDirectory directory;
    ManualExecutor executor;
    EntryRepository repository{[this] { return directory.path(); }};
};

TEST_F(EntryRepositoryTest, ResolvesItsFileOnceAndAMissingFileIsTheEmptyCatalog) {
    int resolutions = 0;
    EntryRepository counted([&] {
        ++resolutions;
        return directory.path();
    });
    EXPECT_EQ(counted.fileURL(), directory.path() / "Kestrelle" / "entries.json");
    EXPECT_EQ(runTask(executor, counted.load()), EntryCatalog{});
    EXPECT_EQ(runTask(executor, counted.load()).schemaVersion, 1);
    EXPECT_EQ(resolutions, 1);
    EXPECT_FALSE(std::filesystem::exists(directory.path() / "Kestrelle"));

    auto unresolvable = []() -> std::filesystem::path {
        throw FileSystemError::noFile("The user data folder could not be found",
                                      std::make_error_code(std::errc::no_such_file_or_directory));
    };
    EXPECT_THROW(EntryRepository{unresolvable}, FileSystemError);
}

TEST_F(EntryRepositoryTest, AFileWhereTheFolderShouldBeIsAMissingCatalogThatCannotBeSaved) {
    const auto folder = file().parent_path();
    TemporaryDirectory::write(folder, "not a folder");
    EXPECT_EQ(load(), EntryCatalog{});
    EXPECT_EQ(failure(executor, repository.save(EntryCatalog{})),
              "The folder “" + folder.string() + "” could not be created, because a file has its " +
                  "name: " + systemReason(std::errc::not_a_directory) + ". It was not changed.");
    EXPECT_EQ(TemporaryDirectory::read(folder), "not a folder");

    std::filesystem::remove(folder);
    std::filesystem::create_directories(file());
    EXPECT_EQ(failure(executor, repository.load()),
              "The file “" + file().string() + "” could not be read: " +
                  systemReason(std::errc::is_a_directory) + ". It was not changed.");
}

TEST_F(EntryRepositoryTest, SavesPrettyPrintedWithSortedKeysAndLoadsBackExactly) {
    save(catalog({entry("0e0b5aa4-1f6c-4c64-9e59-58d0a0f8c8a1", "Mail")})); // upper case on disk
    EXPECT_EQ(TemporaryDirectory::read(file()),
              "{\n  \"orderedEntries\": [\n    {\n      \"id\": \"" + firstId +
                  "\",\n      \"label\": \"Mail\"\n    }\n  ],\n  \"schemaVersion\": 1\n}\n");
    for (const auto& saved :
         {catalog({entry(firstId, "  Work  "), entry(secondId, "Work"),
                   entry("11111111-2222-4333-8444-555555555555", "Bank \"€\" – ✓\n2")}),
          catalog({entry(secondId, "Work")}), EntryCatalog{}}) {
        save(saved);
        EXPECT_EQ(load(), saved);
    }
}

TEST_F(EntryRepositoryTest, ReadsAnyLayoutAndIgnoresUnknownKeys) {
    // Brackets inside strings, after an escaped quote, do not count as nesting.
    const std::string brackets(40, '[');
    TemporaryDirectory::write(file(),
                              "\xEF\xBB\xBF\r\n\t"
                              R"({"extra":{"a":[1,2]},"schemaVersion" :1,)"
                              R"("orderedEntries":[ {"label":"B\")" +
                                  brackets +
                                  R"(","id":"7d3c1f00-92ab-4e11-8c2d-3b4a5c6d7e8f","x":null},)"
                                  R"({"id":")" +
                                  firstId + R"(","label":"A"}]}  )");
    EXPECT_EQ(load(), catalog({entry(secondId, "B\"" + brackets), entry(firstId, "A")}));
}

TEST(EntryCatalogValidationTest, RulesApplyInOrderAndOnlyTheFirstFailureIsReported) {
    const std::string unique = corrupt + "Entry identifiers must be unique.";
    const std::string labelled = corrupt + "Every entry must have a label.";
    const std::pair<EntryCatalog, std::string> cases[] = {
        {catalog({entry(firstId, "A"), entry(firstId, "")}, 2),
         "Password metadata uses unsupported schema version 2. It was not changed."},
        {catalog({}, -1),
         "Password metadata uses unsupported schema version -1. It was not changed."},
        {catalog({entry(firstId, "A"), entry(secondId, "B"), entry(firstId, " ")}), unique},
        {catalog({entry(firstId, "A"), entry(secondId, " \t\r\n")}), labelled},
        {catalog({entry(firstId, "\xC2\xA0\xE2\x80\xA8\xE3\x80\x80\xE2\x80\x8A")}), labelled},
    };
    for (const auto& [invalid, expected] : cases) {
        SCOPED_TRACE(expected);
        EXPECT_EQ(failure([&] { EntryRepository::validate(invalid); }), expected);
    }
    EXPECT_NO_THROW(EntryRepository::validate(EntryCatalog{}));
    // Repeated labels are fine; zero-width and combining characters are content, not space.
    EXPECT_NO_THROW(EntryRepository::validate(
        catalog({entry(firstId, " x "), entry(secondId, " x "),
                 entry("11111111-2222-4333-8444-555555555555", "\xE2\x80\x8B \xCC\x81")})));
}

TEST_F(EntryRepositoryTest, BadFilesFailWithAClearMessageAndAreLeftUnchanged) {
    const std::string entryJson = R"({"id": ")" + firstId + R"(", "label": "A"})";
    auto document = [](const std::string& entries, const std::string& version = "1") {
        return R"({"orderedEntries": [)" + entries + R"(], "schemaVersion": )" + version + "}";
    };
    auto format = [](const std::string& detail) {
        return "The password metadata file is not in the expected format: " + detail +
               ". It was not changed.";
    };
    const std::pair<std::string, std::string> cases[] = {
        {"", format("it is not valid JSON text (error at byte 1)")},
        {document(R"({"id": ")" + firstId + "\", \"label\": \"\xFF\"}"),
         format("it is not valid JSON text (error at byte 78)")},
        {document("", "1e999"), format("it is not valid JSON text")},
        {"[" + entryJson + "]", format("its top level is not an object")},
        {R"({"orderedEntries": []})", format("“schemaVersion” is missing")},
        {document("", "1.0"), format("“schemaVersion” is not an integer")},
        {document("", "18446744073709551615"), format("“schemaVersion” is not an integer")},
        {R"({"orderedEntries": {}, "schemaVersion": 1})",
         format("“orderedEntries” is not an array")},
        {document(entryJson + ", \"A\""), format("entry 2 is not an object")},
        {document(R"({"label": "A"})"), format("“id” of entry 1 is missing")},
        {document(R"({"id": "not-a-uuid", "label": "A"})"),
         format("“id” of entry 1 is not a UUID")},
        {document(R"({"id": ")" + firstId + R"(", "label": null})"),
         format("“label” of entry 1 is not a string")},
        {R"({"deep": )" + std::string(100'000, '[') + std::string(100'000, ']') +
             R"(, "orderedEntries": [], "schemaVersion": 1})",
         format("its values are nested more than 32 levels deep")},
        {document(entryJson, "2"),
         "Password metadata uses unsupported schema version 2. It was not changed."},
    };
    for (const auto& [bytes, expected] : cases) {
        SCOPED_TRACE(expected);
        TemporaryDirectory::write(file(), bytes);
        EXPECT_EQ(failure(executor, repository.load()), expected);
        EXPECT_TRUE(TemporaryDirectory::read(file()) == bytes);
    }
}

TEST_F(EntryRepositoryTest, FilesUpToTheSizeLimitLoadAndLargerOnesAreRefused) {
    const std::string small = R"({"orderedEntries": [], "schemaVersion": 1})";
    const std::string largest = small + std::string(maximumEntryFileSize - small.size(), ' ');
    TemporaryDirectory::write(file(), largest);
    EXPECT_EQ(load(), EntryCatalog{});

    TemporaryDirectory::write(file(), largest + ' ');
    EXPECT_EQ(failure(executor, repository.load()),
              "The password metadata file is not in the expected format: it is larger than 4 MB. "
              "It was not changed.");
}

TEST_F(EntryRepositoryTest, FailedSavesLeaveThePreviousFileByteForByte) {
    // Invalid catalogs are refused before any disk access: not even the folder appears.
    auto duplicates = catalog({entry(firstId, "A"), entry(firstId, "B")});
    failure(executor, repository.save(duplicates));
    EXPECT_FALSE(std::filesystem::exists(file().parent_path()));

    auto fileSystem = std::make_unique<test::FaultyFileSystem>();
    fileSystem->failingStep = test::FaultyFileSystem::Step::rename;
    EntryRepository faulty([this] { return directory.path(); },
                           std::make_unique<AtomicFileWriter>(std::move(fileSystem)));
    save(catalog({entry(firstId, "A")}));
    const std::string previous = TemporaryDirectory::read(file());

    failure(executor, repository.save(duplicates));
    EXPECT_EQ(failure(executor, repository.save(catalog({entry(firstId, "\xFF")}))),
              "The password metadata could not be encoded: a label is not valid UTF-8 text. It "
              "was not changed.");
    failure(executor, faulty.save(catalog({entry(secondId, "B")})));
    EXPECT_EQ(TemporaryDirectory::read(file()), previous);
    EXPECT_EQ(TemporaryDirectory::names(file().parent_path()),
              std::set<std::string>{"entries.json"});
}

TEST(UnavailableEntryRepositoryTest, EveryCallFailsWithItsDetail) {
    ManualExecutor executor;
    UnavailableEntryRepository repository("Unavailable.");
    EXPECT_EQ(failure(executor, repository.load()), "Unavailable.");
    EXPECT_EQ(failure(executor, repository.save(EntryCatalog{})), "Unavailable.");
}

TEST(UserDataDirectoryTest, FollowsTheXdgRuleAndCreatesTheDirectory) {
    const std::filesystem::path share = "/home/u/.local/share";
    EXPECT_EQ(xdgDataDirectory("/data", "/home/u"), std::filesystem::path("/data"));
    EXPECT_EQ(xdgDataDirectory("relative", "/home/u"), share);
    EXPECT_EQ(xdgDataDirectory("", "/home/u"), share);
    EXPECT_EQ(xdgDataDirectory(nullptr, "/home/u"), share);
    EXPECT_EQ(xdgDataDirectory(nullptr, nullptr), std::nullopt);
    EXPECT_EQ(xdgDataDirectory(nullptr, "home"), std::nullopt);
#if !defined(__APPLE__)
    TemporaryDirectory directory;
    auto expected = directory.path() / "a" / "b";
    ::setenv("XDG_DATA_HOME", expected.c_str(), 1);
    auto resolved = userDataDirectory();
    ::unsetenv("XDG_DATA_HOME"); // nothing else here reads it
    EXPECT_EQ(resolved, expected);
    EXPECT_TRUE(std::filesystem::is_directory(expected));
#endif
}

} // namespace
} // namespace kestrelle
