#include "App/SessionInterruptions_linux.h"

#include "Runtime/Logger.h"

#include <QDBusConnection>
#include <QDBusObjectPath>
#include <QDBusReply>
#include <QObject>
#include <memory>

namespace kestrelle {

namespace {

const Logger logger{"SessionInterruptions"};

const QString login1 = QStringLiteral("org.freedesktop.login1");

// Receives the signals for one subscription; destroying it disconnects them all.
class InterruptionReceiver final : public QObject {
    Q_OBJECT

public:
    explicit InterruptionReceiver(std::function<void()> handler) : handler_(std::move(handler)) {}

public Q_SLOTS:
    void interrupted() { handler_(); }
    // PrepareForSleep and ActiveChanged also announce the end of what they began.
    void changed(bool began) {
        if (began) {
            handler_();
        }
    }

private:
    std::function<void()> handler_;
};

// The path of this process's login session, or the user's graphical session when the process
// belongs to none (logind resolves "auto" that way).
std::optional<QString> sessionPath(const QDBusConnection& bus) {
    const QDBusReply<QDBusObjectPath> reply =
        bus.call(QDBusMessage::createMethodCall(login1, "/org/freedesktop/login1",
                                                "org.freedesktop.login1.Manager", "GetSession")
                 << QStringLiteral("auto"));
    if (!reply.isValid()) {
        return std::nullopt;
    }
    return reply.value().path();
}

void observeSystemBus(InterruptionReceiver& receiver) {
    auto bus = QDBusConnection::systemBus();
    if (!bus.isConnected()) {
        logger.notice("No system bus: sleep and session locks are not observed");
        return;
    }
    bus.connect(login1, "/org/freedesktop/login1", "org.freedesktop.login1.Manager",
                "PrepareForSleep", &receiver, SLOT(changed(bool)));
    if (const auto path = sessionPath(bus)) {
        bus.connect(login1, *path, "org.freedesktop.login1.Session", "Lock", &receiver,
                    SLOT(interrupted()));
    } else {
        logger.notice("No login session: its locks are not observed");
    }
}

void observeSessionBus(InterruptionReceiver& receiver) {
    auto bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        logger.notice("No session bus: screen locks are not observed");
        return;
    }
    for (const QString& screenSaver :
         {QStringLiteral("org.freedesktop.ScreenSaver"), QStringLiteral("org.gnome.ScreenSaver")}) {
        // Any path: desktops export the interface under more than one.
        bus.connect(screenSaver, QString(), screenSaver, "ActiveChanged", &receiver,
                    SLOT(changed(bool)));
    }
}

} // namespace

Subscription DBusSessionInterruptions::observe(std::function<void()> handler) {
    auto receiver = std::make_shared<InterruptionReceiver>(std::move(handler));
    observeSystemBus(*receiver);
    observeSessionBus(*receiver);
    return Subscription([receiver]() mutable { receiver.reset(); });
}

} // namespace kestrelle

#include "SessionInterruptions_linux.moc"
