#include "Storage/UserDataDirectory.h"

#include "Storage/FileSystemError.h"

#import <Foundation/Foundation.h>

namespace kestrelle {

std::filesystem::path userDataDirectory() {
    NSError *error = nil;
    NSURL *url = [[NSFileManager defaultManager] URLForDirectory:NSApplicationSupportDirectory
                                                        inDomain:NSUserDomainMask
                                               appropriateForURL:nil
                                                          create:YES
                                                           error:&error];
    if (url == nil) {
        throw FileSystemError::noFile(
            "The Application Support folder could not be found or created",
            std::make_error_code(std::errc::no_such_file_or_directory));
    }
    return std::filesystem::path(url.path.UTF8String);
}

} // namespace kestrelle
