#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace kestrelle {

// The system calls behind an atomic file write, one step each, so that a test can make any
// step fail. Failures throw std::system_error.
// Real: PosixFileSystem. Fake: test::FaultyFileSystem.
class FileSystem {
public:
    struct TemporaryFile {
        std::filesystem::path path;
        int descriptor;
    };

    virtual ~FileSystem() = default;

    // Creates and opens a new file, readable by its owner only, named `prefix` plus a random
    // suffix.
    virtual TemporaryFile createTemporaryFile(const std::filesystem::path& directory,
                                              const std::string& prefix) = 0;
    virtual void writeAll(int descriptor, std::string_view bytes) = 0;
    // Returns once the written data is on the storage device itself, not in a drive's cache. On
    // macOS that takes fcntl(F_FULLFSYNC): fsync there only hands the data to the drive.
    // Elsewhere fsync; fdatasync would do for the data, but the file is then renamed, and no
    // sync of the file covers its new directory entry (syncDirectory does).
    virtual void sync(int descriptor) = 0;
    // Releases the descriptor even when it reports a failure.
    virtual void close(int descriptor) = 0;
    // Puts `from` in the place of `to` in one step.
    virtual void rename(const std::filesystem::path& from, const std::filesystem::path& to) = 0;
    // As `sync`, for a directory's entries: after it a rename inside it survives a crash.
    virtual void syncDirectory(const std::filesystem::path& directory) = 0;
    // Best effort, for cleaning up.
    virtual void remove(const std::filesystem::path& path) noexcept = 0;
};

} // namespace kestrelle
