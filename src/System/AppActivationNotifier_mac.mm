#include "System/AppActivationNotifier_mac.h"

#import <AppKit/AppKit.h>

namespace kestrelle {

Subscription ApplicationDidBecomeActive::observe(std::function<void()> handler) {
    NSNotificationCenter *center = [NSNotificationCenter defaultCenter];
    // No queue: the notification is posted on the main thread, and the block runs where it is.
    id observer = [center addObserverForName:NSApplicationDidBecomeActiveNotification
                                      object:NSApp
                                       queue:nil
                                  usingBlock:^(NSNotification *) {
                                      handler();
                                  }];
    return Subscription([center, observer] { [center removeObserver:observer]; });
}

} // namespace kestrelle
