#pragma once

#include "Picker/PasswordPickerPanel.h"

#include <memory>

namespace kestrelle {

// The picker as an X11 window that bypasses the window manager and never takes the focus, and
// that is "key" while it holds an active keyboard grab: with or without a window manager, the
// only arrangement that leaves the origin field its X focus and still gets every key. Keys come
// as X events during the grab; clicks in other applications as XI2 raw button presses on the
// root window, which see clicks without taking them. Needs a QApplication on the xcb platform
// for as long as it lives. Screen coordinates are Qt's, y growing downwards; the window's one-pixel
// border lies outside the content size.
class X11PasswordPickerPanel final : public PasswordPickerPanel {
public:
    X11PasswordPickerPanel();
    ~X11PasswordPickerPanel() override;
    X11PasswordPickerPanel(const X11PasswordPickerPanel&) = delete;
    X11PasswordPickerPanel& operator=(const X11PasswordPickerPanel&) = delete;

    void setContent(std::shared_ptr<const PasswordPickerContent> content) override;
    void setKeyDownHandler(std::function<void(const PasswordPickerKeyEvent&)> handler) override;
    void setResignKeyHandler(std::function<void()> handler) override;

    void renderContent() override;
    void updateHighlight(std::optional<int> rowToReveal) override;

    void setContentSize(Size size) override;
    void setFrameOrigin(Point origin) override;
    void orderFrontRegardless() override;
    // Tries the keyboard grab; the window must be showing.
    void makeKeyWindow() override;
    void orderOut() override;
    // Whether the grab is held.
    bool isKeyWindow() const override;
    bool isVisible() const override;

    std::unique_ptr<Monitor>
    addLocalKeyMonitor(std::function<bool(const PasswordPickerKeyEvent&)> handler) override;
    std::unique_ptr<Monitor>
    addLocalClickMonitor(std::function<void(bool onPanel)> handler) override;
    std::unique_ptr<Monitor> addGlobalClickMonitor(std::function<void()> handler) override;

    Point pointerLocation() const override;
    std::vector<Screen> screens() const override;
    std::optional<Screen> mainScreen() const override;

private:
    class Window;

    std::shared_ptr<Window> window_;
};

} // namespace kestrelle
