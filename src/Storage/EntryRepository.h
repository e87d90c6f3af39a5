#pragma once

#include "Storage/AtomicFileWriter.h"
#include "Storage/EntryCatalogStoring.h"
#include "Storage/UserDataDirectory.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <string_view>

namespace kestrelle {

// The only reader and writer of the metadata file, "entries.json" in the app's folder of the user's
// data directory. It caches nothing: every load reads the file again.
//
// Its file I/O runs inline on the main thread: the file is small, and with no suspension a load
// and a save can never interleave.
class EntryRepository final : public EntryCatalogStoring {
public:
    // Resolves the file's location once, in `folderName` inside the data directory. Throws
    // FileSystemError when the data directory cannot be resolved or created.
    explicit EntryRepository(
        const std::function<std::filesystem::path()>& dataDirectory = userDataDirectory,
        std::unique_ptr<AtomicFileWriting> writer = std::make_unique<AtomicFileWriter>(),
        std::string_view folderName = "Kestrelle");

    const std::filesystem::path& fileURL() const { return fileURL_; }

    // A missing file is the empty catalog. Throws FileSystemError, MetadataFormatError or
    // RepositoryError; the file is never changed.
    Task<EntryCatalog> load() override;
    // Validates before touching the disk. Throws RepositoryError, FileSystemError or
    // MetadataFormatError; on failure the old file is unchanged.
    Task<void> save(EntryCatalog catalog) override;

    // Throws the first rule the catalog breaks, in this order: schema version, distinct
    // identifiers, non-blank labels.
    static void validate(const EntryCatalog& catalog);

private:
    std::filesystem::path fileURL_;
    std::unique_ptr<AtomicFileWriting> writer_;
};

} // namespace kestrelle
