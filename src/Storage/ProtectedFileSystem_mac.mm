#include "Storage/ProtectedFileSystem_mac.h"

#import <Foundation/Foundation.h>

#include <system_error>

namespace kestrelle {

FileSystem::TemporaryFile
ProtectedFileSystem::createTemporaryFile(const std::filesystem::path &directory,
                                         const std::string &prefix) {
    TemporaryFile file = posix_.createTemporaryFile(directory, prefix);
    NSString *path = [NSString stringWithUTF8String:file.path.c_str()];
    if (![[NSFileManager defaultManager]
            setAttributes:@{NSFileProtectionKey : NSFileProtectionComplete}
             ofItemAtPath:path
                    error:nullptr]) {
        posix_.close(file.descriptor);
        posix_.remove(file.path);
        throw std::system_error(std::make_error_code(std::errc::operation_not_permitted));
    }
    return file;
}

void ProtectedFileSystem::writeAll(int descriptor, std::string_view bytes) {
    posix_.writeAll(descriptor, bytes);
}

void ProtectedFileSystem::sync(int descriptor) { posix_.sync(descriptor); }

void ProtectedFileSystem::close(int descriptor) { posix_.close(descriptor); }

void ProtectedFileSystem::rename(const std::filesystem::path &from,
                                 const std::filesystem::path &to) {
    posix_.rename(from, to);
}

void ProtectedFileSystem::syncDirectory(const std::filesystem::path &directory) {
    posix_.syncDirectory(directory);
}

void ProtectedFileSystem::remove(const std::filesystem::path &path) noexcept {
    posix_.remove(path);
}

} // namespace kestrelle
