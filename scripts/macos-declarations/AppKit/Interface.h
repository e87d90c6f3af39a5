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

@interface NSEvent (InterfaceMembers)
+ (nullable id)addLocalMonitorForEventsMatchingMask:(NSEventMask)mask handler:(NSEvent *_Nullable (^)(NSEvent *event))block; // https://developer.apple.com/documentation/appkit/nsevent/addlocalmonitorforevents(matching:handler:)
+ (nullable id)addGlobalMonitorForEventsMatchingMask:(NSEventMask)mask handler:(void (^)(NSEvent *event))block; // https://developer.apple.com/documentation/appkit/nsevent/addglobalmonitorforevents(matching:handler:)
+ (void)removeMonitor:(id)eventMonitor; // https://developer.apple.com/documentation/appkit/nsevent/removemonitor(_:)
@end
extern const NSEventMask NSEventMaskKeyDown; // https://developer.apple.com/documentation/appkit/nsevent/eventtypemask/keydown
extern const NSEventMask NSEventMaskLeftMouseDown; // https://developer.apple.com/documentation/appkit/nsevent/eventtypemask
extern const NSEventMask NSEventMaskRightMouseDown; // https://developer.apple.com/documentation/appkit/nsevent/eventtypemask

typedef NSInteger NSWindowAnimationBehavior; // https://developer.apple.com/documentation/appkit/nswindow/animationbehavior-swift.enum
extern const NSWindowAnimationBehavior NSWindowAnimationBehaviorNone; // https://developer.apple.com/documentation/appkit/nswindow/animationbehavior-swift.enum/none
@interface NSWindow (InterfaceMembers)
@property NSWindowAnimationBehavior animationBehavior; // https://developer.apple.com/documentation/appkit/nswindow/animationbehavior-swift.property
@end

extern const NSBezelStyle NSBezelStyleInline; // https://developer.apple.com/documentation/appkit/nsbutton/bezelstyle-swift.enum/inline
extern const NSBezelStyle NSBezelStylePush; // https://developer.apple.com/documentation/appkit/nsbutton/bezelstyle-swift.enum/push
@interface NSButton (InterfaceMembers)
@property(copy, nullable) NSColor *contentTintColor; // https://developer.apple.com/documentation/appkit/nsbutton/contenttintcolor
@end

@interface NSColor (InterfaceMembers)
@property(class, readonly, strong) NSColor *selectedContentBackgroundColor; // https://developer.apple.com/documentation/appkit/nscolor/selectedcontentbackgroundcolor
@end

@interface NSTextField (InterfaceMembers)
+ (instancetype)labelWithString:(NSString *)stringValue; // https://developer.apple.com/documentation/appkit/nstextfield/init(labelwithstring:)
@end

@interface NSView (InterfaceMembers)
- (void)setAccessibilityLabel:(nullable NSString *)accessibilityLabel; // https://developer.apple.com/documentation/appkit/nsaccessibilityprotocol/setaccessibilitylabel(_:)
@end

@interface NSImageView (InterfaceMembers)
@property(copy, nullable) NSColor *contentTintColor; // https://developer.apple.com/documentation/appkit/nsimageview/contenttintcolor
@end

@interface NSTextField (WrappingMembers)
+ (instancetype)wrappingLabelWithString:(NSString *)stringValue; // https://developer.apple.com/documentation/appkit/nstextfield/init(wrappinglabelwithstring:)
@property CGFloat preferredMaxLayoutWidth; // https://developer.apple.com/documentation/appkit/nstextfield/preferredmaxlayoutwidth
@end

@interface NSStackView : NSView // https://developer.apple.com/documentation/appkit/nsstackview
@property NSUserInterfaceLayoutOrientation orientation; // https://developer.apple.com/documentation/appkit/nsstackview/orientation
@property NSLayoutAttribute alignment; // https://developer.apple.com/documentation/appkit/nsstackview/alignment
@property NSEdgeInsets edgeInsets; // https://developer.apple.com/documentation/appkit/nsstackview/edgeinsets
- (void)addArrangedSubview:(NSView *)view; // https://developer.apple.com/documentation/appkit/nsstackview/addarrangedsubview(_:)
@end

@interface NSView (ConstraintMembers)
- (void)setAccessibilityValueDescription:(nullable NSString *)accessibilityValueDescription; // https://developer.apple.com/documentation/appkit/nsaccessibility-c.protocol/accessibilityvaluedescription
@end

@interface NSButton (DestructiveMembers)
@property BOOL hasDestructiveAction; // https://developer.apple.com/documentation/appkit/nsbutton/hasdestructiveaction
@end

@interface NSAlert (SheetMembers)
- (void)beginSheetModalForWindow:(NSWindow *)sheetWindow completionHandler:(void (^_Nullable)(NSModalResponse returnCode))handler; // https://developer.apple.com/documentation/appkit/nsalert/beginsheetmodal(for:completionhandler:)
@end

@interface NSWindow (SheetMembers)
- (void)beginSheet:(NSWindow *)sheetWindow completionHandler:(void (^_Nullable)(NSModalResponse returnCode))handler; // https://developer.apple.com/documentation/appkit/nswindow/beginsheet(_:completionhandler:)
- (void)endSheet:(NSWindow *)sheetWindow; // https://developer.apple.com/documentation/appkit/nswindow/endsheet(_:)-4dmmq
@end
