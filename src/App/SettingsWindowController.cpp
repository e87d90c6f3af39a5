#include "App/SettingsWindowController.h"

namespace kestrelle {

std::shared_ptr<SettingsWindowController>
SettingsWindowController::create(Dependencies dependencies) {
    auto controller =
        std::make_shared<SettingsWindowController>(ConstructionKey{}, std::move(dependencies));
    std::weak_ptr<SettingsWindowController> weak = controller;
    WindowEvents events{[weak] {
        if (auto self = weak.lock()) {
            self->windowWillClose();
        }
    }};
    controller->window_ =
        controller->dependencies_.makeWindow(SettingsWindowAppearance{}, std::move(events));
    return controller;
}

SettingsWindowController::SettingsWindowController(ConstructionKey, Dependencies dependencies)
    : dependencies_(std::move(dependencies)) {}

void SettingsWindowController::showWindow() {
    // Polling lets the General pane follow a permission granted in System Settings meanwhile.
    dependencies_.startPermissionPolling();
    dependencies_.refreshModel();
    window_->activateApplication();
    window_->show();
    window_->makeKeyAndOrderFront();
}

void SettingsWindowController::editorSaveCompleted(bool saved) {
    if (!window_->isVisible()) {
        logger_.info("Editor save completed after Settings closed; leaving the window closed");
        return;
    }
    logger_.info(saved ? "Editor save completed successfully; restoring Settings focus"
                       : "Editor save failed; restoring Settings focus for the visible error");
    window_->activateApplication();
    window_->makeKeyAndOrderFront();
}

void SettingsWindowController::windowWillClose() {
    logger_.info("Settings window will close; cancelling transient operations");
    dependencies_.clearTransientForms();
    dependencies_.stopPermissionPolling();
}

} // namespace kestrelle
