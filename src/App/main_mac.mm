// The macOS program: the portable app on the main queue, with AppKit's windows and menus.
#include "App/ApplicationLifecycle.h"
#include "App/MainMenuInstalling_mac.h"
#include "App/SoftwareUpdater_mac.h"
#include "App/StatusBar_mac.h"
#include "Invocation/AlertPresenting_mac.h"
#include "Runtime/MainQueueExecutor.h"

#import <AppKit/AppKit.h>

#include <memory>

namespace kestrelle {

namespace {

// The adapters the app's shell draws with, made once at launch and kept until termination.
struct MacShell {
    MainQueueExecutor executor;
    std::unique_ptr<StatusBar> statusBar = makeSystemStatusBar();
    std::unique_ptr<MainMenuInstalling> mainMenu = makeApplicationMainMenu();
    std::unique_ptr<AlertPresenting> alerts = makeModalAlerts();
    std::unique_ptr<SoftwareUpdater> updater = makeSoftwareUpdater();
    std::unique_ptr<ApplicationLifecycle> lifecycle;

    void launch() {
        // Still to wire: the coordinator's platform record (AppCoordinator::Platform) with the
        // hot-key, user-defaults, data-directory, accessibility, workspace, activation, session,
        // running-instance, timer and login-item adapters, then an ApplicationLifecycle over it,
        // as main_linux.cpp does, with makePickerPanel = makePasswordPickerPanel
        // (Picker/PasswordPickerPanel_mac.h) and makeSettingsWindow = makeAppKitSettingsWindow
        // (App/SettingsWindow_mac.h). Until then the shell starts nothing.
    }

    void terminate() {
        if (lifecycle) {
            lifecycle->willTerminate();
        }
    }
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
    _shell = std::make_unique<kestrelle::MacShell>();
    _shell->launch();
}

- (void)applicationWillTerminate:(NSNotification *)notification {
    (void)notification;
    if (_shell) {
        _shell->terminate();
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
