#include "App/SettingsWindow_mac.h"

#include "Runtime/FoundationText_mac.h"
#include "Settings/GeneralPane_mac.h"
#include "Settings/PasswordsPane_mac.h"
#include "Settings/SettingsControls_mac.h"
#include "Settings/SettingsPane.h"

#import <AppKit/AppKit.h>

#include <algorithm>

@interface KESSettingsWindowDelegate : NSObject <NSWindowDelegate>
@property(nonatomic, copy) void (^willClose)(void);
@end

@implementation KESSettingsWindowDelegate

- (void)windowWillClose:(NSNotification *)notification {
    (void)notification;
    if (self.willClose) {
        self.willClose();
    }
}

@end

namespace kestrelle {

namespace {

class AppKitSettingsWindow final : public SettingsWindow {
  public:
    explicit AppKitSettingsWindow(SettingsWindowContent content)
        : model_(content.model), passwords_(content.model),
          general_(content.model, content.recorder) {
        const auto &appearance = content.appearance;
        NSWindow *window = [[NSWindow alloc]
            initWithContentRect:NSMakeRect(0, 0, appearance.width, appearance.height)
                      styleMask:NSWindowStyleMaskTitled | NSWindowStyleMaskClosable |
                                NSWindowStyleMaskMiniaturizable | NSWindowStyleMaskResizable
                        backing:NSBackingStoreBuffered
                          defer:NO];
        window.title = foundationString(appearance.title);
        // Kept when closed, so every opening reuses it where it was left.
        window.releasedWhenClosed = NO;
        window.contentMinSize = NSMakeSize(appearance.minimumWidth, appearance.minimumHeight);

        selector_ = [[NSSegmentedControl alloc] initWithFrame:NSZeroRect];
        selector_.segmentCount = static_cast<NSInteger>(allSettingsPanes.size());
        for (std::size_t index = 0; index < allSettingsPanes.size(); ++index) {
            const auto pane = allSettingsPanes[index];
            const auto segment = static_cast<NSInteger>(index);
            [selector_ setLabel:foundationString(title(pane)) forSegment:segment];
            [selector_ setImage:symbolImage(symbol(pane), title(pane)) forSegment:segment];
        }
        onAction(selector_, targets_, ^(id sender) {
            const auto segment = [static_cast<NSSegmentedControl *>(sender) selectedSegment];
            if (segment >= 0 && static_cast<std::size_t>(segment) < allSettingsPanes.size()) {
                select(allSettingsPanes[static_cast<std::size_t>(segment)]);
            }
        });
        NSStackView *root = verticalStack();
        root.alignment = NSLayoutAttributeCenterX;
        root.edgeInsets = NSEdgeInsetsMake(12, 0, 0, 0);
        [root addArrangedSubview:selector_];
        [root addArrangedSubview:passwords_.view()];
        [root addArrangedSubview:general_.view()];
        window.contentView = root;
        select(SettingsPane::passwords);
        [window center];

        delegate_ = [[KESSettingsWindowDelegate alloc] init];
        auto willClose = std::move(content.willClose);
        delegate_.willClose = ^{
            if (willClose) {
                willClose();
            }
        };
        window.delegate = delegate_;
        controller_ = [[NSWindowController alloc] initWithWindow:window];
    }

    void activateApplication() override {
        [[NSApplication sharedApplication] activateIgnoringOtherApps:YES];
    }

    void show() override {
        if (!isVisible()) {
            select(firstSettingsPane(model_->permissions().accessibilityGranted()));
        }
        [controller_ showWindow:nil];
    }

    void makeKeyAndOrderFront() override { [controller_.window makeKeyAndOrderFront:nil]; }

    bool isVisible() const override { return [controller_.window isVisible]; }

  private:
    void select(SettingsPane pane) {
        const auto found = std::ranges::find(allSettingsPanes, pane);
        selector_.selectedSegment = found - allSettingsPanes.begin();
        passwords_.view().hidden = pane != SettingsPane::passwords;
        general_.view().hidden = pane != SettingsPane::general;
    }

    std::shared_ptr<SettingsViewModel> model_;
    NSMutableArray *targets_ = [NSMutableArray array];
    AppKitPasswordsPane passwords_;
    AppKitGeneralPane general_;
    NSSegmentedControl *selector_ = nil;
    // The window keeps its delegate weakly.
    KESSettingsWindowDelegate *delegate_ = nil;
    NSWindowController *controller_ = nil;
};

} // namespace

std::unique_ptr<SettingsWindow> makeAppKitSettingsWindow(SettingsWindowContent content) {
    return std::make_unique<AppKitSettingsWindow>(std::move(content));
}

} // namespace kestrelle
