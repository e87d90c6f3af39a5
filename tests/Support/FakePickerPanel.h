#pragma once

#include "Picker/PasswordPickerPanel.h"

#include <memory>
#include <string>
#include <vector>

namespace kestrelle::test {

// Records every call in order and plays the platform: key presses go to the key monitor first
// and reach the panel only when not swallowed, clicks go to the click monitors, and `resignKey`
// takes key status away. A test may also hold on to handlers and call them late.
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
    void updateHighlight(std::optional<int> rowToReveal) override {
        calls.push_back("highlight " + (rowToReveal ? std::to_string(*rowToReveal) : "none"));
    }
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
    void orderOut() override {
        calls.push_back("order out");
        visible = false;
        key = false;
    }
    bool isKeyWindow() const override { return key; }
    bool isVisible() const override { return visible; }

    std::unique_ptr<Monitor> addLocalKeyMonitor(KeyHandler handler) override {
        return install("key", keyMonitor, std::move(handler));
    }
    std::unique_ptr<Monitor> addLocalClickMonitor(std::function<void(bool)> handler) override {
        return install("local click", localClickMonitor, std::move(handler));
    }
    std::unique_ptr<Monitor> addGlobalClickMonitor(std::function<void()> handler) override {
        return install("global click", globalClickMonitor, std::move(handler));
    }

    Point pointerLocation() const override { return pointer; }
    std::vector<Screen> screens() const override { return allScreens; }
    std::optional<Screen> mainScreen() const override { return main; }

    // Returns whether the key monitor swallowed the press.
    bool press(const PasswordPickerKeyEvent& event) {
        auto monitor = keyMonitor;
        if (monitor && monitor(event)) {
            return true;
        }
        if (keyDownHandler && key) {
            keyDownHandler(event);
        }
        return false;
    }
    void clickOnPanel() { clickInApp(true); }
    void clickElsewhereInApp() { clickInApp(false); }
    void clickInOtherApp() {
        if (auto monitor = globalClickMonitor) {
            monitor();
        }
    }
    void resignKey() {
        key = false;
        if (resignKeyHandler) {
            resignKeyHandler();
        }
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
    bool visible = false;
    bool key = false;
    // Plays the system denying key status.
    bool refusesKey = false;

    Point pointer{700, 500};
    Screen screen{{0, 0, 1440, 900}, {0, 0, 1440, 875}};
    std::vector<Screen> allScreens{screen};
    std::optional<Screen> main = screen;

private:
    class FakeMonitor final : public Monitor {
    public:
        explicit FakeMonitor(std::function<void()> remove) : remove_(std::move(remove)) {}
        ~FakeMonitor() override { remove_(); }

    private:
        std::function<void()> remove_;
    };

    template <class Handler>
    std::unique_ptr<Monitor> install(const std::string& name, Handler& slot, Handler handler) {
        calls.push_back("add " + name + " monitor");
        slot = std::move(handler);
        return std::make_unique<FakeMonitor>([this, name, &slot] {
            calls.push_back("remove " + name + " monitor");
            slot = nullptr;
        });
    }
    void clickInApp(bool onPanel) {
        if (auto monitor = localClickMonitor) {
            monitor(onPanel);
        }
    }
};

} // namespace kestrelle::test
