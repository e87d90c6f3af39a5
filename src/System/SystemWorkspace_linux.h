#pragma once

#include "System/SystemWorkspace.h"

namespace kestrelle {

// The desktop's URL handlers through QDesktopServices (xdg-open outside KDE and GNOME).
class DesktopServicesWorkspace final : public SystemWorkspace {
public:
    void openUrl(std::string_view url) override;
    // File managers differ in how they select a file, so this opens the folder that holds it.
    void revealInFileViewer(std::string_view path) override;
};

} // namespace kestrelle
