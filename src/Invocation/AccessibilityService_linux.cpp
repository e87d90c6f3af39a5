#include "Invocation/AccessibilityService_linux.h"

#include "Runtime/GLibResources_linux.h"
#include "Runtime/Logger.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QVariantMap>
#include <atspi/atspi.h>
#include <cstring>

namespace kestrelle {

namespace {

const Logger logger{"Accessibility"};

constexpr AccessibilityStatus failedStatus = -1;
constexpr char focusEvent[] = "object:state-changed:focused";
// The switch lives in a small session service; it answers at once unless the session is broken.
constexpr int statusCallTimeoutMilliseconds = 500;

struct EventFree {
    void operator()(AtspiEvent* event) const { g_boxed_free(ATSPI_TYPE_EVENT, event); }
};

PublicText messageOf(const GErrorSlot& error) {
    return PublicText(error ? error.get()->message : "none");
}

AtspiAccessible* accessibleOf(const AccessibilityElement& element) {
    return static_cast<AtspiAccessible*>(const_cast<void*>(element.object()));
}

// Takes over the reference the caller holds.
AccessibilityElement elementOwning(AtspiAccessible* accessible) {
    return AccessibilityElement(std::shared_ptr<const void>(accessible, [](AtspiAccessible* held) {
        if (held) {
            g_object_unref(held);
        }
    }));
}

std::optional<AtspiStateType> stateNamed(std::string_view attribute) {
    if (attribute == accessibilityName::enabled) {
        return ATSPI_STATE_ENABLED;
    }
    if (attribute == accessibilityName::focused) {
        return ATSPI_STATE_FOCUSED;
    }
    if (attribute == accessibilityName::editable) {
        return ATSPI_STATE_EDITABLE;
    }
    return std::nullopt;
}

// Empty when any child cannot be read, so that a hung application costs one timeout.
std::vector<AccessibilityElement> childrenOf(AtspiAccessible* parent) {
    GErrorSlot error;
    const auto count = atspi_accessible_get_child_count(parent, error.out());
    if (error || count < 0) {
        return {};
    }
    std::vector<AccessibilityElement> children;
    children.reserve(static_cast<std::size_t>(count));
    for (gint index = 0; index < count; ++index) {
        auto* child = atspi_accessible_get_child_at_index(parent, index, error.out());
        if (error || !child) {
            if (child) {
                g_object_unref(child);
            }
            return {};
        }
        children.push_back(elementOwning(child));
    }
    return children;
}

const QString busService = QStringLiteral("org.a11y.Bus");
const QString busPath = QStringLiteral("/org/a11y/bus");
const QString propertiesInterface = QStringLiteral("org.freedesktop.DBus.Properties");
const QString statusInterface = QStringLiteral("org.a11y.Status");
const QString enabledProperty = QStringLiteral("IsEnabled");

QDBusMessage statusCall(const QString& method, QVariantList arguments) {
    auto call = QDBusMessage::createMethodCall(busService, busPath, propertiesInterface, method);
    arguments.prepend(enabledProperty);
    arguments.prepend(statusInterface);
    call.setArguments(arguments);
    return QDBusConnection::sessionBus().call(call, QDBus::Block, statusCallTimeoutMilliseconds);
}

// Delivers one application's focus gains. Events arrive inside libatspi's calls, so each is
// posted to the main queue; destroying the observer drops the ones still queued.
class AtspiFocusObserver final : public AccessibilityObserver {
public:
    AtspiFocusObserver(Executor& mainQueue, std::function<void()> onNotification)
        : mainQueue_(mainQueue),
          onNotification_(std::make_shared<std::function<void()>>(std::move(onNotification))) {}
    AtspiFocusObserver(const AtspiFocusObserver&) = delete;
    AtspiFocusObserver& operator=(const AtspiFocusObserver&) = delete;
    ~AtspiFocusObserver() override {
        if (registered_) {
            atspi_event_listener_deregister_from_callback(&AtspiFocusObserver::receive, this,
                                                          focusEvent, nullptr);
        }
    }

    AccessibilityStatus addNotification(const AccessibilityElement& element,
                                        std::string_view notification) override {
        auto* application = accessibleOf(element);
        if (notification != accessibilityName::focusedElementChanged || !application) {
            return failedStatus;
        }
        GErrorSlot error;
        if (!atspi_event_listener_register_from_callback_with_app(
                &AtspiFocusObserver::receive, this, nullptr, focusEvent, nullptr, application,
                error.out())) {
            logger.error("Could not listen for focus events: {}", messageOf(error));
            return failedStatus;
        }
        registered_ = true;
        return 0;
    }
    void startDelivery() override { delivering_ = true; }

private:
    static void receive(AtspiEvent* event, void* observer) {
        const std::unique_ptr<AtspiEvent, EventFree> owned(event);
        auto& self = *static_cast<AtspiFocusObserver*>(observer);
        // The element that lost the focus reports with 0.
        if (!self.delivering_ || event->detail1 != 1) {
            return;
        }
        self.mainQueue_.post([weakNotification = std::weak_ptr(self.onNotification_)] {
            if (const auto notification = weakNotification.lock()) {
                (*notification)();
            }
        });
    }

    Executor& mainQueue_;
    const std::shared_ptr<std::function<void()>> onNotification_;
    bool registered_ = false;
    bool delivering_ = false;
};

} // namespace

struct StateSnapshot {
    GObjectPtr<AtspiAccessible> element;
    GObjectPtr<AtspiStateSet> states;
};

// The accessibility bus's switch as its daemon last announced it.
class AccessibilityBusSwitch final : public QObject {
    Q_OBJECT

public:
    AccessibilityBusSwitch() {
        QDBusConnection::sessionBus().connect(
            busService, busPath, propertiesInterface, QStringLiteral("PropertiesChanged"), this,
            SLOT(propertiesChanged(QString, QVariantMap, QStringList)));
    }

    bool isEnabled() {
        if (!enabled_) {
            enabled_ = AtspiAccessibilityService::isAccessibilityBusEnabled();
        }
        return enabled_;
    }

public Q_SLOTS:
    void propertiesChanged(const QString& interface, const QVariantMap& changed,
                           const QStringList& invalidated) {
        if (interface != statusInterface) {
            return;
        }
        if (const auto value = changed.constFind(enabledProperty); value != changed.cend()) {
            enabled_ = value->toBool();
        } else if (invalidated.contains(enabledProperty)) {
            enabled_ = false;
        }
    }

private:
    bool enabled_ = false;
};

AtspiAccessibilityService::AtspiAccessibilityService(Executor& mainQueue)
    : mainQueue_(mainQueue), busSwitch_(std::make_unique<AccessibilityBusSwitch>()),
      snapshot_(std::make_shared<StateSnapshot>()), connected_([] {
          // 1: already connected, by an earlier service of this process.
          static const int status = atspi_init();
          return status == 0 || status == 1;
      }()) {
    if (!connected_) {
        logger.error("Could not connect to the accessibility bus");
    }
}

AtspiAccessibilityService::~AtspiAccessibilityService() = default;

bool AtspiAccessibilityService::isProcessTrusted() {
    return busSwitch_->isEnabled();
}

bool AtspiAccessibilityService::isAccessibilityBusEnabled() {
    const auto reply = statusCall(QStringLiteral("Get"), {});
    return reply.type() == QDBusMessage::ReplyMessage && !reply.arguments().isEmpty() &&
           reply.arguments().constFirst().value<QDBusVariant>().variant().toBool();
}

void AtspiAccessibilityService::enableAccessibilityBus() {
    const auto reply = statusCall(QStringLiteral("Set"), {QVariant::fromValue(QDBusVariant(true))});
    if (reply.type() != QDBusMessage::ReplyMessage) {
        logger.error("Could not switch the accessibility bus on: {}",
                     PublicText(reply.errorMessage().toStdString()));
    }
}

AccessibilityElement AtspiAccessibilityService::applicationElement(std::int32_t processIdentifier) {
    if (!connected_) {
        return AccessibilityElement(nullptr);
    }
    const GObjectPtr<AtspiAccessible> desktop(atspi_get_desktop(0));
    for (auto& application : childrenOf(desktop.get())) {
        if (this->processIdentifier(application) == processIdentifier) {
            return application;
        }
    }
    return AccessibilityElement(nullptr);
}

void AtspiAccessibilityService::setMessagingTimeout(const AccessibilityElement&,
                                                    std::chrono::milliseconds timeout) {
    // No start-up allowance: a starting application gets the same bound.
    atspi_set_timeout(static_cast<gint>(timeout.count()), 0);
}

AccessibilityValue AtspiAccessibilityService::attribute(const AccessibilityElement& element,
                                                        std::string_view attribute) {
    auto* accessible = accessibleOf(element);
    if (!connected_ || !accessible) {
        return {};
    }
    if (attribute == accessibilityName::role) {
        GErrorSlot error;
        const std::unique_ptr<gchar, decltype(&g_free)> name(
            atspi_accessible_get_role_name(accessible, error.out()), &g_free);
        if (error || !name) {
            return {};
        }
        return std::string(name.get());
    }
    const auto state = stateNamed(attribute);
    if (!state) {
        return {};
    }
    if (snapshot_->element.get() != accessible) {
        if (!snapshot_->element) {
            mainQueue_.post([weakSnapshot = std::weak_ptr(snapshot_)] {
                if (const auto snapshot = weakSnapshot.lock()) {
                    *snapshot = {};
                }
            });
        }
        snapshot_->element.reset(static_cast<AtspiAccessible*>(g_object_ref(accessible)));
        snapshot_->states.reset(atspi_accessible_get_state_set(accessible));
    }
    auto* states = snapshot_->states.get();
    // A failed read reports the element as defunct.
    if (!states || atspi_state_set_contains(states, ATSPI_STATE_DEFUNCT)) {
        return {};
    }
    return static_cast<bool>(atspi_state_set_contains(states, *state));
}

std::optional<AccessibilityElement>
AtspiAccessibilityService::copyElement(const AccessibilityElement& element,
                                       std::string_view attribute) {
    auto* accessible = accessibleOf(element);
    if (!connected_ || !accessible || attribute != accessibilityName::focusedElement) {
        return std::nullopt;
    }
    const GObjectPtr<AtspiCollection> collection(atspi_accessible_get_collection_iface(accessible));
    if (!collection) {
        return std::nullopt;
    }
    const GObjectPtr<AtspiStateSet> focused(atspi_state_set_new(nullptr));
    atspi_state_set_add(focused.get(), ATSPI_STATE_FOCUSED);
    const GObjectPtr<AtspiMatchRule> rule(atspi_match_rule_new(
        focused.get(), ATSPI_Collection_MATCH_ALL, nullptr, ATSPI_Collection_MATCH_ALL, nullptr,
        ATSPI_Collection_MATCH_ALL, nullptr, ATSPI_Collection_MATCH_ALL, FALSE));
    GErrorSlot error;
    auto* matches = atspi_collection_get_matches(
        collection.get(), rule.get(), ATSPI_Collection_SORT_ORDER_CANONICAL, 1, TRUE, error.out());
    if (!matches) {
        return std::nullopt;
    }
    std::vector<AccessibilityElement> found;
    for (guint index = 0; index < matches->len; ++index) {
        found.push_back(elementOwning(g_array_index(matches, AtspiAccessible*, index)));
    }
    g_array_free(matches, TRUE);
    if (error || found.empty()) {
        return std::nullopt;
    }
    return found.front();
}

std::vector<AccessibilityElement>
AtspiAccessibilityService::copyElements(const AccessibilityElement& element,
                                        std::string_view attribute) {
    auto* accessible = accessibleOf(element);
    if (!connected_ || !accessible || attribute != accessibilityName::children) {
        return {};
    }
    return childrenOf(accessible);
}

bool AtspiAccessibilityService::namesFocusedElement(const AccessibilityElement& application) {
    auto* accessible = accessibleOf(application);
    if (!connected_ || !accessible) {
        return false;
    }
    const GObjectPtr<AtspiCollection> collection(atspi_accessible_get_collection_iface(accessible));
    return collection != nullptr;
}

bool AtspiAccessibilityService::isSameElement(const AccessibilityElement& a,
                                              const AccessibilityElement& b) {
    const auto* first = accessibleOf(a);
    const auto* second = accessibleOf(b);
    if (!first || !second) {
        return false;
    }
    const auto& one = first->parent;
    const auto& other = second->parent;
    // An application that went away leaves its objects without one.
    return one.app && other.app && one.path && other.path &&
           std::strcmp(one.app->bus_name, other.app->bus_name) == 0 &&
           std::strcmp(one.path, other.path) == 0;
}

std::optional<std::int32_t>
AtspiAccessibilityService::processIdentifier(const AccessibilityElement& element) {
    auto* accessible = accessibleOf(element);
    if (!connected_ || !accessible) {
        return std::nullopt;
    }
    GErrorSlot error;
    const auto processIdentifier = atspi_accessible_get_process_id(accessible, error.out());
    if (error) {
        return std::nullopt;
    }
    return static_cast<std::int32_t>(processIdentifier);
}

AccessibilityService::ObserverCreation
AtspiAccessibilityService::createObserver(std::int32_t, std::function<void()> onNotification) {
    if (!connected_) {
        return {.status = failedStatus, .observer = nullptr};
    }
    return {.status = 0,
            .observer =
                std::make_unique<AtspiFocusObserver>(mainQueue_, std::move(onNotification))};
}

} // namespace kestrelle

#include "AccessibilityService_linux.moc"
