#pragma once

#include "Storage/FileSystem.h"

namespace kestrelle {

// F_FULLFSYNC where the system has it (macOS), fsync elsewhere.
class PosixFileSystem final : public FileSystem {
public:
    TemporaryFile createTemporaryFile(const std::filesystem::path& directory,
                                      const std::string& prefix) override;
    void writeAll(int descriptor, std::string_view bytes) override;
    void sync(int descriptor) override;
    void close(int descriptor) override;
    void rename(const std::filesystem::path& from, const std::filesystem::path& to) override;
    void syncDirectory(const std::filesystem::path& directory) override;
    void remove(const std::filesystem::path& path) noexcept override;
};

} // namespace kestrelle
