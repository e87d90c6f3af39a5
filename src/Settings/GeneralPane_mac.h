#pragma once

#include "Preferences/HotkeyRecorderModel.h"
#include "Settings/SettingsControls_mac.h"
#include "Settings/SettingsViewModel.h"

#import <AppKit/AppKit.h>

#include <memory>

namespace kestrelle {

// The General pane in AppKit: the shortcut recorder and its status, the approval reuse period,
// the Accessibility permission with its troubleshooting, and launch at login, all drawn from
// the view model's General pane. Controls are updated in place, so the permission poll's
// redraws leave the keyboard focus alone.
class AppKitGeneralPane {
  public:
    AppKitGeneralPane(std::shared_ptr<SettingsViewModel> model,
                      std::shared_ptr<HotkeyRecorderModel> recorder);
    AppKitGeneralPane(const AppKitGeneralPane &) = delete;
    AppKitGeneralPane &operator=(const AppKitGeneralPane &) = delete;

    NSView *view() const { return view_; }

  private:
    struct Notice {
        NSStackView *view;
        KESStatusLine *status;
        NSTextField *explanation;
        NSButton *button;
    };

    NSView *makeShortcutSection();
    NSView *makeApprovalSection();
    NSView *makePermissionsSection();
    NSView *makeStartupSection();
    Notice makeNotice(std::size_t index);
    void noticeButtonClicked(std::size_t index);
    void redraw();
    void redrawRecorder();

    std::shared_ptr<SettingsViewModel> model_;
    std::shared_ptr<HotkeyRecorderModel> recorder_;
    GeneralPanePresentation shown_;
    NSMutableArray *targets_ = [NSMutableArray array];
    NSStackView *view_ = nil;
    NSButton *reset_ = nil;
    NSTextField *recorderLine_ = nil;
    KESStatusLine *shortcutStatus_ = nil;
    NSTextField *approvalTitle_ = nil;
    NSTextField *reuseWindowLabel_ = nil;
    NSPopUpButton *reuseWindow_ = nil;
    KESStatusLine *accessibilityStatus_ = nil;
    NSButton *grantAccess_ = nil;
    NSStackView *troubleshooting_ = nil;
    NSSwitch *launchAtLogin_ = nil;
    NSTextField *launchAtLoginCaption_ = nil;
    NSStackView *notices_ = nil;
    std::vector<Notice> noticeViews_;
    std::vector<Subscription> subscriptions_;
};

} // namespace kestrelle
