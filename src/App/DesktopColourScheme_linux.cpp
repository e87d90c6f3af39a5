#include "App/DesktopColourScheme_linux.h"

#include <QApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>
#include <QPalette>
#include <QStyle>

namespace kestrelle {

namespace {

const auto portalService = QStringLiteral("org.freedesktop.portal.Desktop");
const auto portalPath = QStringLiteral("/org/freedesktop/portal/desktop");
const auto settingsInterface = QStringLiteral("org.freedesktop.portal.Settings");
const auto appearance = QStringLiteral("org.freedesktop.appearance");
const auto colourSchemeKey = QStringLiteral("color-scheme");
// The portal's values: 0 no preference, 1 prefers dark, 2 prefers light.
constexpr uint prefersDark = 1;

QPalette darkPalette() {
    const QColor window(0x2d, 0x2d, 0x2d);
    const QColor base(0x1f, 0x1f, 0x1f);
    const QColor text(0xe8, 0xe8, 0xe8);
    const QColor dimmed(0x8a, 0x8a, 0x8a);
    QPalette palette(QColor(0x3a, 0x3a, 0x3a), window);
    for (const auto& [role, colour] : {
             std::pair{QPalette::WindowText, text},
             std::pair{QPalette::Base, base},
             std::pair{QPalette::AlternateBase, window},
             std::pair{QPalette::ToolTipBase, base},
             std::pair{QPalette::ToolTipText, text},
             std::pair{QPalette::Text, text},
             std::pair{QPalette::ButtonText, text},
             std::pair{QPalette::BrightText, QColor(Qt::white)},
             std::pair{QPalette::Highlight, QColor(0x35, 0x84, 0xe4)},
             std::pair{QPalette::HighlightedText, QColor(Qt::white)},
             std::pair{QPalette::Link, QColor(0x78, 0xae, 0xed)},
             std::pair{QPalette::PlaceholderText, QColor(0xa0, 0xa0, 0xa0)},
         }) {
        palette.setColor(role, colour);
    }
    for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText}) {
        palette.setColor(QPalette::Disabled, role, dimmed);
    }
    return palette;
}

// A value of the portal, which older portals wrap in one variant more.
QVariant unwrapped(QVariant value) {
    while (value.userType() == qMetaTypeId<QDBusVariant>()) {
        value = value.value<QDBusVariant>().variant();
    }
    return value;
}

class ColourSchemeFollower final : public QObject {
    Q_OBJECT

public:
    explicit ColourSchemeFollower(QApplication& application) : QObject(&application) {
        // QtDBus matches the slot's parameters by type name, which Qt registers only on demand.
        qRegisterMetaType<QDBusVariant>();
        QDBusConnection::sessionBus().connect(portalService, portalPath, settingsInterface,
                                              QStringLiteral("SettingChanged"), this,
                                              SLOT(settingChanged(QString, QString, QDBusVariant)));
        auto read = QDBusMessage::createMethodCall(portalService, portalPath, settingsInterface,
                                                   QStringLiteral("Read"));
        read << appearance << colourSchemeKey;
        auto* watcher =
            new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(read), this);
        connect(watcher, &QDBusPendingCallWatcher::finished, this,
                [this](QDBusPendingCallWatcher* finished) {
                    const QDBusPendingReply<QVariant> reply = *finished;
                    if (!reply.isError()) {
                        apply(unwrapped(reply.value()));
                    }
                    finished->deleteLater();
                });
    }

private Q_SLOTS:
    void settingChanged(const QString& group, const QString& key, const QDBusVariant& value) {
        if (group == appearance && key == colourSchemeKey) {
            apply(unwrapped(value.variant()));
        }
    }

private:
    static void apply(const QVariant& scheme) {
        QApplication::setPalette(scheme.toUInt() == prefersDark
                                     ? darkPalette()
                                     : QApplication::style()->standardPalette());
    }
};

} // namespace

void followDesktopColourScheme(QApplication& application) {
    // The application owns it.
    new ColourSchemeFollower(application);
}

} // namespace kestrelle

#include "DesktopColourScheme_linux.moc"
