#pragma once

#include "Picker/PasswordPickerContent.h"
#include "Picker/PasswordPickerKeyEvent.h"
#include "Picker/Rect.h"

#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace kestrelle {

// The floating panel that shows the picker's content, with the event monitors and screen
// queries the picker needs while it is up. A non-activating, borderless panel above menus and
// full-screen apps that can become key but never main; hidden, never closed. Every decision is
// the picker's: the panel draws, reports and answers.
class PasswordPickerPanel {
public:
    struct Screen {
        Rect frame;
        // The frame without the menu bar and the Dock.
        Rect visibleFrame;
    };

    // An installed event monitor; destroying it removes the monitor.
    class Monitor {
    public:
        virtual ~Monitor() = default;
    };

    virtual ~PasswordPickerPanel() = default;

    // Wiring, once, by the picker. The content outlives the panel's use of it; handlers may be
    // called after the picker is gone and then do nothing.
    virtual void setContent(std::shared_ptr<const PasswordPickerContent> content) = 0;
    // Key-downs that reach the panel itself; nothing else sees them.
    virtual void setKeyDownHandler(std::function<void(const PasswordPickerKeyEvent&)> handler) = 0;
    virtual void setResignKeyHandler(std::function<void()> handler) = 0;

    // Rebuilds the content view from the content, highlight included, scrolled to the top.
    virtual void renderContent() = 0;
    // Redraws the rows' tones from the content; scrolls `rowToReveal` into view when given.
    virtual void updateHighlight(std::optional<int> rowToReveal) = 0;

    virtual void setContentSize(Size size) = 0;
    // Screen coordinates of the corner nearest the origin: lower-left where y grows upwards,
    // top-left where it grows downwards.
    virtual void setFrameOrigin(Point origin) = 0;
    // Shows the panel even though the app is not active.
    virtual void orderFrontRegardless() = 0;
    // Where the picker takes the keyboard by a grab instead, these take and report the grab.
    virtual void makeKeyWindow() = 0;
    virtual void orderOut() = 0;
    virtual bool isKeyWindow() const = 0;
    virtual bool isVisible() const = 0;

    // Key-downs anywhere in the app; the handler returns true to swallow the event. Each of
    // these returns none when the platform installs no monitor.
    virtual std::unique_ptr<Monitor>
    addLocalKeyMonitor(std::function<bool(const PasswordPickerKeyEvent&)> handler) = 0;
    // Left and right mouse-downs in the app, told whether they are on the panel; the click
    // always goes on to its target.
    virtual std::unique_ptr<Monitor>
    addLocalClickMonitor(std::function<void(bool onPanel)> handler) = 0;
    // Left and right mouse-downs going to other applications.
    virtual std::unique_ptr<Monitor> addGlobalClickMonitor(std::function<void()> handler) = 0;

    // Screen coordinates.
    virtual Point pointerLocation() const = 0;
    // In the system's order.
    virtual std::vector<Screen> screens() const = 0;
    virtual std::optional<Screen> mainScreen() const = 0;
};

} // namespace kestrelle
