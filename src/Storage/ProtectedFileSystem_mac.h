#pragma once

#include "Storage/PosixFileSystem.h"

namespace kestrelle {

// PosixFileSystem whose new files get complete data protection: unreadable while the Mac is
// locked, as the secrets' metadata should be.
class ProtectedFileSystem final : public FileSystem {
public:
    TemporaryFile createTemporaryFile(const std::filesystem::path& directory,
                                      const std::string& prefix) override;
    void writeAll(int descriptor, std::string_view bytes) override;
    void sync(int descriptor) override;
    void close(int descriptor) override;
    void rename(const std::filesystem::path& from, const std::filesystem::path& to) override;
    void syncDirectory(const std::filesystem::path& directory) override;
    void remove(const std::filesystem::path& path) noexcept override;

private:
    PosixFileSystem posix_;
};

} // namespace kestrelle
