#include "App/SettingsWindowController.h"

namespace kestrelle {

std::shared_ptr<SettingsWindowController>
SettingsWindowController::create(Dependencies dependencies) {
    auto controller =
        std::make_shared<SettingsWindowController>(ConstructionKey{}, std::move(dependencies));
    std::weak_ptr<SettingsWindowController> weak = controller;
    auto& model = *controller->dependencies_.model;
    model.setOnEditorSaveCompleted([weak](const EntryEditorSaveResult& result) {
        if (auto self = weak.lock()) {
            self->editorSaveCompleted(result.isSaved());
        }
    });
    controller->window_ = controller->dependencies_.makeWindow({
        .appearance = {},
        .model = controller->dependencies_.model,
        .recorder = controller->dependencies_.recorder,
        .willClose =
            [weak] {
                if (auto self = weak.lock()) {
                    self->windowWillClose();
                }
            },
    });
    return controller;
}

SettingsWindowController::SettingsWindowController(ConstructionKey, Dependencies dependencies)
    : dependencies_(std::move(dependencies)) {}

void SettingsWindowController::showWindow() {
    // Polling lets the General pane follow a permission granted in System Settings meanwhile.
    dependencies_.permissions->startPolling();
    dependencies_.model->refresh();
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
    dependencies_.model->clearTransientForms();
    dependencies_.permissions->stopPolling();
}

} // namespace kestrelle
