#include "Invocation/ApplicationActivations_mac.h"

#import <AppKit/AppKit.h>

namespace kestrelle {

Subscription WorkspaceApplicationActivations::observe(Handler handler) {
    NSNotificationCenter *center = [NSWorkspace sharedWorkspace].notificationCenter;
    // No queue: the workspace posts on the main thread, and the block runs where it posts.
    id observer = [center
        addObserverForName:NSWorkspaceDidActivateApplicationNotification
                    object:nil
                     queue:nil
                usingBlock:^(NSNotification *notification) {
                    NSRunningApplication *application =
                        notification.userInfo[NSWorkspaceApplicationKey];
                    NSString *bundle = application.bundleIdentifier;
                    handler(application == nil
                                ? std::nullopt
                                : std::optional<std::int32_t>(application.processIdentifier),
                            bundle == nil ? std::nullopt
                                          : std::optional<std::string>(bundle.UTF8String));
                }];
    return Subscription([center, observer] { [center removeObserver:observer]; });
}

} // namespace kestrelle
