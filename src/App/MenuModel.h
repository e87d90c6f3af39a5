#pragma once

#include <string>
#include <vector>

namespace kestrelle {

// What a menu item does when chosen.
enum class MenuAction {
    showPasswordPicker,
    showSettings,
    checkForUpdates,
    quit,
    // The platform's standard about panel.
    about,
};

// One row of a menu, as the platform menu draws it: an item or a separator.
struct MenuItemModel {
    bool isSeparator = false;
    std::string title;
    MenuAction action = MenuAction::showPasswordPicker;
    // Typed with Command held; empty for none.
    std::string keyEquivalent;

    static MenuItemModel separator() {
        MenuItemModel item;
        item.isSeparator = true;
        return item;
    }
    friend bool operator==(const MenuItemModel&, const MenuItemModel&) = default;
};

// The menu-bar item's menu. There is deliberately no separator between "Settings…" and
// "Check for Updates…".
// Without updates of its own, the app offers no update check.
std::vector<MenuItemModel> statusMenu(bool offersUpdates = true);
// The application menu, which gives the Settings window ⌘, and ⌘Q.
std::vector<MenuItemModel> mainMenu();

} // namespace kestrelle
