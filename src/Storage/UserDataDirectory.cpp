#include "Storage/UserDataDirectory.h"

#include "Storage/FileSystemError.h"

#include <cstdlib>
#include <string_view>

namespace kestrelle {

namespace {

std::optional<std::filesystem::path> xdgDirectory(const char* variable, const char* home,
                                                  const std::filesystem::path& fallback) {
    auto absolute = [](const char* value) {
        return value != nullptr && std::string_view(value).starts_with('/');
    };
    if (absolute(variable)) {
        return std::filesystem::path(variable);
    }
    if (absolute(home)) {
        return std::filesystem::path(home) / fallback;
    }
    return std::nullopt;
}

[[maybe_unused]] std::filesystem::path created(std::optional<std::filesystem::path> directory,
                                               std::string_view name) {
    if (!directory) {
        throw FileSystemError::noFile("The user " + std::string(name) +
                                          " folder could not be found",
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

} // namespace

std::optional<std::filesystem::path> xdgDataDirectory(const char* xdgDataHome, const char* home) {
    return xdgDirectory(xdgDataHome, home, ".local/share");
}

std::optional<std::filesystem::path> xdgConfigDirectory(const char* xdgConfigHome,
                                                        const char* home) {
    return xdgDirectory(xdgConfigHome, home, ".config");
}

#if !defined(__APPLE__)
std::filesystem::path userDataDirectory() {
    return created(xdgDataDirectory(std::getenv("XDG_DATA_HOME"), std::getenv("HOME")), "data");
}

std::filesystem::path userConfigDirectory() {
    return created(xdgConfigDirectory(std::getenv("XDG_CONFIG_HOME"), std::getenv("HOME")),
                   "settings");
}
#endif

} // namespace kestrelle
