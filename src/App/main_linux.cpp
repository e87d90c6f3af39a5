// The Linux (X11) program: the portable app on the Qt event loop, with the desktop's services.
#include "App/AppCoordinator.h"
#include "App/ApplicationLifecycle.h"
#include "App/CommandLine.h"
#include "App/DesktopColourScheme_linux.h"
#include "App/RunningInstances_linux.h"
#include "App/SessionInterruptions_linux.h"
#include "App/SettingsWindow_linux.h"
#include "App/StatusBar_linux.h"
#include "App/XWaylandNotice.h"
#include "Invocation/AccessibilityService_linux.h"
#include "Invocation/AlertPresenting_linux.h"
#include "Invocation/ApplicationActivations_linux.h"
#include "Invocation/ApplicationWorkspace_linux.h"
#include "Invocation/KeymapKeyboard_linux.h"
#include "Invocation/PasteboardService_linux.h"
#include "Picker/PasswordPickerPanel_linux.h"
#include "Preferences/JsonKeyValueStore.h"
#include "Runtime/JournalLogSink_linux.h"
#include "Runtime/KestrelleError.h"
#include "Runtime/Logger.h"
#include "Runtime/MainQueueExecutor.h"
#include "Security/DesktopApprovalAuthenticator_linux.h"
#include "Shortcut/HotKeyService_linux.h"
#include "Storage/AtomicFileWriter.h"
#include "Storage/SecretServiceBackend_linux.h"
#include "Storage/UserDataDirectory.h"
#include "System/AppActivationNotifier_linux.h"
#include "System/AutostartLoginItem.h"
#include "System/RepeatingTimerScheduling_linux.h"
#include "System/SystemWorkspace_linux.h"

#include <QApplication>
#include <QDBusConnection>
#include <QUrl>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <vector>

namespace kestrelle {
namespace {

const Logger logger{"AppDelegate"};

// Linux desktops give an application no menu bar of its own.
class NoMainMenu final : public MainMenuInstalling {
public:
    void install(const std::vector<MenuItemModel>&, std::function<void(MenuAction)>) override {}
};

std::filesystem::path runningExecutable() {
    std::error_code error;
    auto path = std::filesystem::read_symlink("/proc/self/exe", error);
    return error ? std::filesystem::path("kestrelle") : path;
}

int run(int argc, char** argv) {
    Logger::setSink(std::make_shared<JournalLogSink>());
    // Before Qt, which would take options of its own and need a display.
    const std::vector<std::string_view> arguments(argv + std::min(argc, 1), argv + argc);
    if (const auto exit = CommandLine::exitFor(arguments, KESTRELLE_VERSION)) {
        std::fputs(exit->text.c_str(), exit->toStandardError ? stderr : stdout);
        return exit->status;
    }
    // The shortcut, the focus, the typing and the clipboard all speak X11.
    if (std::getenv("DISPLAY") == nullptr) {
        std::fputs("kestrelle: no X display. Kestrelle needs an X11 session (or XWayland).\n",
                   stderr);
        return 1;
    }
    qputenv("QT_QPA_PLATFORM", "xcb");
    QApplication application(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Kestrelle"));
    QApplication::setQuitOnLastWindowClosed(ApplicationLifecycle::terminatesAfterLastWindowClosed);
    // The keyring, the fields' accessibility, the tray and the one running copy are all reached
    // through the session bus: without it nothing Kestrelle offers could work. A missing Secret
    // Service alone is told where a password is needed, as the bus may still start one.
    if (!QDBusConnection::sessionBus().isConnected()) {
        std::fputs("kestrelle: no D-Bus session bus. Kestrelle needs the desktop session's bus "
                   "(DBUS_SESSION_BUS_ADDRESS).\n",
                   stderr);
        return 1;
    }
    followDesktopColourScheme(application);

    MainQueueExecutor executor;
    AtomicFileWriter writer;
    JsonKeyValueStore defaults(userConfigDirectory() / "kestrelle" / "preferences.json", writer);
    TrayStatusBar statusBar;
    X11HotKeyService hotKeys;
    DesktopServicesWorkspace systemWorkspace;
    QtAppActivationNotifier appActivations;
    QtRepeatingTimers timers;
    BackgroundQueue keychainQueue;
    SecretServiceBackend keychain;
    DesktopApprovalAuthenticator approvals;
    AtspiAccessibilityService accessibility(executor);
    X11ApplicationWorkspace workspace;
    X11ApplicationActivations activations;
    X11KeymapKeyboard keyboard;
    X11ClipboardOwner clipboard;
    MessageBoxAlerts alerts;
    DBusSessionInterruptions interruptions;
    NoSoftwareUpdater updater;
    auto loginItems = std::make_shared<AutostartLoginItem>(
        userConfigDirectory() / "autostart", runningExecutable(), writer,
        [&systemWorkspace](const std::filesystem::path& folder) {
            systemWorkspace.openUrl(QUrl::fromLocalFile(QString::fromStdString(folder.string()))
                                        .toString()
                                        .toStdString());
        });

    AppCoordinator::Platform platform{
        .executor = executor,
        .defaults = defaults,
        .statusBar = statusBar,
        .hotKeys = hotKeys,
        .trustProbe = &AtspiAccessibilityService::isAccessibilityBusEnabled,
        .trustPrompt = &AtspiAccessibilityService::enableAccessibilityBus,
        .systemWorkspace = systemWorkspace,
        .appActivations = appActivations,
        .timers = timers,
        .bundle = RunningBundle{runningExecutable().string(), std::string(fixedBundleIdentifier)},
        .loginItems = loginItems,
        .dataDirectory = userDataDirectory,
        .keychain = keychain,
        .keychainQueue = keychainQueue,
        .biometrics = approvals,
        .accessibility = accessibility,
        .workspace = workspace,
        .activations = activations,
        .makePickerPanel = [] { return std::make_unique<X11PasswordPickerPanel>(); },
        .keyboard = keyboard,
        .pasteboard = clipboard,
        .alerts = alerts,
        .interruptions = interruptions,
        .makeSettingsWindow = makeQtSettingsWindow,
        .updater = updater,
        .terminate = [] { QApplication::quit(); },
        .traits = PlatformTraits::x11(),
    };
    BusNameRunningInstances instances;
    NoMainMenu mainMenu;
    int status = 0;
    {
        auto coordinator = AppCoordinator::create(platform);
        ApplicationLifecycle lifecycle{{instances, mainMenu, coordinator, [] {}}};
        if (!lifecycle.didFinishLaunching()) {
            return 0;
        }
        if (std::getenv("WAYLAND_DISPLAY") != nullptr) {
            logger.notice("Running on XWayland: the shortcut and typing reach X11 windows only");
            alerts.present(xwaylandNotice());
        }
        status = QApplication::exec();
        lifecycle.willTerminate();
    }
    return status;
}

} // namespace
} // namespace kestrelle

int main(int argc, char** argv) {
    try {
        return kestrelle::run(argc, argv);
    } catch (const kestrelle::KestrelleError& error) {
        // A start that cannot go on (no folder for the settings, say) ends with one clear line.
        std::fprintf(stderr, "kestrelle: %s\n", error.description().c_str());
        return 1;
    }
}
