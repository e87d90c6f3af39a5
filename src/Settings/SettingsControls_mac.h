#pragma once

#include "Settings/SettingsTone.h"

#import <AppKit/AppKit.h>

#include <string_view>

// Runs a block when the control it targets sends its action. A control keeps its target
// weakly: whoever builds the control keeps the target (see kestrelle::onAction).
@interface KESActionTarget : NSObject
- (instancetype)initWithHandler:(void (^)(id sender))handler;
- (void)perform:(id)sender;
@end

// A one-line status: the symbol in the tone's colour, then the text.
@interface KESStatusLine : NSStackView
- (instancetype)initWithFrame:(NSRect)frame;
- (void)showStatus:(const kestrelle::SettingsStatusLabel &)status;
@end

namespace kestrelle {

// The system colours of a tone, which follow light and dark appearance.
NSColor *toneColor(SettingsTone tone);
NSImage *symbolImage(std::string_view name, std::string_view description);

NSStackView *verticalStack();
NSStackView *horizontalStack();
NSTextField *label(std::string_view text);
NSTextField *sectionTitle(std::string_view text);
// Secondary text that wraps at the panes' width.
NSTextField *caption(std::string_view text);
// `handler` runs on every action of `control`; `targets` keeps its target alive.
void onAction(NSControl *control, NSMutableArray *targets, void (^handler)(id sender));
NSButton *pushButton(std::string_view title, NSMutableArray *targets, void (^handler)(id sender));

} // namespace kestrelle
