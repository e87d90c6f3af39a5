// For scripts/check-macos-syntax only, never built into the product: the members of the
// platform's AppKit that the app's windows and menus use and GNUstep's AppKit lacks.
#pragma once

@interface NSImage (InterfaceMembers)
+ (nullable NSImage *)imageWithSystemSymbolName:(NSString *)name accessibilityDescription:(nullable NSString *)description; // https://developer.apple.com/documentation/appkit/nsimage/init(systemsymbolname:accessibilitydescription:)
@end

@interface NSStatusItem (InterfaceMembers)
@property(copy) NSString *autosaveName; // https://developer.apple.com/documentation/appkit/nsstatusitem/autosavename-swift.property
- (void)setVisible:(BOOL)visible; // https://developer.apple.com/documentation/appkit/nsstatusitem/isvisible
@property(readonly, strong, nullable) NSStatusBarButton *button; // https://developer.apple.com/documentation/appkit/nsstatusitem/button
@end
