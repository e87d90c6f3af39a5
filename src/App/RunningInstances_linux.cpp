#include "App/RunningInstances_linux.h"

#include "Runtime/Logger.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusVirtualObject>

namespace kestrelle {

namespace {

const Logger logger{"RunningInstances"};

const QString activateMethod = QStringLiteral("Activate");

// "app.kestrelle.Kestrelle" is served at "/app/kestrelle/Kestrelle".
QString objectPath(const QString& name) {
    return '/' + QString(name).replace('.', '/');
}

} // namespace

// The object a later copy calls; its interface is named like the bus name.
class BusNameRunningInstances::Endpoint final : public QDBusVirtualObject {
public:
    Endpoint(QString interface, Signal<>& activations)
        : interface_(std::move(interface)), activations_(activations) {}

    QString introspect(const QString&) const override {
        return QStringLiteral("<interface name=\"%1\"><method name=\"%2\"/></interface>")
            .arg(interface_, activateMethod);
    }

    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override {
        if (message.interface() != interface_ || message.member() != activateMethod) {
            return false;
        }
        connection.send(message.createReply());
        // Qt may deliver this on its bus thread; observers run on the main thread.
        QMetaObject::invokeMethod(
            this, [this] { activations_.emit(); }, Qt::QueuedConnection);
        return true;
    }

private:
    QString interface_;
    Signal<>& activations_;
};

BusNameRunningInstances::BusNameRunningInstances() = default;

// The bus releases the name, and Qt the object, when they go.
BusNameRunningInstances::~BusNameRunningInstances() = default;

std::optional<std::string> BusNameRunningInstances::mainBundleIdentifier() {
    return std::nullopt;
}

std::int32_t BusNameRunningInstances::currentProcessIdentifier() {
    return static_cast<std::int32_t>(QCoreApplication::applicationPid());
}

std::vector<std::int32_t>
BusNameRunningInstances::runningApplications(const std::string& bundleIdentifier) {
    auto bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        logger.notice("No session bus: other running copies cannot be found");
        return {};
    }
    name_ = bundleIdentifier;
    const auto name = QString::fromStdString(name_);
    // The object first, so that whoever sees the name finds it.
    auto endpoint = std::make_unique<Endpoint>(name, activations_);
    if (!bus.registerVirtualObject(objectPath(name), endpoint.get())) {
        logger.error("Could not export the activation object: {}",
                     PublicText(bus.lastError().message().toStdString()));
    }
    const auto claim =
        bus.interface()->registerService(name, QDBusConnectionInterface::DontQueueService,
                                         QDBusConnectionInterface::DontAllowReplacement);
    if (claim.isValid() && claim.value() == QDBusConnectionInterface::ServiceRegistered) {
        endpoint_ = std::move(endpoint);
        return {currentProcessIdentifier()};
    }
    bus.unregisterObject(objectPath(name));
    const auto owner = bus.interface()->servicePid(name);
    if (!owner.isValid()) {
        // The owner quit between the claim and the question.
        logger.notice("The running copy's bus name has no owner any more");
        return {};
    }
    return {static_cast<std::int32_t>(owner.value())};
}

void BusNameRunningInstances::activate(std::int32_t processIdentifier) {
    const auto name = QString::fromStdString(name_);
    const auto reply = QDBusConnection::sessionBus().call(
        QDBusMessage::createMethodCall(name, objectPath(name), name, activateMethod), QDBus::Block,
        2000);
    if (reply.type() == QDBusMessage::ErrorMessage) {
        logger.error("The running copy {} did not come forward: {}", processIdentifier,
                     PublicText(reply.errorMessage().toStdString()));
    }
}

void BusNameRunningInstances::terminate() {
    QMetaObject::invokeMethod(QCoreApplication::instance(), &QCoreApplication::quit,
                              Qt::QueuedConnection);
}

Subscription BusNameRunningInstances::observeActivations(std::function<void()> handler) {
    return activations_.subscribe(std::move(handler));
}

} // namespace kestrelle
