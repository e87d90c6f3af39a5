#pragma once

#include "App/AppCoordinator.h"
#include "App/MainMenuInstalling.h"
#include "App/RunningInstances.h"
#include "Runtime/Logger.h"

#include <functional>
#include <memory>

namespace kestrelle {

// What the application delegate does at launch and termination: one running copy only, the
// two log lines, starting and stopping the coordinator, and the main menu. A copy launched later
// that activates this one opens Settings here, the one window that shows Kestrelle runs.
class ApplicationLifecycle {
public:
    struct Dependencies {
        RunningInstances& instances;
        MainMenuInstalling& mainMenu;
        std::shared_ptr<AppCoordinator> coordinator;
        std::function<void()> showAboutPanel;
    };

    explicit ApplicationLifecycle(Dependencies dependencies)
        : dependencies_(std::move(dependencies)) {}

    // False when another copy was brought to the front and this one is quitting; nothing else of
    // the launch then happens.
    bool didFinishLaunching();
    void willTerminate();
    // Closing the Settings window never quits the app.
    static constexpr bool terminatesAfterLastWindowClosed = false;

private:
    void choose(MenuAction action);

    Dependencies dependencies_;
    Logger logger_{"AppDelegate"};
    Subscription activations_;
};

} // namespace kestrelle
