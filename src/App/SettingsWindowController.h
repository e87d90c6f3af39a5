#pragma once

#include "App/SettingsWindow.h"
#include "Runtime/Logger.h"

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
    // What the window reports back; each holds the controller weakly.
    struct WindowEvents {
        std::function<void()> willClose;
    };
    struct Dependencies {
        std::function<std::unique_ptr<SettingsWindow>(const SettingsWindowAppearance&,
                                                      WindowEvents)>
            makeWindow;
        std::function<void()> startPermissionPolling;
        std::function<void()> stopPermissionPolling;
        std::function<void()> refreshModel;
        std::function<void()> clearTransientForms;
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
