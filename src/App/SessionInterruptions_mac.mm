#include "App/SessionInterruptions_mac.h"

#import <AppKit/AppKit.h>

namespace kestrelle {

Subscription WorkspaceSessionInterruptions::observe(std::function<void()> handler) {
    NSNotificationCenter *workspace = [NSWorkspace sharedWorkspace].notificationCenter;
    NSNotificationCenter *distributed = [NSDistributedNotificationCenter defaultCenter];
    void (^interrupted)(NSNotification *) = ^(NSNotification *) {
        handler();
    };
    // No queue: both centres deliver on the main thread, and the block runs where they do.
    id resigned = [workspace addObserverForName:NSWorkspaceSessionDidResignActiveNotification
                                         object:nil
                                          queue:nil
                                     usingBlock:interrupted];
    id sleeping = [workspace addObserverForName:NSWorkspaceWillSleepNotification
                                         object:nil
                                          queue:nil
                                     usingBlock:interrupted];
    id locked = [distributed addObserverForName:@"com.apple.screenIsLocked"
                                         object:nil
                                          queue:nil
                                     usingBlock:interrupted];
    return Subscription([workspace, distributed, resigned, sleeping, locked] {
        [workspace removeObserver:resigned];
        [workspace removeObserver:sleeping];
        [distributed removeObserver:locked];
    });
}

} // namespace kestrelle
