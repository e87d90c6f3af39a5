#include "Storage/UserDataDirectory.h"

#include "Storage/FileSystemError.h"

#include <cstdlib>
#include <string_view>

namespace kestrelle {

std::optional<std::filesystem::path> xdgDataDirectory(const char* xdgDataHome, const char* home) {
    auto absolute = [](const char* value) {
        return value != nullptr && std::string_view(value).starts_with('/');
    };
    if (absolute(xdgDataHome)) {
        return std::filesystem::path(xdgDataHome);
    }
    if (absolute(home)) {
        return std::filesystem::path(home) / ".local" / "share";
    }
    return std::nullopt;
}

#if !defined(__APPLE__)
std::filesystem::path userDataDirectory() {
    auto directory = xdgDataDirectory(std::getenv("XDG_DATA_HOME"), std::getenv("HOME"));
    if (!directory) {
        throw FileSystemError::noFile("The user data folder could not be found",
                                      std::make_error_code(std::errc::no_such_file_or_directory));
    }
    std::error_code error;
    std::filesystem::create_directories(*directory, error);
    if (error) {
        throw FileSystemError::noFile(
            "The folder “" + directory->string() + "” could not be created", error);
    }
    return *directory;
}
#endif

} // namespace kestrelle
