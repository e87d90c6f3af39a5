#include "Storage/EntryRepository.h"

#include "Storage/EntryCatalogJson.h"
#include "Storage/FileSystemError.h"
#include "Storage/UnavailableEntryRepository.h"
#include "Support/FaultyFileSystem.h"
#include "Support/ManualExecutor.h"
#include "Support/TaskProbe.h"
#include "Support/TemporaryDirectory.h"

#include <cstdlib>
#include <functional>
#include <gmock/gmock.h>

namespace kestrelle {
namespace {

using test::runTask;
using test::TemporaryDirectory;

const std::string firstId = "0E0B5AA4-1F6C-4C64-9E59-58D0A0F8C8A1";
const std::string secondId = "7D3C1F00-92AB-4E11-8C2D-3B4A5C6D7E8F";
const std::string thirdId = "11111111-2222-4333-8444-555555555555";

EntryMetadata entry(const std::string& id, std::string label) {
    return EntryMetadata(*Uuid::parse(id), std::move(label));
}

EntryCatalog catalog(std::vector<EntryMetadata> entries, std::int64_t version = 1) {
    return EntryCatalog{.schemaVersion = version, .orderedEntries = std::move(entries)};
}

// An operation that fails saying `detail` and that the file was left as it was.
auto failsUnchanged(const std::string& detail) {
    return testing::ThrowsMessage<KestrelleError>(
        testing::AllOf(testing::HasSubstr(detail), testing::HasSubstr("It was not changed.")));
}

struct EntryRepositoryTest : ::testing::Test {
    EntryCatalog load() { return runTask(executor, repository.load()); }
    void save(EntryCatalog catalog) { runTask(executor, repository.save(std::move(catalog))); }
    std::filesystem::path file() const { return repository.fileURL(); }

    TemporaryDirectory directory;
    test::ManualExecutor executor;
    EntryRepository repository{[this] { return directory.path(); }};
};

TEST_F(EntryRepositoryTest, ResolvesItsFileOnceAndWithoutAFileOrFolderTheCatalogIsEmpty) {
    int resolutions = 0;
    EntryRepository counted([&] {
        ++resolutions;
        return directory.path();
    });
    EXPECT_EQ(counted.fileURL(), directory.path() / "Kestrelle" / "entries.json");
    EXPECT_EQ(runTask(executor, counted.load()), EntryCatalog{});
    EXPECT_EQ(runTask(executor, counted.load()), EntryCatalog{});
    EXPECT_EQ(resolutions, 1);
    EXPECT_FALSE(std::filesystem::exists(directory.path() / "Kestrelle"));
    // Resolved when made: without a data folder the app runs on a repository that says why.
    auto unresolvable = []() -> std::filesystem::path { throw KestrelleError("No folder."); };
    EXPECT_THROW(EntryRepository{unresolvable}, KestrelleError);
    UnavailableEntryRepository unavailable("No folder.");
    const auto saysWhy = testing::ThrowsMessage<KestrelleError>(testing::StrEq("No folder."));
    EXPECT_THAT([&] { runTask(executor, unavailable.load()); }, saysWhy);
    EXPECT_THAT([&] { runTask(executor, unavailable.save({})); }, saysWhy);

    // A file where the folder should be: no catalog, and none can be saved.
    const auto folder = file().parent_path();
    TemporaryDirectory::write(folder, "not a folder");
    EXPECT_EQ(load(), EntryCatalog{});
    EXPECT_THAT([&] { save(EntryCatalog{}); },
                failsUnchanged("“" + folder.string() + "” could not be created, because a file"));
    EXPECT_EQ(TemporaryDirectory::read(folder), "not a folder");

    std::filesystem::remove(folder);
    std::filesystem::create_directories(file());
    EXPECT_THAT([&] { load(); },
                failsUnchanged(std::make_error_code(std::errc::is_a_directory).message()));
}

TEST_F(EntryRepositoryTest, SavesPrettyPrintedWithSortedKeysOnlyWhatItCanReadBack) {
    // Invalid catalogs are refused before any disk access: not even the folder appears.
    auto duplicates = catalog({entry(firstId, "A"), entry(firstId, "B")});
    EXPECT_THROW(save(duplicates), KestrelleError);
    EXPECT_FALSE(std::filesystem::exists(file().parent_path()));

    save(catalog({entry("0e0b5aa4-1f6c-4c64-9e59-58d0a0f8c8a1", "Mail")})); // upper case on disk
    const std::string previous = TemporaryDirectory::read(file());
    EXPECT_EQ(previous,
              "{\n  \"orderedEntries\": [\n    {\n      \"id\": \"" + firstId +
                  "\",\n      \"label\": \"Mail\"\n    }\n  ],\n  \"schemaVersion\": 1\n}\n");
    // Failed saves leave the previous file byte for byte.
    EXPECT_THROW(save(duplicates), KestrelleError);
    EXPECT_THAT([&] { save(catalog({entry(firstId, "\xFF")})); },
                failsUnchanged("a label is not valid UTF-8 text"));
    EXPECT_EQ(TemporaryDirectory::read(file()), previous);
    EXPECT_EQ(TemporaryDirectory::names(file().parent_path()),
              std::set<std::string>{"entries.json"});

    // Repeated labels are fine; zero-width and combining characters are content, not space.
    for (const auto& saved : {catalog({entry(firstId, "  Work  "), entry(secondId, "  Work  "),
                                       entry(thirdId, "\xE2\x80\x8B \xCC\x81")}),
                              catalog({entry(firstId, "Bank \"€\" – ✓\n2")}), EntryCatalog{}}) {
        save(saved);
        EXPECT_EQ(load(), saved);
    }

    // Unknown keys are ignored, and brackets inside strings, after an escaped quote, do not
    // count as nesting.
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

    // Files up to the size limit load.
    const std::string empty = R"({"orderedEntries": [], "schemaVersion": 1})";
    TemporaryDirectory::write(file(),
                              empty + std::string(maximumEntryFileSize - empty.size(), ' '));
    EXPECT_EQ(load(), EntryCatalog{});
}

TEST_F(EntryRepositoryTest, BadFilesFailSayingWhyAndAreLeftUnchanged) {
    auto item = [](const std::string& id, const std::string& label) {
        return R"({"id": ")" + id + R"(", "label": )" + label + "}";
    };
    auto document = [](const std::string& entries, const std::string& version = "1") {
        return R"({"orderedEntries": [)" + entries + R"(], "schemaVersion": )" + version + "}";
    };
    const std::string entryA = item(firstId, R"("A")"), empty = document("");
    const std::pair<std::string, std::string> cases[] = {
        {"", "not valid JSON text (error at byte 1)"},
        {document(item(firstId, "\"\xFF\"")), "not valid JSON"},
        {document("", "1e999"), "not valid JSON"},
        {"[" + entryA + "]", "its top level is not an object"},
        {R"({"orderedEntries": []})", "“schemaVersion” is missing"},
        {document("", "1.0"), "“schemaVersion” is not an integer"},
        {document("", "18446744073709551615"), "“schemaVersion” is not an integer"},
        {R"({"orderedEntries": {}, "schemaVersion": 1})", "“orderedEntries” is not an array"},
        {document(entryA + R"(, "A")"), "entry 2 is not an object"},
        {document(R"({"label": "A"})"), "“id” of entry 1 is missing"},
        {document(item("not-a-uuid", R"("A")")), "“id” of entry 1 is not a UUID"},
        {document(item(firstId, "null")), "“label” of entry 1 is not a string"},
        {R"({"deep": )" + std::string(100'000, '[') + std::string(100'000, ']') +
             R"(, "orderedEntries": [], "schemaVersion": 1})",
         "nested more than 32 levels deep"},
        {empty + std::string(maximumEntryFileSize + 1 - empty.size(), ' '), "larger than 4 MB"},
        // The catalog's rules, in order: only the first broken one is reported.
        {document(entryA + ", " + entryA + ", " + item(secondId, R"("")"), "2"),
         "unsupported schema version 2"},
        {document("", "-1"), "unsupported schema version -1"},
        {document(entryA + ", " + item(secondId, R"(" \t\r\n")") + ", " + entryA), "unique"},
        {document(item(secondId, "\"\xC2\xA0\xE2\x80\xA8\xE3\x80\x80\xE2\x80\x8A\"")),
         "have a label"},
    };
    for (const auto& [bytes, expected] : cases) {
        SCOPED_TRACE(expected);
        TemporaryDirectory::write(file(), bytes);
        EXPECT_THAT([&] { load(); }, failsUnchanged(expected));
        EXPECT_TRUE(TemporaryDirectory::read(file()) == bytes);
    }
}

using Step = test::FaultyFileSystem::Step;

TEST(AtomicFileWriterTest, FlushesBeforeTheRenameSyncsTheFolderAfterItAndLeavesNoTrace) {
    TemporaryDirectory directory;
    const auto file = directory.path() / "entries.json";
    const std::set<std::string> onlyTheFile{"entries.json"};
    auto owned = std::make_unique<test::FaultyFileSystem>();
    auto& faults = *owned;
    AtomicFileWriter writer{std::move(owned)};

    writer.write(file, "a longer first version");
    // A folder that cannot be synced does not undo a rename every reader already sees.
    faults.failingStep = Step::syncDirectory;
    faults.steps.clear();
    writer.write(file, "second");
    EXPECT_EQ(TemporaryDirectory::read(file), "second");
    EXPECT_EQ(TemporaryDirectory::names(directory.path()), onlyTheFile);
    EXPECT_EQ(faults.steps, (std::vector{Step::createTemporaryFile, Step::writeAll, Step::sync,
                                         Step::close, Step::rename, Step::syncDirectory}));

    // A failure at any step before the rename keeps the old file and nothing else.
    for (Step step :
         {Step::createTemporaryFile, Step::writeAll, Step::sync, Step::close, Step::rename}) {
        SCOPED_TRACE(static_cast<int>(step));
        faults.failingStep = step;
        TemporaryDirectory::write(file, "old\n");
        EXPECT_THAT([&] { writer.write(file, "new content that never lands"); },
                    testing::ThrowsMessage<FileSystemError>(testing::EndsWith("not changed.")));
        EXPECT_EQ(TemporaryDirectory::read(file), "old\n");
        EXPECT_EQ(TemporaryDirectory::names(directory.path()), onlyTheFile);
    }
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
    const auto expected = directory.path() / "a" / "b";
    ::setenv("XDG_DATA_HOME", expected.c_str(), 1);
    const auto resolved = userDataDirectory();
    ::unsetenv("XDG_DATA_HOME"); // nothing else here reads it
    EXPECT_TRUE(resolved == expected && std::filesystem::is_directory(expected));
#endif
}

} // namespace
} // namespace kestrelle
