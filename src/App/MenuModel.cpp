#include "App/MenuModel.h"

namespace kestrelle {

std::vector<MenuItemModel> statusMenu() {
    return {
        {false, "Show Password Picker", MenuAction::showPasswordPicker, ""},
        MenuItemModel::separator(),
        {false, "Settings…", MenuAction::showSettings, ","},
        {false, "Check for Updates…", MenuAction::checkForUpdates, ""},
        MenuItemModel::separator(),
        {false, "Quit Kestrelle", MenuAction::quit, "q"},
    };
}

std::vector<MenuItemModel> mainMenu() {
    return {
        {false, "About Kestrelle", MenuAction::about, ""},
        MenuItemModel::separator(),
        {false, "Settings…", MenuAction::showSettings, ","},
        MenuItemModel::separator(),
        {false, "Check for Updates…", MenuAction::checkForUpdates, ""},
        MenuItemModel::separator(),
        {false, "Quit Kestrelle", MenuAction::quit, "q"},
    };
}

} // namespace kestrelle
