#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace kestrelle {

// The system calls behind an atomic file write, one step each, so that a test can make any
// step fail. Failures throw std::system_error.
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
    // Returns once the written data is on the storage device.
    virtual void sync(int descriptor) = 0;
    // Releases the descriptor even when it reports a failure.
    virtual void close(int descriptor) = 0;
    // Puts `from` in the place of `to` in one step.
    virtual void rename(const std::filesystem::path& from, const std::filesystem::path& to) = 0;
    // Best effort, for cleaning up.
    virtual void remove(const std::filesystem::path& path) noexcept = 0;
};

} // namespace kestrelle
