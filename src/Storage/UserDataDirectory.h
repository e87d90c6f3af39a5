#pragma once

#include <filesystem>
#include <optional>

namespace kestrelle {

// The user's directory for application data, created if missing: Application Support on macOS
// (supplied by the platform adapter), the XDG data directory elsewhere. Throws FileSystemError
// when it cannot be found or created.
std::filesystem::path userDataDirectory();

// The XDG rule: $XDG_DATA_HOME when it is an absolute path, otherwise $HOME/.local/share.
// Nothing when neither yields an absolute path.
std::optional<std::filesystem::path> xdgDataDirectory(const char* xdgDataHome, const char* home);

} // namespace kestrelle
