// The macOS program: the portable app on the main queue, with AppKit's windows and menus.
#include "App/AppCoordinator.h"
#include "App/ApplicationLifecycle.h"
#include "App/MainMenuInstalling_mac.h"
#include "App/RunningInstances_mac.h"
#include "App/SessionInterruptions_mac.h"
#include "App/SettingsWindow_mac.h"
#include "App/SoftwareUpdater_mac.h"
#include "App/StatusBar_mac.h"
#include "Invocation/AccessibilityService_mac.h"
#include "Invocation/AlertPresenting_mac.h"
#include "Invocation/ApplicationActivations_mac.h"
#include "Invocation/ApplicationWorkspace_mac.h"
#include "Invocation/KeyboardEventPosting_mac.h"
#include "Invocation/PasteboardService_mac.h"
#include "Picker/PasswordPickerPanel_mac.h"
#include "Preferences/UserDefaultsStore_mac.h"
#include "Runtime/FoundationText_mac.h"
#include "Runtime/Logger.h"
#include "Runtime/MainQueueExecutor.h"
#include "Runtime/SerialQueue.h"
#include "Runtime/UnifiedLogSink_mac.h"
#include "Security/BiometricAuthenticator_mac.h"
#include "Shortcut/HotKeyService_mac.h"
#include "Storage/KeychainBackend_mac.h"
#include "Storage/ProtectedFileSystem_mac.h"
#include "Storage/UserDataDirectory.h"
#include "System/AppActivationNotifier_mac.h"
#include "System/LoginItemSystemService_mac.h"
#include "System/RepeatingTimerScheduling_mac.h"
#include "System/SystemWorkspace_mac.h"

#import <AppKit/AppKit.h>

#include <memory>

namespace kestrelle {

namespace {

RunningBundle runningBundle() {
    NSBundle *bundle = [NSBundle mainBundle];
    NSString *identifier = bundle.bundleIdentifier;
    return RunningBundle{
        .path = utf8String(bundle.bundlePath),
        .identifier =
            identifier == nil ? std::nullopt : std::optional<std::string>(utf8String(identifier)),
    };
}

// Every adapter the app runs on, made once at launch and kept until termination; members are
// destroyed in reverse, so the coordinator goes before the services it holds references to.
struct MacShell {
    MainQueueExecutor executor;
    std::unique_ptr<KeyValueStore> defaults = makeStandardUserDefaults();
    std::unique_ptr<StatusBar> statusBar = makeSystemStatusBar();
    std::unique_ptr<HotKeyService> hotKeys = makeCarbonHotKeyService();
    std::unique_ptr<SystemWorkspace> systemWorkspace = makeSharedWorkspace();
    ApplicationDidBecomeActive appActivations;
    RunLoopRepeatingTimers timers;
    BackgroundQueue keychainQueue;
    std::unique_ptr<KeychainBackend> keychain = makeDataProtectionKeychain();
    std::unique_ptr<BiometricContextCreating> biometrics = makeLocalAuthenticationContexts();
    std::unique_ptr<AccessibilityService> accessibility = makeAxAccessibilityService();
    NSWorkspaceApplications workspace;
    WorkspaceApplicationActivations activations;
    std::unique_ptr<KeyboardEventPosting> keyboard = makeQuartzKeyboardEvents();
    std::unique_ptr<PasteboardService> pasteboard = makeGeneralPasteboard();
    std::unique_ptr<AlertPresenting> alerts = makeModalAlerts();
    WorkspaceSessionInterruptions interruptions;
    std::unique_ptr<SoftwareUpdater> updater = makeSoftwareUpdater();
    LaunchServicesRunningInstances instances;
    std::unique_ptr<MainMenuInstalling> mainMenu = makeApplicationMainMenu();
    AppCoordinator::Platform platform{
        .executor = executor,
        .defaults = *defaults,
        .statusBar = *statusBar,
        .hotKeys = *hotKeys,
        .trustProbe = isAccessibilityTrusted,
        .trustPrompt = promptForAccessibilityTrust,
        .systemWorkspace = *systemWorkspace,
        .appActivations = appActivations,
        .timers = timers,
        .bundle = runningBundle(),
        .loginItems = makeMainAppLoginItem(),
        .dataDirectory = userDataDirectory,
        .makeFileSystem = [] { return std::make_unique<ProtectedFileSystem>(); },
        .keychain = *keychain,
        .keychainQueue = keychainQueue,
        .biometrics = *biometrics,
        .accessibility = *accessibility,
        .workspace = workspace,
        .activations = activations,
        .makePickerPanel = makePasswordPickerPanel,
        .keyboard = std::ref(*keyboard),
        .pasteboard = *pasteboard,
        .alerts = *alerts,
        .interruptions = interruptions,
        .makeSettingsWindow = makeAppKitSettingsWindow,
        .updater = *updater,
        .terminate = [] { [NSApp terminate:nil]; },
        .traits = PlatformTraits::macOS(),
    };
    ApplicationLifecycle lifecycle{{
        .instances = instances,
        .mainMenu = *mainMenu,
        .coordinator = AppCoordinator::create(platform),
        .showAboutPanel = [] { [NSApp orderFrontStandardAboutPanel:nil]; },
    }};
};

} // namespace

} // namespace kestrelle

@interface KESAppDelegate : NSObject <NSApplicationDelegate>
@end

@implementation KESAppDelegate {
    std::unique_ptr<kestrelle::MacShell> _shell;
}

- (void)applicationDidFinishLaunching:(NSNotification *)notification {
    (void)notification;
    kestrelle::Logger::setSink(kestrelle::makeUnifiedLogSink());
    _shell = std::make_unique<kestrelle::MacShell>();
    // When another copy was brought forward instead, this one is already quitting.
    _shell->lifecycle.didFinishLaunching();
}

- (void)applicationWillTerminate:(NSNotification *)notification {
    (void)notification;
    if (_shell) {
        _shell->lifecycle.willTerminate();
    }
}

- (BOOL)applicationShouldTerminateAfterLastWindowClosed:(NSApplication *)sender {
    (void)sender;
    return kestrelle::ApplicationLifecycle::terminatesAfterLastWindowClosed;
}

@end

int main(int argc, const char *argv[]) {
    (void)argc;
    (void)argv;
    @autoreleasepool {
        NSApplication *application = [NSApplication sharedApplication];
        // The application keeps its delegate weakly.
        KESAppDelegate *delegate = [[KESAppDelegate alloc] init];
        application.delegate = delegate;
        // A menu-bar accessory: no Dock icon.
        [application setActivationPolicy:NSApplicationActivationPolicyAccessory];
        [application run];
    }
    return 0;
}
