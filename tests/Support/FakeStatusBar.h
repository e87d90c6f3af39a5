#pragma once

#include "App/StatusBar.h"

namespace kestrelle::test {

class FakeStatusBar final : public StatusBar {
public:
    void addItem(const StatusItemAppearance&, const std::vector<MenuItemModel>& items,
                 std::function<void(MenuAction)> onChoose) override {
        ++itemCount;
        menu = items;
        choose = std::move(onChoose);
    }
    bool isAvailable() const override { return available; }

    bool available = true;
    int itemCount = 0;
    std::vector<MenuItemModel> menu;
    std::function<void(MenuAction)> choose;
};

} // namespace kestrelle::test
