#pragma once

#include "App/StatusBar.h"

#include <memory>

class QMenu;
class QSystemTrayIcon;

namespace kestrelle {

// The status item as a tray icon: a status-notifier item whose menu the host reaches over
// D-Bus (com.canonical.dbusmenu), or an XEmbed icon. Needs a QApplication.
class TrayStatusBar final : public StatusBar {
public:
    TrayStatusBar();
    ~TrayStatusBar() override;

    void addItem(const StatusItemAppearance& appearance, const std::vector<MenuItemModel>& menu,
                 std::function<void(MenuAction)> onChoose) override;
    bool isAvailable() const override;

private:
    std::unique_ptr<QMenu> menu_;
    std::unique_ptr<QSystemTrayIcon> icon_;
};

} // namespace kestrelle
