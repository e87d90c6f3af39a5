#include "Picker/PasswordPickerPanel_mac.h"

#include "Runtime/FoundationText_mac.h"
#include "Runtime/MacKey.h"

#import <AppKit/AppKit.h>

#include <vector>

namespace {

using kestrelle::PasswordPickerContent;

NSRect appKitRect(const kestrelle::Rect &rect) {
    return NSMakeRect(rect.x, rect.y, rect.width, rect.height);
}

kestrelle::Rect coreRect(NSRect rect) {
    return {rect.origin.x, rect.origin.y, rect.size.width, rect.size.height};
}

kestrelle::PasswordPickerKeyEvent pickerKeyEvent(NSEvent *event) {
    NSString *characters = event.charactersIgnoringModifiers;
    return {
        .key = kestrelle::keyFromMacKeyCode(event.keyCode),
        .characters =
            characters.length > 0 ? std::optional(kestrelle::utf8String(characters)) : std::nullopt,
        .modifierFlags = static_cast<std::uint64_t>(event.modifierFlags),
    };
}

} // namespace

// Takes the keyboard without activating the app, and hands its key-downs to the picker.
@interface KESPasswordPickerPanel : NSPanel
@property(nonatomic, copy) void (^keyDownHandler)(NSEvent *event);
@end

@implementation KESPasswordPickerPanel

- (BOOL)canBecomeKeyWindow {
    return YES;
}

- (BOOL)canBecomeMainWindow {
    return NO;
}

- (void)keyDown:(NSEvent *)event {
    if (self.keyDownHandler) {
        self.keyDownHandler(event);
    }
}

@end

@interface KESPasswordPickerPanelDelegate : NSObject <NSWindowDelegate>
@property(nonatomic, copy) void (^resignKeyHandler)(void);
@end

@implementation KESPasswordPickerPanelDelegate

- (void)windowDidResignKey:(NSNotification *)notification {
    (void)notification;
    if (self.resignKeyHandler) {
        self.resignKeyHandler();
    }
}

@end

// Rows are laid out from the top down.
@interface KESPasswordPickerDocumentView : NSView
@end

@implementation KESPasswordPickerDocumentView

- (BOOL)isFlipped {
    return YES;
}

@end

@interface KESPasswordPickerRowButton : NSButton
@property(nonatomic) BOOL pickerHighlighted;
@end

@implementation KESPasswordPickerRowButton

- (void)setPickerHighlighted:(BOOL)pickerHighlighted {
    _pickerHighlighted = pickerHighlighted;
    self.contentTintColor = pickerHighlighted ? [NSColor whiteColor] : [NSColor labelColor];
    [self setNeedsDisplay:YES];
}

- (void)drawRect:(NSRect)dirtyRect {
    if (self.pickerHighlighted) {
        [[[NSColor selectedContentBackgroundColor] colorWithAlphaComponent:0.85] setFill];
        [[NSBezierPath bezierPathWithRoundedRect:self.bounds xRadius:6 yRadius:6] fill];
    }
    [super drawRect:dirtyRect];
}

@end

// Draws the picker's content model: its rows, copy buttons, hint and Configure button, at the
// places its layout gives, and forwards their clicks to it.
@interface KESPasswordPickerContentView : NSView
- (instancetype)initWithFrame:(NSRect)frame;
- (void)setContent:(std::shared_ptr<const PasswordPickerContent>)content;
- (void)render;
- (void)updateHighlightRevealing:(std::optional<int>)row;
@end

@implementation KESPasswordPickerContentView {
    std::shared_ptr<const PasswordPickerContent> _content;
    NSScrollView *_scrollView;
    KESPasswordPickerDocumentView *_documentView;
    NSMutableArray<KESPasswordPickerRowButton *> *_rowButtons;
    NSMutableArray<NSButton *> *_copyButtons;
    NSTextField *_hintLabel;
    NSButton *_configureButton;
}

- (instancetype)initWithFrame:(NSRect)frame {
    self = [super initWithFrame:frame];
    if (self) {
        _rowButtons = [NSMutableArray array];
        _copyButtons = [NSMutableArray array];
        _documentView = [[KESPasswordPickerDocumentView alloc] initWithFrame:NSZeroRect];
        _scrollView = [[NSScrollView alloc] initWithFrame:self.bounds];
        _scrollView.drawsBackground = NO;
        _scrollView.borderType = NSNoBorder;
        _scrollView.hasVerticalScroller = YES;
        _scrollView.autohidesScrollers = YES;
        _scrollView.documentView = _documentView;
        [self addSubview:_scrollView];
    }
    return self;
}

- (void)setContent:(std::shared_ptr<const PasswordPickerContent>)content {
    _content = std::move(content);
}

- (void)drawRect:(NSRect)dirtyRect {
    (void)dirtyRect;
    [[[NSColor windowBackgroundColor] colorWithAlphaComponent:0.97] setFill];
    [[NSBezierPath bezierPathWithRoundedRect:self.bounds xRadius:10 yRadius:10] fill];
}

- (void)render {
    for (NSView *view in [_documentView.subviews copy]) {
        [view removeFromSuperview];
    }
    [_rowButtons removeAllObjects];
    [_copyButtons removeAllObjects];
    _hintLabel = nil;
    _configureButton = nil;
    if (!_content) {
        return;
    }
    for (const auto &row : _content->rows()) {
        KESPasswordPickerRowButton *button =
            [[KESPasswordPickerRowButton alloc] initWithFrame:NSZeroRect];
        button.bordered = NO;
        button.bezelStyle = NSBezelStyleInline;
        button.alignment = NSTextAlignmentLeft;
        button.focusRingType = NSFocusRingTypeNone;
        button.font = [NSFont systemFontOfSize:13];
        button.title = kestrelle::foundationString(row.title);
        button.toolTip = kestrelle::foundationString(row.toolTip);
        [button setAccessibilityLabel:kestrelle::foundationString(row.accessibilityLabel)];
        button.tag = row.tag;
        button.target = self;
        button.action = @selector(selectRow:);
        [_documentView addSubview:button];
        [_rowButtons addObject:button];

        NSButton *copy = [[NSButton alloc] initWithFrame:NSZeroRect];
        copy.image = [NSImage
            imageWithSystemSymbolName:kestrelle::foundationString(
                                          PasswordPickerContent::copySymbolName)
             accessibilityDescription:kestrelle::foundationString(
                                          PasswordPickerContent::copyAccessibilityDescription)];
        copy.imagePosition = NSImageOnly;
        copy.bordered = NO;
        copy.bezelStyle = NSBezelStyleInline;
        copy.focusRingType = NSFocusRingTypeNone;
        copy.tag = row.tag;
        copy.toolTip = kestrelle::foundationString(PasswordPickerContent::copyToolTip);
        copy.target = self;
        copy.action = @selector(copyRow:);
        [_documentView addSubview:copy];
        [_copyButtons addObject:copy];
    }
    if (_content->showsHint()) {
        _hintLabel = [NSTextField
            labelWithString:kestrelle::foundationString(PasswordPickerContent::hintText)];
        _hintLabel.font = [NSFont systemFontOfSize:12];
        _hintLabel.textColor = [NSColor secondaryLabelColor];
        [_documentView addSubview:_hintLabel];
    }
    if (_content->showsConfigureButton()) {
        _configureButton = [[NSButton alloc] initWithFrame:NSZeroRect];
        _configureButton.bezelStyle = NSBezelStylePush;
        _configureButton.title = kestrelle::foundationString(PasswordPickerContent::configureTitle);
        _configureButton.target = self;
        _configureButton.action = @selector(configure:);
        [_documentView addSubview:_configureButton];
    }
    [self layOut];
    [self updateHighlightRevealing:std::nullopt];
    [_scrollView.contentView scrollToPoint:NSZeroPoint];
    [_scrollView reflectScrolledClipView:_scrollView.contentView];
}

- (void)setFrameSize:(NSSize)size {
    [super setFrameSize:size];
    [self layOut];
}

- (void)layOut {
    _scrollView.frame = self.bounds;
    if (!_content) {
        return;
    }
    const auto layout = _content->layout(self.bounds.size.width);
    _documentView.frame = appKitRect(layout.document);
    for (NSUInteger index = 0; index < _rowButtons.count && index < layout.rows.size(); ++index) {
        _rowButtons[index].frame = appKitRect(layout.rows[index]);
        _copyButtons[index].frame = appKitRect(layout.copyButtons[index]);
    }
    if (_hintLabel && layout.hint) {
        _hintLabel.frame = appKitRect(*layout.hint);
    }
    if (_configureButton && layout.configureButton) {
        _configureButton.frame = appKitRect(*layout.configureButton);
    }
}

- (void)updateHighlightRevealing:(std::optional<int>)row {
    if (!_content) {
        return;
    }
    for (NSUInteger index = 0; index < _rowButtons.count; ++index) {
        const bool highlighted =
            _content->tone(static_cast<int>(index)) == PasswordPickerContent::Tone::highlighted;
        _rowButtons[index].pickerHighlighted = highlighted;
        _copyButtons[index].contentTintColor =
            highlighted ? [NSColor whiteColor] : [NSColor secondaryLabelColor];
    }
    if (row && *row >= 0 && static_cast<NSUInteger>(*row) < _rowButtons.count) {
        KESPasswordPickerRowButton *button = _rowButtons[static_cast<NSUInteger>(*row)];
        [button scrollRectToVisible:button.bounds];
    }
}

- (void)selectRow:(NSButton *)sender {
    NSEvent *event = [NSApplication sharedApplication].currentEvent;
    if (_content) {
        _content->clickRow(static_cast<int>(sender.tag),
                           event ? static_cast<std::uint64_t>(event.modifierFlags) : 0);
    }
}

- (void)copyRow:(NSButton *)sender {
    if (_content) {
        _content->clickCopyButton(static_cast<int>(sender.tag));
    }
}

- (void)configure:(NSButton *)sender {
    (void)sender;
    if (_content) {
        _content->clickConfigure();
    }
}

@end

namespace kestrelle {

namespace {

class EventMonitor final : public PasswordPickerPanel::Monitor {
  public:
    explicit EventMonitor(id token) : token_(token) {}
    ~EventMonitor() override {
        // Removing a monitor twice over-releases it: only the owner removes it, once.
        [NSEvent removeMonitor:token_];
    }
    EventMonitor(const EventMonitor &) = delete;
    EventMonitor &operator=(const EventMonitor &) = delete;

  private:
    id token_;
};

std::unique_ptr<PasswordPickerPanel::Monitor> adopt(id token) {
    if (token == nil) {
        return nullptr;
    }
    return std::make_unique<EventMonitor>(token);
}

const NSEventMask clickMask = NSEventMaskLeftMouseDown | NSEventMaskRightMouseDown;

class AppKitPasswordPickerPanel final : public PasswordPickerPanel {
  public:
    AppKitPasswordPickerPanel()
        : panel_([[KESPasswordPickerPanel alloc]
              initWithContentRect:NSMakeRect(0, 0, 320, 100)
                        styleMask:NSWindowStyleMaskNonactivatingPanel
                          backing:NSBackingStoreBuffered
                            defer:NO]),
          contentView_(
              [[KESPasswordPickerContentView alloc] initWithFrame:NSMakeRect(0, 0, 320, 100)]),
          delegate_([[KESPasswordPickerPanelDelegate alloc] init]) {
        panel_.floatingPanel = YES;
        panel_.hidesOnDeactivate = NO;
        // Above menus and full-screen apps.
        panel_.level = NSScreenSaverWindowLevel;
        panel_.collectionBehavior = NSWindowCollectionBehaviorMoveToActiveSpace |
                                    NSWindowCollectionBehaviorFullScreenAuxiliary;
        panel_.opaque = NO;
        panel_.backgroundColor = [NSColor clearColor];
        panel_.hasShadow = YES;
        panel_.releasedWhenClosed = NO;
        panel_.animationBehavior = NSWindowAnimationBehaviorNone;
        panel_.becomesKeyOnlyIfNeeded = NO;
        panel_.contentView = contentView_;
        panel_.delegate = delegate_;
    }

    void setContent(std::shared_ptr<const PasswordPickerContent> content) override {
        [contentView_ setContent:std::move(content)];
    }

    void setKeyDownHandler(std::function<void(const PasswordPickerKeyEvent &)> handler) override {
        panel_.keyDownHandler = ^(NSEvent *event) {
            handler(pickerKeyEvent(event));
        };
    }

    void setResignKeyHandler(std::function<void()> handler) override {
        delegate_.resignKeyHandler = ^{
            handler();
        };
    }

    void renderContent() override { [contentView_ render]; }

    void updateHighlight(std::optional<int> rowToReveal) override {
        [contentView_ updateHighlightRevealing:rowToReveal];
    }

    void setContentSize(Size size) override {
        [panel_ setContentSize:NSMakeSize(size.width, size.height)];
    }

    void setFrameOrigin(Point origin) override {
        [panel_ setFrameOrigin:NSMakePoint(origin.x, origin.y)];
    }

    void orderFrontRegardless() override { [panel_ orderFrontRegardless]; }
    void makeKeyWindow() override { [panel_ makeKeyWindow]; }
    void orderOut() override { [panel_ orderOut:nil]; }
    bool isKeyWindow() const override { return [panel_ isKeyWindow]; }
    bool isVisible() const override { return [panel_ isVisible]; }

    std::unique_ptr<Monitor>
    addLocalKeyMonitor(std::function<bool(const PasswordPickerKeyEvent &)> handler) override {
        return adopt([NSEvent
            addLocalMonitorForEventsMatchingMask:NSEventMaskKeyDown
                                         handler:^NSEvent *(NSEvent *event) {
                                             return handler(pickerKeyEvent(event)) ? nil : event;
                                         }]);
    }

    std::unique_ptr<Monitor>
    addLocalClickMonitor(std::function<void(bool onPanel)> handler) override {
        KESPasswordPickerPanel *__weak panel = panel_;
        return adopt([NSEvent addLocalMonitorForEventsMatchingMask:clickMask
                                                           handler:^NSEvent *(NSEvent *event) {
                                                               handler(event.window == panel);
                                                               return event;
                                                           }]);
    }

    std::unique_ptr<Monitor> addGlobalClickMonitor(std::function<void()> handler) override {
        return adopt([NSEvent addGlobalMonitorForEventsMatchingMask:clickMask
                                                            handler:^(NSEvent *event) {
                                                                (void)event;
                                                                handler();
                                                            }]);
    }

    Point pointerLocation() const override {
        const NSPoint location = [NSEvent mouseLocation];
        return {location.x, location.y};
    }

    std::vector<Screen> screens() const override {
        std::vector<Screen> screens;
        for (NSScreen *screen in [NSScreen screens]) {
            screens.push_back({coreRect(screen.frame), coreRect(screen.visibleFrame)});
        }
        return screens;
    }

    std::optional<Screen> mainScreen() const override {
        NSScreen *screen = [NSScreen mainScreen];
        if (screen == nil) {
            return std::nullopt;
        }
        return Screen{coreRect(screen.frame), coreRect(screen.visibleFrame)};
    }

  private:
    KESPasswordPickerPanel *panel_;
    KESPasswordPickerContentView *contentView_;
    // The panel keeps its delegate weakly.
    KESPasswordPickerPanelDelegate *delegate_;
};

} // namespace

std::unique_ptr<PasswordPickerPanel> makePasswordPickerPanel() {
    return std::make_unique<AppKitPasswordPickerPanel>();
}

} // namespace kestrelle
