#include "Storage/AtomicFileWriter.h"

#include "Runtime/Logger.h"
#include "Storage/FileSystemError.h"

#include <optional>
#include <system_error>
#include <utility>

namespace kestrelle {

void AtomicFileWriter::write(const std::filesystem::path& file, std::string_view bytes) {
    try {
        replace(file, bytes);
    } catch (const std::system_error& error) {
        throw FileSystemError::fileUnchanged("The file “" + file.string() + "” could not be saved",
                                             error.code());
    }
}

void AtomicFileWriter::replace(const std::filesystem::path& file, std::string_view bytes) {
    // Same directory, so that the rename stays on one file system and is atomic.
    std::string prefix = ".";
    prefix += file.filename().string();
    prefix += '.';
    auto temporary = fileSystem_->createTemporaryFile(file.parent_path(), prefix);
    std::optional<int> open = temporary.descriptor;
    try {
        fileSystem_->writeAll(*open, bytes);
        // Without the flush a crash after the rename could leave an empty file in place of both.
        fileSystem_->sync(*open);
        fileSystem_->close(*std::exchange(open, std::nullopt));
        fileSystem_->rename(temporary.path, file);
    } catch (...) {
        if (open) {
            try {
                fileSystem_->close(*open);
            } catch (const std::system_error&) {
                // The first failure is the one worth reporting.
            }
        }
        fileSystem_->remove(temporary.path);
        throw;
    }
    // Every reader now sees the new file and nothing can be undone, so this is no failure of the
    // write: without it a crash may bring back the old file, but never a mix of the two.
    try {
        fileSystem_->syncDirectory(file.parent_path());
    } catch (const std::system_error& error) {
        Logger("Storage").error("The saved file's folder could not be synced (error {})",
                                error.code().value());
    }
}

} // namespace kestrelle
