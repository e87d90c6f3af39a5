#pragma once

#include <string_view>

namespace kestrelle {

// The desktop services that help the user approve this copy of the app: links into System
// Settings and the Finder. Real: NSWorkspace (macOS), QDesktopServices (Linux). Fake:
// FakeSystemWorkspace.h.
class SystemWorkspace {
public:
    virtual ~SystemWorkspace() = default;
    // A URL that cannot be formed is ignored.
    virtual void openUrl(std::string_view url) = 0;
    // Opens a Finder window with the file or bundle at `path` selected; on Linux, the folder that
    // holds it.
    virtual void revealInFileViewer(std::string_view path) = 0;
};

} // namespace kestrelle
