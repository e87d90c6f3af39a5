#pragma once

#include "Preferences/HotkeyRecorderModel.h"
#include "Settings/SettingsViewModel.h"

#include <functional>
#include <memory>
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

// Everything the window's views draw and report to, handed over when the window is made. The
// views draw the models and call their operations; an editor save's completion reaches the
// window controller through the view model, so the platform wires nothing itself.
struct SettingsWindowContent {
    SettingsWindowAppearance appearance;
    std::shared_ptr<SettingsViewModel> model;
    std::shared_ptr<HotkeyRecorderModel> recorder;
    // The user closes the window; called before it goes away. Holds the controller weakly.
    std::function<void()> willClose;
};

// The one Settings window. Real: the AppKit window (macOS), the Qt window (Linux). Fake:
// tests/Support/FakeShell.h.
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
