#include "System/AppActivationNotifier_linux.h"

#include <QGuiApplication>

namespace kestrelle {

Subscription QtAppActivationNotifier::observe(std::function<void()> handler) {
    auto connection = QObject::connect(qGuiApp, &QGuiApplication::applicationStateChanged,
                                       [handler = std::move(handler)](Qt::ApplicationState state) {
                                           if (state == Qt::ApplicationActive) {
                                               handler();
                                           }
                                       });
    return Subscription([connection] { QObject::disconnect(connection); });
}

} // namespace kestrelle
