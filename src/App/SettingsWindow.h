#pragma once

#include <string>

namespace kestrelle {

// How the Settings window is made: titled, closable, miniaturizable and resizable, centred,
// and kept (not released) when closed so that every opening reuses it.
struct SettingsWindowAppearance {
    std::string title = "Kestrelle Settings";
    double width = 700;
    double height = 560;
    double minimumWidth = 620;
    double minimumHeight = 480;
};

// The one Settings window, hosting the Settings view over the view model.
class SettingsWindow {
public:
    virtual ~SettingsWindow() = default;

    // An accessory app must activate itself, ignoring other apps, to take the keyboard.
    virtual void activateApplication() = 0;
    // The window controller's standard showing of its window.
    virtual void show() = 0;
    virtual void makeKeyAndOrderFront() = 0;
    virtual bool isVisible() const = 0;
};

} // namespace kestrelle
