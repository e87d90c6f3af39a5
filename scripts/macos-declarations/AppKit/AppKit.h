// For scripts/check-macos-syntax only, never built into the product: GNUstep's AppKit, plus the
// members of the platform's AppKit that it lacks.
#pragma once
#import <Foundation/Foundation.h>
#include_next <AppKit/AppKit.h>

@interface NSPasteboard (PlatformMembers)
- (NSInteger)clearContents; // https://developer.apple.com/documentation/appkit/nspasteboard/clearcontents()
@end

@interface NSApplication (PlatformMembers)
- (BOOL)setActivationPolicy:(NSApplicationActivationPolicy)activationPolicy; // https://developer.apple.com/documentation/appkit/nsapplication/setactivationpolicy(_:)
@end
#import <AppKit/Interface.h>
