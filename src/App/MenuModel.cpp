#include "App/MenuModel.h"

namespace kestrelle {

namespace {

MenuItemModel item(std::string title, MenuAction action, std::string keyEquivalent = {}) {
    return {.title = std::move(title), .action = action, .keyEquivalent = std::move(keyEquivalent)};
}

} // namespace

std::vector<MenuItemModel> statusMenu(bool offersUpdates) {
    std::vector<MenuItemModel> menu{
        item("Show Password Picker", MenuAction::showPasswordPicker),
        MenuItemModel::separator(),
        item("Settings…", MenuAction::showSettings, ","),
    };
    if (offersUpdates) {
        menu.push_back(item("Check for Updates…", MenuAction::checkForUpdates));
    }
    menu.push_back(MenuItemModel::separator());
    menu.push_back(item("Quit Kestrelle", MenuAction::quit, "q"));
    return menu;
}

std::vector<MenuItemModel> mainMenu() {
    return {
        item("About Kestrelle", MenuAction::about),
        MenuItemModel::separator(),
        item("Settings…", MenuAction::showSettings, ","),
        MenuItemModel::separator(),
        item("Check for Updates…", MenuAction::checkForUpdates),
        MenuItemModel::separator(),
        item("Quit Kestrelle", MenuAction::quit, "q"),
    };
}

} // namespace kestrelle
