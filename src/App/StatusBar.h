#pragma once

#include "App/MenuModel.h"

#include <functional>
#include <string>
#include <vector>

namespace kestrelle {

// How the menu-bar item looks.
struct StatusItemAppearance {
    // The system remembers the item's place in the menu bar under this name.
    std::string autosaveName = "KestrelleStatusItem";
    std::string symbolName = "key.fill";
    std::string accessibilityDescription = "Kestrelle";
    std::string toolTip = "Kestrelle";
};

// The system menu bar. A square, visible item whose click opens its menu; a chosen item is
// reported by its action. Real: NSStatusBar (macOS), the tray (Linux). Fake: FakeStatusBar.h.
class StatusBar {
public:
    virtual ~StatusBar() = default;
    virtual void addItem(const StatusItemAppearance& appearance,
                         const std::vector<MenuItemModel>& menu,
                         std::function<void(MenuAction)> onChoose) = 0;
    // Whether the desktop can show the item. A Linux desktop without a tray host (neither a
    // status-notifier watcher nor an XEmbed tray) when the app starts has nowhere to show it; Qt
    // settles on its tray protocol at that moment, so a watcher that starts later does not help.
    // The macOS menu bar always exists.
    virtual bool isAvailable() const { return true; }
};

} // namespace kestrelle
