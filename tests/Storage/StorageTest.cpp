#include "Storage/EntryCatalogJson.h"
#include "Storage/EntryRepository.h"
#include "Storage/FileSystemError.h"
#include "Storage/SecretStore.h"
#include "Storage/TransientSecret.h"
#include "Storage/UnavailableEntryRepository.h"
#include "Support/FakeKeychainBackend.h"
#include "Support/FaultyFileSystem.h"
#include "Support/InlineQueue.h"
#include "Support/LogCapture.h"
#include "Support/ManualExecutor.h"
#include "Support/TaskProbe.h"
#include "Support/TemporaryDirectory.h"

#include <cstdlib>
#include <gmock/gmock.h>
#include <stdexcept>

namespace kestrelle {
namespace {

using test::runTask;
using test::secretBytes;
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
    int resolutions = 0;
    EntryRepository repository{[this] {
        ++resolutions;
        return directory.path();
    }};
};

TEST_F(EntryRepositoryTest, ResolvesItsFileOnceAndWithoutAFileOrFolderTheCatalogIsEmpty) {
    EXPECT_EQ(file(), directory.path() / "Kestrelle" / "entries.json");
    EXPECT_EQ(load(), EntryCatalog{});
    EXPECT_EQ(load(), EntryCatalog{});
    EXPECT_EQ(resolutions, 1);
    EXPECT_FALSE(std::filesystem::exists(file().parent_path()));
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

using Call = test::FakeKeychainBackend::Call;
using Context = std::shared_ptr<AuthenticationContext>;
using Failure = std::optional<SecretStoreError>;

const std::string entryText = "1E3F5A77-8B9C-4D2E-A1B2-C3D4E5F60718";
const Uuid entryID = *Uuid::parse("1e3f5a77-8b9c-4d2e-a1b2-c3d4e5f60718");

class SecretStoreTest : public testing::Test {
protected:
    // Runs one store call to its end and returns its error, if any.
    template <class T>
    Failure failureOf(Task<T> task) {
        try {
            test::runTask(executor, std::move(task));
        } catch (const SecretStoreError& error) {
            return error;
        }
        return std::nullopt;
    }
    // That the last call was `call` with the query every call starts from, carrying `with`,
    // plus what `own` adds, sent with prompts forbidden.
    void expectLastCall(
        Call call, Context with,
        const std::function<void(KeychainQuery&)>& own = [](KeychainQuery&) {}) {
        KeychainQuery expected;
        expected.service = "app.example.Test.passwords";
        expected.account = entryText;
        expected.authenticationContext = std::move(with);
        own(expected);
        ASSERT_FALSE(backend.received.empty());
        EXPECT_EQ(backend.received.back().call, call);
        EXPECT_TRUE(backend.received.back().query == expected);
        EXPECT_EQ(backend.received.back().interactionNotAllowed,
                  backend.received.back().query.authenticationContext != nullptr);
    }
    static std::function<void(KeychainQuery&)> oneItem(KeychainReturnKind kind) {
        return [kind](KeychainQuery& query) {
            query.matchLimit = KeychainMatchLimit::one;
            query.returnKind = kind;
        };
    }
    // Log lines that name the entry and `status`.
    long logged(std::int32_t status) const {
        return std::ranges::count_if(logs.messages(), [&](const std::string& line) {
            return line.find(entryText) != line.npos &&
                   line.find("status " + std::to_string(status)) != line.npos;
        });
    }

    test::ManualExecutor executor;
    test::InlineQueue queue;
    test::FakeKeychainBackend backend;
    test::LogCapture logs;
    SecretStore store{backend, queue, "app.example.Test"};
    Context context = std::make_shared<test::FakeAuthenticationContext>();
    // Create, save, read and delete with `context`.
    const std::function<Failure()> calls[4] = {
        [this] { return failureOf(store.createSecret(secretBytes("x"), entryID, context)); },
        [this] { return failureOf(store.saveSecret(secretBytes("x"), entryID, context)); },
        [this] { return failureOf(store.readSecret(entryID, context)); },
        [this] { return failureOf(store.deleteSecret(entryID, context)); }};
};

// Each call sends the base query plus its own keys, from the queue. Where the store binds
// biometrics, the caller's context goes with it, prompts forbidden, and a new item gets its
// access control; where it does not (Linux), the app's approval has gated the call: no context
// is needed, none is sent even when one is given, and no access control.
TEST_F(SecretStoreTest, EachCallSendsItsQueryFromTheQueue) {
    for (const bool binds : {true, false}) {
        SCOPED_TRACE(binds);
        SecretStore subject{backend, queue, "app.example.Test", binds};
        const Context sent = binds ? context : nullptr;
        test::runTask(executor, subject.createSecret(secretBytes("new"), entryID, sent));
        expectLastCall(Call::add, sent, [binds](KeychainQuery& query) {
            if (binds) {
                query.accessControl = {KeychainAccessibility::whenUnlockedThisDeviceOnly,
                                       KeychainAccessControlFlags::biometryCurrentSet};
            }
            query.value = secretBytes("new");
        });
        test::runTask(executor, subject.saveSecret(secretBytes("newer"), entryID, context));
        expectLastCall(Call::update, sent);
        EXPECT_TRUE(test::sameBytes(test::runTask(executor, subject.readSecret(entryID, context)),
                                    "newer"));
        expectLastCall(Call::copyMatching, sent, oneItem(KeychainReturnKind::data));
        EXPECT_TRUE(test::runTask(executor, subject.containsSecret(entryID)));
        expectLastCall(Call::copyMatching, binds ? backend.madeContexts.back() : nullptr,
                       oneItem(KeychainReturnKind::attributes));
        test::runTask(executor, subject.deleteSecret(entryID, context));
        expectLastCall(Call::remove, sent);
    }
    EXPECT_EQ(queue.dispatchCount, 12);
}

TEST_F(SecretStoreTest, FailuresKeepTheStatusAndThePlatformsTextAndAreLoggedOnce) {
    const auto& [create, save, read, remove] = calls;
    EXPECT_EQ(save(), std::nullopt);
    EXPECT_EQ(backend.received.size(), 1U) << "a new item is created, not updated";
    EXPECT_EQ(create(), SecretStoreError::duplicateItem());
    backend.statusMessages[-25291] = "Not allowed.";
    for (const auto& call : calls) {
        if (&call == &save) {
            backend.scriptStatus(KeychainStatus::Kind::duplicateItem); // so that it updates
        }
        backend.scriptStatus(-25291);
        EXPECT_EQ(call(),
                  SecretStoreError::keychain(KeychainStatus::fromOSStatus(-25291), "Not allowed."));
    }
    EXPECT_EQ(logged(-25291), 4) << "once per failure";
    // Without the platform's text, the status still says what failed.
    backend.statusMessages[-50] = "";
    backend.scriptStatus(-50);
    EXPECT_NE(read().value_or(SecretStoreError::itemNotFound()).message().find("-50"),
              std::string::npos);
    KeychainReply refusal;
    refusal.accessControlFailure = AccessControlFailure{"Bad flags."};
    backend.script(refusal);
    EXPECT_EQ(create(), SecretStoreError::accessControlCreationFailed("Bad flags."));
    backend.scriptStatus(KeychainStatus::Kind::success); // success without a byte buffer
    EXPECT_EQ(read().value_or(SecretStoreError::itemNotFound()).status(),
              KeychainStatus::fromOSStatus(-67671));
    backend.items.clear();
    EXPECT_EQ(remove(), SecretStoreError::itemNotFound());
}

// Without an approved context of the backend's own kind, nothing may reach the Keychain: left
// out of the query, it would let the Keychain prompt on its own.
TEST_F(SecretStoreTest, AMissingOrForeignContextIsRefused) {
    struct ForeignContext final : AuthenticationContext {
        void setInteractionNotAllowed(bool) override {}
        void invalidate() override {}
    };
    for (const Context& refused : {Context(), Context(std::make_shared<ForeignContext>())}) {
        SCOPED_TRACE(refused ? "foreign" : "none");
        context = refused;
        for (const auto& call : calls) {
            EXPECT_EQ(call(), SecretStoreError::authenticationContextUnavailable());
        }
    }
    EXPECT_TRUE(backend.items.empty());
}

TEST_F(SecretStoreTest, ContainsAsksWithAFreshContextThatCannotPromptAndInvalidatesIt) {
    using enum KeychainStatus::SecretServiceDomain;
    struct Row {
        KeychainStatus status;
        std::optional<bool> exists; // none: the check fails
    };
    // macOS, then Linux: a locked item, no item, and a D-Bus failure that shares the locked code.
    const Row rows[] = {{KeychainStatus::fromOSStatus(0), true},
                        {KeychainStatus::fromOSStatus(-25308), true},
                        {KeychainStatus::fromOSStatus(-25300), false},
                        {KeychainStatus::fromOSStatus(-34018), std::nullopt},
                        {KeychainStatus::fromSecretService(secretError, 2), true},
                        {KeychainStatus::fromSecretService(secretError, 3), false},
                        {KeychainStatus::fromSecretService(other, 2), std::nullopt}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.status.code);
        backend.script(test::FakeKeychainBackend::status(row.status));
        test::TaskProbe<bool> probe(executor, store.containsSecret(entryID));
        executor.runUntilIdle();
        EXPECT_EQ(probe.succeeded() ? std::optional(probe.value()) : std::nullopt, row.exists);
        EXPECT_EQ(probe.threw<SecretStoreError>(), !row.exists);
        if (!row.exists) {
            try {
                std::rethrow_exception(probe.error());
            } catch (const SecretStoreError& error) {
                // Each store's failures are told in its own name.
                const bool keyring = row.status.store == KeychainStatus::Store::keyring;
                EXPECT_TRUE(
                    error.description().find(keyring ? "keyring" : "Keychain") !=
                        std::string::npos &&
                    (!keyring || error.description().find("Keychain") == std::string::npos));
            }
        }
        EXPECT_EQ(logged(row.status.code), row.exists ? 0 : 1);
        expectLastCall(Call::copyMatching, backend.madeContexts.back(),
                       oneItem(KeychainReturnKind::attributes));
        EXPECT_EQ(backend.madeContexts.back()->invalidationCount, 1);
    }
}

// The sizes of the blocks that wiping buffers free while observed, and whether all were zeros.
std::vector<std::size_t> freedSizes;
bool freedAllZero = true;

void recordFreed(std::span<const std::byte> block) {
    freedSizes.push_back(block.size());
    freedAllZero =
        freedAllZero && std::ranges::all_of(block, [](auto b) { return b == std::byte{}; });
}

TEST(SecureWipeTest, EveryFreedSecretBufferHoldsOnlyZeros) {
    observeFreedSecrets(&recordFreed);
    {
        auto grown = secretBytes("correct horse");
        const auto copy = grown;
        grown.resize(grown.capacity() + 1, 'x'); // moves to a larger block
        EXPECT_EQ(freedSizes.size(), 1U);
    }
    TransientSecret secret(secretBytes("battery staple"));
    // What the reader returns or throws passes through, and a throw releases the lock.
    EXPECT_TRUE(secret.withUnsafeBytes(
        [](auto bytes) { return test::sameBytes(bytes, "battery staple"); }));
    EXPECT_THROW(secret.withUnsafeBytes([](auto) -> int { throw std::runtime_error("reader"); }),
                 std::runtime_error);
    secret.clear();
    secret.clear();
    EXPECT_EQ(freedSizes.size(), 4U) << "the first clear frees the bytes at once";
    EXPECT_EQ(freedSizes.back(), 14U);
    EXPECT_EQ(secret.withUnsafeBytes([](auto bytes) { return bytes.size(); }), 0U);
    { const TransientSecret dropped(secretBytes("staple")); }
    EXPECT_EQ(freedSizes.size(), 5U) << "destruction frees the bytes too";
    EXPECT_TRUE(freedAllZero);
    observeFreedSecrets(nullptr);
}

} // namespace
} // namespace kestrelle
