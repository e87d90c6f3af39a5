#pragma once

#include "App/SettingsWindow.h"
#include "Runtime/Logger.h"
#include "System/PermissionsManager.h"

#include <functional>
#include <memory>

namespace kestrelle {

// The Settings window's behaviour: what showing it starts, focus after an editor save, and what
// closing it clears. The window itself is made once, on first use, and reused.
class SettingsWindowController : public std::enable_shared_from_this<SettingsWindowController> {
    struct ConstructionKey {
        explicit ConstructionKey() = default;
    };

public:
    using WindowFactory = std::function<std::unique_ptr<SettingsWindow>(SettingsWindowContent)>;

    struct Dependencies {
        WindowFactory makeWindow;
        std::shared_ptr<SettingsViewModel> model;
        std::shared_ptr<HotkeyRecorderModel> recorder;
        std::shared_ptr<PermissionsManager> permissions;
    };

    static std::shared_ptr<SettingsWindowController> create(Dependencies dependencies);
    SettingsWindowController(ConstructionKey, Dependencies dependencies);

    // Starts permission polling, reloads the model, then brings the window to the front.
    void showWindow();
    // The biometric prompt of a save took the focus; give it back so the result is seen.
    void editorSaveCompleted(bool saved);
    void windowWillClose();

private:
    Dependencies dependencies_;
    Logger logger_{"SettingsWindow"};
    std::unique_ptr<SettingsWindow> window_;
};

} // namespace kestrelle
