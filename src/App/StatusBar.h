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
};

} // namespace kestrelle
