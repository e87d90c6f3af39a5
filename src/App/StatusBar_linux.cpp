#include "App/StatusBar_linux.h"

#include <QApplication>
#include <QCursor>
#include <QMenu>
#include <QStyle>
#include <QSystemTrayIcon>

namespace kestrelle {

TrayStatusBar::TrayStatusBar() = default;
TrayStatusBar::~TrayStatusBar() = default;

void TrayStatusBar::addItem(const StatusItemAppearance& appearance,
                            const std::vector<MenuItemModel>& menu,
                            std::function<void(MenuAction)> onChoose) {
    menu_ = std::make_unique<QMenu>();
    for (const auto& item : menu) {
        if (item.isSeparator) {
            menu_->addSeparator();
            continue;
        }
        // Key equivalents are left out: nothing types them while a tray menu is open.
        QObject::connect(menu_->addAction(QString::fromStdString(item.title)), &QAction::triggered,
                         menu_.get(), [onChoose, action = item.action] { onChoose(action); });
    }
    // Icon themes name the key symbol "dialog-password"; a desktop without a theme gets Qt's own.
    icon_ = std::make_unique<QSystemTrayIcon>(QIcon::fromTheme(
        "dialog-password", QApplication::style()->standardIcon(QStyle::SP_DialogApplyButton)));
    icon_->setToolTip(QString::fromStdString(appearance.toolTip));
    icon_->setContextMenu(menu_.get());
    // A click on the item opens its menu, as any other click does.
    QObject::connect(icon_.get(), &QSystemTrayIcon::activated, menu_.get(),
                     [menu = menu_.get()](QSystemTrayIcon::ActivationReason reason) {
                         if (reason == QSystemTrayIcon::Trigger) {
                             menu->popup(QCursor::pos());
                         }
                     });
    icon_->show();
}

bool TrayStatusBar::isAvailable() const {
    return QSystemTrayIcon::isSystemTrayAvailable();
}

} // namespace kestrelle
