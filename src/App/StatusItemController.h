#pragma once

#include "App/StatusBar.h"
#include "Runtime/Logger.h"

#include <functional>
#include <memory>

namespace kestrelle {

// The menu-bar item, Kestrelle's only permanent presence, and the hooks its menu runs. A hook
// that is not set makes its item do nothing.
class StatusItemController {
public:
    explicit StatusItemController(StatusBar& statusBar, bool offersUpdates = true)
        : statusBar_(statusBar), offersUpdates_(offersUpdates) {}

    std::function<void()> onInvoke;
    std::function<void()> onShowSettings;
    std::function<void()> onCheckForUpdates;
    std::function<void()> onQuit;

    // Adds the item once; later calls do nothing.
    void install();
    bool isInstalled() const { return installed_; }

private:
    void choose(MenuAction action) const;

    StatusBar& statusBar_;
    bool offersUpdates_;
    Logger logger_{"StatusItem"};
    bool installed_ = false;
    // Lets the platform's menu outlive the controller harmlessly.
    std::shared_ptr<StatusItemController*> self_ = std::make_shared<StatusItemController*>(this);
};

} // namespace kestrelle
