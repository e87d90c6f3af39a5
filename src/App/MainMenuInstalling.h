#pragma once

#include "App/MenuModel.h"

#include <functional>
#include <vector>

namespace kestrelle {

// The application's main menu, drawn by the platform; a chosen item is reported by its action.
// Real: NSApplication's main menu (macOS). Fake: tests/Support/FakeShell.h.
class MainMenuInstalling {
public:
    virtual ~MainMenuInstalling() = default;
    virtual void install(const std::vector<MenuItemModel>& items,
                         std::function<void(MenuAction)> onChoose) = 0;
};

} // namespace kestrelle
