#pragma once

#include "Picker/PasswordPickerPanel.h"

#include <memory>
#include <string>
#include <vector>

namespace kestrelle::test {

// Records the panel calls whose order matters and plays the platform: key presses go to the key
// monitor first and reach the panel only when not swallowed, and `resignKey` takes key status
// away. Clicks are the monitors' to call; a test may hold on to a handler and call it late.
class FakePickerPanel final : public PasswordPickerPanel {
public:
    using KeyHandler = std::function<bool(const PasswordPickerKeyEvent&)>;

    void setContent(std::shared_ptr<const PasswordPickerContent> newContent) override {
        content = std::move(newContent);
    }
    void setKeyDownHandler(std::function<void(const PasswordPickerKeyEvent&)> handler) override {
        keyDownHandler = std::move(handler);
    }
    void setResignKeyHandler(std::function<void()> handler) override {
        resignKeyHandler = std::move(handler);
    }
    void renderContent() override { calls.push_back("render"); }
    void updateHighlight(std::optional<int> row) override { revealedRow = row; }
    void setContentSize(Size size) override { contentSize = size; }
    void setFrameOrigin(Point origin) override { frameOrigin = origin; }
    void orderFrontRegardless() override {
        calls.push_back("order front");
        visible = true;
    }
    void makeKeyWindow() override {
        calls.push_back("make key");
        key = visible && !refusesKey;
    }
    void orderOut() override { visible = key = false; }
    bool isKeyWindow() const override { return key; }
    bool isVisible() const override { return visible; }

    std::unique_ptr<Monitor> addLocalKeyMonitor(KeyHandler handler) override {
        return install(keyMonitor, std::move(handler));
    }
    std::unique_ptr<Monitor> addLocalClickMonitor(std::function<void(bool)> handler) override {
        return install(localClickMonitor, std::move(handler));
    }
    std::unique_ptr<Monitor> addGlobalClickMonitor(std::function<void()> handler) override {
        return install(globalClickMonitor, std::move(handler));
    }

    Point pointerLocation() const override { return pointer; }
    std::vector<Screen> screens() const override { return allScreens; }
    std::optional<Screen> mainScreen() const override { return main; }

    // Returns whether the key monitor swallowed the press.
    bool press(const PasswordPickerKeyEvent& event) {
        if (auto monitor = keyMonitor; monitor && monitor(event)) {
            return true;
        }
        if (keyDownHandler && key) {
            keyDownHandler(event);
        }
        return false;
    }
    void resignKey() {
        key = false;
        if (resignKeyHandler) {
            resignKeyHandler();
        }
    }
    std::size_t monitorCount() const {
        return (keyMonitor != nullptr) + (localClickMonitor != nullptr) +
               (globalClickMonitor != nullptr);
    }

    std::vector<std::string> calls;
    std::shared_ptr<const PasswordPickerContent> content;
    std::function<void(const PasswordPickerKeyEvent&)> keyDownHandler;
    std::function<void()> resignKeyHandler;
    KeyHandler keyMonitor;
    std::function<void(bool)> localClickMonitor;
    std::function<void()> globalClickMonitor;
    Size contentSize;
    Point frameOrigin;
    std::optional<int> revealedRow;
    bool visible = false;
    bool key = false;
    // Plays the system denying key status.
    bool refusesKey = false;

    Point pointer{700, 500};
    std::vector<Screen> allScreens{{{0, 0, 1440, 900}, {0, 0, 1440, 875}}};
    std::optional<Screen> main = allScreens.front();

private:
    struct FakeMonitor final : Monitor {
        explicit FakeMonitor(std::function<void()> remove) : remove(std::move(remove)) {}
        ~FakeMonitor() override { remove(); }
        std::function<void()> remove;
    };
    template <class Handler>
    std::unique_ptr<Monitor> install(Handler& slot, Handler handler) {
        slot = std::move(handler);
        return std::make_unique<FakeMonitor>([&slot] { slot = nullptr; });
    }
};

} // namespace kestrelle::test
