#include "Settings/SettingsControls_mac.h"

#include "Runtime/FoundationText_mac.h"

namespace {

// The narrowest Settings window's content width: captions wrap there.
constexpr CGFloat captionWidth = 560;

} // namespace

@implementation KESActionTarget {
    void (^_handler)(id sender);
}

- (instancetype)initWithHandler:(void (^)(id sender))handler {
    self = [super init];
    if (self) {
        _handler = [handler copy];
    }
    return self;
}

- (void)perform:(id)sender {
    _handler(sender);
}

@end

@implementation KESStatusLine {
    NSImageView *_symbol;
    NSTextField *_text;
}

- (instancetype)initWithFrame:(NSRect)frame {
    self = [super initWithFrame:frame];
    if (self) {
        self.orientation = NSUserInterfaceLayoutOrientationHorizontal;
        _symbol = [[NSImageView alloc] initWithFrame:NSZeroRect];
        _text = kestrelle::label({});
        [self addArrangedSubview:_symbol];
        [self addArrangedSubview:_text];
    }
    return self;
}

- (void)showStatus:(const kestrelle::SettingsStatusLabel &)status {
    // The text says it all; the symbol is decoration VoiceOver skips.
    _symbol.image = kestrelle::symbolImage(status.symbol, {});
    _symbol.contentTintColor = kestrelle::toneColor(status.tone);
    _symbol.hidden = _symbol.image == nil;
    _text.stringValue = kestrelle::foundationString(status.text);
    _text.textColor = status.tone == kestrelle::SettingsTone::neutral
                          ? [NSColor labelColor]
                          : kestrelle::toneColor(status.tone);
}

@end

namespace kestrelle {

NSColor *toneColor(SettingsTone tone) {
    switch (tone) {
    case SettingsTone::positive:
        return [NSColor systemGreenColor];
    case SettingsTone::caution:
        return [NSColor systemOrangeColor];
    case SettingsTone::critical:
        return [NSColor systemRedColor];
    case SettingsTone::neutral:
        break;
    }
    return [NSColor secondaryLabelColor];
}

NSImage *symbolImage(std::string_view name, std::string_view description) {
    if (name.empty()) {
        return nil;
    }
    return [NSImage
        imageWithSystemSymbolName:foundationString(name)
         accessibilityDescription:description.empty() ? nil : foundationString(description)];
}

NSStackView *verticalStack() {
    NSStackView *stack = [[NSStackView alloc] initWithFrame:NSZeroRect];
    stack.orientation = NSUserInterfaceLayoutOrientationVertical;
    stack.alignment = NSLayoutAttributeLeading;
    return stack;
}

NSStackView *horizontalStack() {
    NSStackView *stack = [[NSStackView alloc] initWithFrame:NSZeroRect];
    stack.orientation = NSUserInterfaceLayoutOrientationHorizontal;
    return stack;
}

NSTextField *label(std::string_view text) {
    return [NSTextField labelWithString:foundationString(text)];
}

NSTextField *sectionTitle(std::string_view text) {
    NSTextField *title = label(text);
    title.font = [NSFont boldSystemFontOfSize:[NSFont systemFontSize]];
    return title;
}

NSTextField *caption(std::string_view text) {
    NSTextField *caption = [NSTextField wrappingLabelWithString:foundationString(text)];
    caption.font = [NSFont systemFontOfSize:[NSFont smallSystemFontSize]];
    caption.textColor = [NSColor secondaryLabelColor];
    caption.preferredMaxLayoutWidth = captionWidth;
    return caption;
}

void onAction(NSControl *control, NSMutableArray *targets, void (^handler)(id sender)) {
    KESActionTarget *target = [[KESActionTarget alloc] initWithHandler:handler];
    [targets addObject:target];
    control.target = target;
    control.action = @selector(perform:);
}

NSButton *pushButton(std::string_view title, NSMutableArray *targets, void (^handler)(id sender)) {
    NSButton *button = [[NSButton alloc] initWithFrame:NSZeroRect];
    button.bezelStyle = NSBezelStylePush;
    button.title = foundationString(title);
    onAction(button, targets, handler);
    return button;
}

} // namespace kestrelle
