#include "App/ApplicationLifecycle.h"

namespace kestrelle {

bool ApplicationLifecycle::didFinishLaunching() {
    auto& instances = dependencies_.instances;
    const auto bundleIdentifier =
        instances.mainBundleIdentifier().value_or(std::string(fixedBundleIdentifier));
    const auto self = instances.currentProcessIdentifier();
    for (const auto processIdentifier : instances.runningApplications(bundleIdentifier)) {
        if (processIdentifier != self) {
            instances.activate(processIdentifier);
            instances.terminate();
            return false;
        }
    }
    logger_.info("Kestrelle launching");
    dependencies_.coordinator->start();
    activations_ =
        instances.observeActivations([this] { dependencies_.coordinator->showSettings(); });
    dependencies_.mainMenu.install(mainMenu(), [this](MenuAction action) { choose(action); });
    return true;
}

void ApplicationLifecycle::willTerminate() {
    logger_.info("Kestrelle terminating");
    activations_.reset();
    dependencies_.coordinator->stop();
}

void ApplicationLifecycle::choose(MenuAction action) {
    if (action == MenuAction::about) {
        dependencies_.showAboutPanel();
    } else {
        dependencies_.coordinator->perform(action);
    }
}

} // namespace kestrelle
