#include "App/StatusItemController.h"

namespace kestrelle {

void StatusItemController::install() {
    if (installed_) {
        return;
    }
    std::weak_ptr<StatusItemController*> weak = self_;
    statusBar_.addItem(StatusItemAppearance{}, statusMenu(offersUpdates_),
                       [weak](MenuAction action) {
                           if (auto self = weak.lock()) {
                               (*self)->choose(action);
                           }
                       });
    installed_ = true;
    logger_.info("Status item installed");
}

void StatusItemController::choose(MenuAction action) const {
    const std::function<void()>* hook = nullptr;
    switch (action) {
    case MenuAction::showPasswordPicker:
        hook = &onInvoke;
        break;
    case MenuAction::showSettings:
        hook = &onShowSettings;
        break;
    case MenuAction::checkForUpdates:
        hook = &onCheckForUpdates;
        break;
    case MenuAction::quit:
        hook = &onQuit;
        break;
    case MenuAction::about:
        break;
    }
    if (hook && *hook) {
        (*hook)();
    }
}

} // namespace kestrelle
