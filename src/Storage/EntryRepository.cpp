#include "Storage/EntryRepository.h"

#include "Storage/EntryCatalogJson.h"
#include "Storage/FileSystemError.h"
#include "Storage/RepositoryError.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <optional>
#include <string_view>
#include <unistd.h>
#include <unordered_set>

namespace kestrelle {

namespace {

// Unicode's white space and line breaks (categories Zs, Zl, Zp, tab, U+000A-U+000D, U+0085),
// in UTF-8.
constexpr std::array<std::string_view, 25> blankCharacters = {
    "\t",           "\n",           "\v",           "\f",           "\r",           " ",
    "\xC2\x85",     "\xC2\xA0",     "\xE1\x9A\x80", "\xE2\x80\x80", "\xE2\x80\x81", "\xE2\x80\x82",
    "\xE2\x80\x83", "\xE2\x80\x84", "\xE2\x80\x85", "\xE2\x80\x86", "\xE2\x80\x87", "\xE2\x80\x88",
    "\xE2\x80\x89", "\xE2\x80\x8A", "\xE2\x80\xA8", "\xE2\x80\xA9", "\xE2\x80\xAF", "\xE2\x81\x9F",
    "\xE3\x80\x80",
};

bool isBlank(std::string_view text) {
    while (!text.empty()) {
        auto blank = std::find_if(blankCharacters.begin(), blankCharacters.end(),
                                  [&](std::string_view c) { return text.starts_with(c); });
        if (blank == blankCharacters.end()) {
            return false;
        }
        text.remove_prefix(blank->size());
    }
    return true;
}

[[noreturn]] void throwUnreadable(const std::filesystem::path& file, int error) {
    throw FileSystemError::fileUnchanged("The file “" + file.string() + "” could not be read",
                                         std::error_code(error, std::generic_category()));
}

// The file's bytes, at most `limit` of them; nothing when there is no file.
std::optional<std::string> readIfPresent(const std::filesystem::path& file, std::size_t limit) {
    int descriptor = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) {
        // ENOTDIR: a file stands where the folder should be, so there is no catalog either.
        if (errno == ENOENT || errno == ENOTDIR) {
            return std::nullopt;
        }
        throwUnreadable(file, errno);
    }
    struct Closer {
        int descriptor;
        ~Closer() { ::close(descriptor); }
    } closer{descriptor};

    std::string bytes;
    std::array<char, 64 * 1024> buffer;
    while (bytes.size() < limit) {
        ssize_t count =
            ::read(descriptor, buffer.data(), std::min(buffer.size(), limit - bytes.size()));
        if (count < 0) {
            if (errno == EINTR) {
                continue;
            }
            throwUnreadable(file, errno);
        }
        if (count == 0) {
            break;
        }
        bytes.append(buffer.data(), static_cast<std::size_t>(count));
    }
    return bytes;
}

} // namespace

EntryRepository::EntryRepository(const std::function<std::filesystem::path()>& dataDirectory,
                                 std::unique_ptr<AtomicFileWriting> writer,
                                 std::string_view folderName)
    : fileURL_(dataDirectory() / folderName / "entries.json"), writer_(std::move(writer)) {}

Task<EntryCatalog> EntryRepository::load() {
    // One byte over the limit is enough for the decoder to refuse the file.
    auto bytes = readIfPresent(fileURL_, maximumEntryFileSize + 1);
    if (!bytes) {
        co_return EntryCatalog{};
    }
    EntryCatalog catalog = decodeEntryCatalog(*bytes);
    validate(catalog);
    co_return catalog;
}

Task<void> EntryRepository::save(EntryCatalog catalog) {
    validate(catalog);
    const std::filesystem::path folder = fileURL_.parent_path();
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    if (error) {
        std::error_code ignored;
        const bool fileInTheWay = std::filesystem::is_regular_file(folder, ignored);
        throw FileSystemError::fileUnchanged(
            "The folder “" + folder.string() + "” could not be created" +
                (fileInTheWay ? ", because a file has its name" : ""),
            error);
    }
    writer_->write(fileURL_, encodeEntryCatalog(catalog));
    co_return;
}

void EntryRepository::validate(const EntryCatalog& catalog) {
    if (catalog.schemaVersion != EntryCatalog::currentSchemaVersion) {
        throw RepositoryError::unsupportedSchema(catalog.schemaVersion);
    }
    std::unordered_set<Uuid> identifiers;
    for (const EntryMetadata& entry : catalog.orderedEntries) {
        identifiers.insert(entry.id());
    }
    if (identifiers.size() != catalog.orderedEntries.size()) {
        throw RepositoryError::corruptMetadata("Entry identifiers must be unique.");
    }
    // Only decides validity: the stored label keeps its surrounding spaces.
    bool blankLabel = std::any_of(catalog.orderedEntries.begin(), catalog.orderedEntries.end(),
                                  [](const EntryMetadata& entry) { return isBlank(entry.label); });
    if (blankLabel) {
        throw RepositoryError::corruptMetadata("Every entry must have a label.");
    }
}

} // namespace kestrelle
