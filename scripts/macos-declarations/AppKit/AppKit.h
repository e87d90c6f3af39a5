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

@interface NSWorkspace (PlatformMembers)
- (void)activateFileViewerSelectingURLs:(NSArray<NSURL *> *)fileURLs; // https://developer.apple.com/documentation/appkit/nsworkspace/activatefileviewerselecting(_:).md
@property(readonly, nullable) NSRunningApplication *frontmostApplication; // https://developer.apple.com/documentation/appkit/nsworkspace/frontmostapplication.md
@end
extern NSString *const NSWorkspaceDidActivateApplicationNotification; // https://developer.apple.com/tutorials/data/documentation/appkit/nsworkspace/didactivateapplicationnotification.md
extern NSString *const NSWorkspaceApplicationKey; // https://developer.apple.com/documentation/appkit/nsworkspace/applicationuserinfokey.md
#import <AppKit/Interface.h>
