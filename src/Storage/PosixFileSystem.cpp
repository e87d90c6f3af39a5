#include "Storage/PosixFileSystem.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>

namespace kestrelle {

namespace {

[[noreturn]] void throwErrno() {
    throw std::system_error(errno, std::generic_category());
}

void flushToDevice(int descriptor) {
#if defined(F_FULLFSYNC)
    // File systems that cannot flush a drive's cache refuse F_FULLFSYNC; fsync is their best.
    if (::fcntl(descriptor, F_FULLFSYNC) == 0) {
        return;
    }
#endif
    if (::fsync(descriptor) != 0) {
        throwErrno();
    }
}

} // namespace

FileSystem::TemporaryFile
PosixFileSystem::createTemporaryFile(const std::filesystem::path& directory,
                                     const std::string& prefix) {
    std::string path = (directory / (prefix + "XXXXXX")).string();
    int descriptor = ::mkostemp(path.data(), O_CLOEXEC);
    if (descriptor < 0) {
        throwErrno();
    }
    return {path, descriptor};
}

void PosixFileSystem::writeAll(int descriptor, std::string_view bytes) {
    while (!bytes.empty()) {
        ssize_t written = ::write(descriptor, bytes.data(), bytes.size());
        if (written < 0) {
            if (errno == EINTR) {
                continue;
            }
            throwErrno();
        }
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
}

void PosixFileSystem::sync(int descriptor) {
    flushToDevice(descriptor);
}

void PosixFileSystem::close(int descriptor) {
    // Not retried on EINTR: the descriptor is gone either way.
    if (::close(descriptor) != 0 && errno != EINTR) {
        throwErrno();
    }
}

void PosixFileSystem::rename(const std::filesystem::path& from, const std::filesystem::path& to) {
    if (std::rename(from.c_str(), to.c_str()) != 0) {
        throwErrno();
    }
}

void PosixFileSystem::syncDirectory(const std::filesystem::path& directory) {
    int descriptor = ::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0) {
        throwErrno();
    }
    struct Closer {
        int descriptor;
        ~Closer() { ::close(descriptor); }
    } closer{descriptor};
    flushToDevice(descriptor);
}

void PosixFileSystem::remove(const std::filesystem::path& path) noexcept {
    ::unlink(path.c_str());
}

} // namespace kestrelle
