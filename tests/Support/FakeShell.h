#pragma once

#include "App/MainMenuInstalling.h"
#include "App/RunningInstances.h"
#include "App/SessionInterruptions.h"
#include "App/SettingsWindowController.h"
#include "App/SoftwareUpdater.h"

#include <string>
#include <vector>

namespace kestrelle::test {

// The app shell's platform: session interruptions, the Settings window, updates, running copies
// and the main menu.
class FakeSessionInterruptions final : public SessionInterruptions {
public:
    Subscription observe(std::function<void()> handler) override {
        return signal.subscribe(std::move(handler));
    }
    void interrupt() { signal.emit(); }
    Signal<> signal;
};

class FakeSettingsWindow final : public SettingsWindow {
public:
    explicit FakeSettingsWindow(std::vector<std::string>& calls) : calls(calls) {}
    void activateApplication() override { calls.push_back("activate"); }
    void show() override {
        calls.push_back("show");
        visible = true;
    }
    void makeKeyAndOrderFront() override { calls.push_back("make key"); }
    bool isVisible() const override { return visible; }

    std::vector<std::string>& calls;
    bool visible = false;
};

// Makes the Settings window and keeps hold of what it was given, as the platform would.
struct FakeSettingsWindows {
    std::unique_ptr<SettingsWindow> make(SettingsWindowContent windowContent) {
        ++made;
        content = std::move(windowContent);
        auto window = std::make_unique<FakeSettingsWindow>(calls);
        last = window.get();
        return window;
    }
    // The user closes the window.
    void close() {
        last->visible = false;
        content.willClose();
    }

    int made = 0;
    SettingsWindowContent content;
    FakeSettingsWindow* last = nullptr;
    std::vector<std::string> calls;
};

class FakeSoftwareUpdater final : public SoftwareUpdater {
public:
    void start() override { ++starts; }
    void checkForUpdates() override { ++checks; }
    int starts = 0, checks = 0;
};

class FakeRunningInstances final : public RunningInstances {
public:
    std::optional<std::string> mainBundleIdentifier() override { return bundleIdentifier; }
    std::int32_t currentProcessIdentifier() override { return 1; }
    std::vector<std::int32_t> runningApplications(const std::string& identifier) override {
        askedFor = identifier;
        return running;
    }
    void activate(std::int32_t processIdentifier) override {
        activated.push_back(processIdentifier);
    }
    void terminate() override { ++terminations; }

    std::optional<std::string> bundleIdentifier;
    std::vector<std::int32_t> running{1}; // this copy only
    std::string askedFor;
    std::vector<std::int32_t> activated;
    int terminations = 0;
};

class FakeMainMenu final : public MainMenuInstalling {
public:
    void install(const std::vector<MenuItemModel>& menuItems,
                 std::function<void(MenuAction)> onChoose) override {
        items = menuItems;
        choose = std::move(onChoose);
    }
    std::vector<MenuItemModel> items;
    std::function<void(MenuAction)> choose;
};

} // namespace kestrelle::test
