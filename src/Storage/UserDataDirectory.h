#pragma once

#include <filesystem>
#include <optional>

namespace kestrelle {

// The user's directory for application data, created if missing: Application Support on macOS
// (supplied by the platform adapter), the XDG data directory elsewhere. Throws FileSystemError
// when it cannot be found or created.
std::filesystem::path userDataDirectory();

// The user's directory for settings, created if missing: the XDG configuration directory. Not
// used on macOS, whose preferences service keeps settings. Throws FileSystemError as above.
std::filesystem::path userConfigDirectory();

// The XDG rule: $XDG_DATA_HOME when it is an absolute path, otherwise $HOME/.local/share.
// Nothing when neither yields an absolute path.
std::optional<std::filesystem::path> xdgDataDirectory(const char* xdgDataHome, const char* home);
// The same rule for $XDG_CONFIG_HOME and $HOME/.config.
std::optional<std::filesystem::path> xdgConfigDirectory(const char* xdgConfigHome,
                                                        const char* home);

} // namespace kestrelle
