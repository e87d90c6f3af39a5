#include "Settings/GeneralPane_mac.h"

#include "Runtime/FoundationText_mac.h"
#include "Settings/HotkeyRecorderButton_mac.h"

namespace kestrelle {

namespace {

using Pane = GeneralPanePresentation;

NSStackView *section(NSTextField *title, NSArray<NSView *> *content) {
    NSStackView *section = verticalStack();
    [section addArrangedSubview:title];
    for (NSView *view in content) {
        [section addArrangedSubview:view];
    }
    return section;
}

} // namespace

AppKitGeneralPane::AppKitGeneralPane(std::shared_ptr<SettingsViewModel> model,
                                     std::shared_ptr<HotkeyRecorderModel> recorder)
    : model_(std::move(model)), recorder_(std::move(recorder)), shown_(model_->generalPane()) {
    view_ = verticalStack();
    view_.edgeInsets = NSEdgeInsetsMake(20, 20, 20, 20);
    [view_ addArrangedSubview:makeShortcutSection()];
    [view_ addArrangedSubview:makeApprovalSection()];
    [view_ addArrangedSubview:makePermissionsSection()];
    [view_ addArrangedSubview:makeStartupSection()];
    subscriptions_.push_back(model_->subscribePanes([this] { redraw(); }));
    subscriptions_.push_back(recorder_->subscribe([this] { redrawRecorder(); }));
    redraw();
}

NSView *AppKitGeneralPane::makeShortcutSection() {
    KESRecorderButton *recorderButton = [[KESRecorderButton alloc] initWithModel:recorder_];
    auto recorder = recorder_;
    reset_ = pushButton(HotkeyRecorderModel::resetTitle, targets_, ^(id) {
        recorder->reset();
    });
    NSStackView *buttons = horizontalStack();
    [buttons addArrangedSubview:recorderButton];
    [buttons addArrangedSubview:reset_];
    recorderLine_ = caption({});
    shortcutStatus_ = [[KESStatusLine alloc] initWithFrame:NSZeroRect];
    return section(
        sectionTitle(Pane::shortcutSectionTitle),
        @[ buttons, recorderLine_, shortcutStatus_, caption(shown_.shortcutCaption.text) ]);
}

NSView *AppKitGeneralPane::makeApprovalSection() {
    approvalTitle_ = sectionTitle({});
    reuseWindowLabel_ = label({});
    reuseWindow_ = [[NSPopUpButton alloc] initWithFrame:NSZeroRect pullsDown:NO];
    for (const auto &choice : shown_.reuseWindowChoices) {
        [reuseWindow_ addItemWithTitle:foundationString(choice.title)];
    }
    auto model = model_;
    auto *shown = &shown_;
    onAction(reuseWindow_, targets_, ^(id sender) {
        const auto index = [static_cast<NSPopUpButton *>(sender) indexOfSelectedItem];
        if (index >= 0 && static_cast<std::size_t>(index) < shown->reuseWindowChoices.size()) {
            model->settings().setBiometricReuseWindow(
                shown->reuseWindowChoices[static_cast<std::size_t>(index)].window);
        }
    });
    NSStackView *row = horizontalStack();
    [row addArrangedSubview:reuseWindowLabel_];
    [row addArrangedSubview:reuseWindow_];
    return section(approvalTitle_, @[ row, caption(shown_.reuseWindowCaption.text) ]);
}

NSView *AppKitGeneralPane::makePermissionsSection() {
    auto model = model_;
    accessibilityStatus_ = [[KESStatusLine alloc] initWithFrame:NSZeroRect];
    grantAccess_ = pushButton({}, targets_, ^(id) {
        model->permissions().requestAccess();
    });
    NSStackView *row = horizontalStack();
    [row addArrangedSubview:label(Pane::accessibilityTitle)];
    [row addArrangedSubview:accessibilityStatus_];
    [row addArrangedSubview:grantAccess_];

    NSStackView *buttons = horizontalStack();
    [buttons addArrangedSubview:pushButton(Pane::revealRunningCopyTitle, targets_, ^(id) {
                 model->permissions().revealRunningApp();
             })];
    [buttons addArrangedSubview:pushButton(Pane::openSystemSettingsTitle, targets_, ^(id) {
                 model->permissions().openAccessibilitySettings();
             })];
    troubleshooting_ = verticalStack();
    [troubleshooting_ addArrangedSubview:caption(Pane::troubleshootingText)];
    [troubleshooting_ addArrangedSubview:buttons];
    return section(sectionTitle(Pane::permissionsSectionTitle),
                   @[ row, caption(shown_.accessibilityCaption.text), troubleshooting_ ]);
}

NSView *AppKitGeneralPane::makeStartupSection() {
    launchAtLogin_ = [[NSSwitch alloc] initWithFrame:NSZeroRect];
    [launchAtLogin_ setAccessibilityLabel:foundationString(Pane::launchAtLoginTitle)];
    auto model = model_;
    auto *shown = &shown_;
    onAction(launchAtLogin_, targets_, ^(id sender) {
        NSSwitch *toggle = sender;
        model->setLaunchAtLogin(toggle.state == NSControlStateValueOn);
        // The switch shows the login item's state, not the click: the model sets it when that
        // changes.
        toggle.state = shown->launchAtLoginIsOn ? NSControlStateValueOn : NSControlStateValueOff;
    });
    NSStackView *row = horizontalStack();
    [row addArrangedSubview:label(Pane::launchAtLoginTitle)];
    [row addArrangedSubview:launchAtLogin_];
    launchAtLoginCaption_ = caption(shown_.launchAtLoginCaption.text);
    notices_ = verticalStack();
    return section(sectionTitle(Pane::startupSectionTitle),
                   @[ row, launchAtLoginCaption_, notices_ ]);
}

AppKitGeneralPane::Notice AppKitGeneralPane::makeNotice(std::size_t index) {
    Notice notice{
        .view = verticalStack(),
        .status = [[KESStatusLine alloc] initWithFrame:NSZeroRect],
        .explanation = caption({}),
        .button = pushButton({}, targets_,
                             ^(id) {
                                 noticeButtonClicked(index);
                             }),
    };
    [notice.view addArrangedSubview:notice.status];
    [notice.view addArrangedSubview:notice.explanation];
    [notice.view addArrangedSubview:notice.button];
    [notices_ addArrangedSubview:notice.view];
    return notice;
}

void AppKitGeneralPane::noticeButtonClicked(std::size_t index) {
    if (index >= shown_.startupNotices.size() || !shown_.startupNotices[index].button) {
        return;
    }
    model_->perform(shown_.startupNotices[index].button->action);
}

void AppKitGeneralPane::redraw() {
    shown_ = model_->generalPane();
    [shortcutStatus_ showStatus:shown_.shortcutStatus];

    approvalTitle_.stringValue = foundationString(shown_.approvalSectionTitle);
    reuseWindowLabel_.stringValue = foundationString(shown_.reuseWindowPickerLabel);
    [reuseWindow_ setAccessibilityLabel:foundationString(shown_.reuseWindowPickerLabel)];
    for (std::size_t index = 0; index < shown_.reuseWindowChoices.size(); ++index) {
        if (shown_.reuseWindowChoices[index].window == shown_.selectedReuseWindow) {
            [reuseWindow_ selectItemAtIndex:static_cast<NSInteger>(index)];
        }
    }

    [accessibilityStatus_ showStatus:shown_.accessibilityStatus];
    grantAccess_.title = foundationString(shown_.grantAccessTitle);
    grantAccess_.hidden = !shown_.showsGrantAccessButton;
    troubleshooting_.hidden = !shown_.showsTroubleshooting;

    launchAtLogin_.state =
        shown_.launchAtLoginIsOn ? NSControlStateValueOn : NSControlStateValueOff;
    launchAtLogin_.enabled = shown_.launchAtLoginIsEnabled;
    launchAtLoginCaption_.stringValue = foundationString(shown_.launchAtLoginCaption.text);
    while (noticeViews_.size() < shown_.startupNotices.size()) {
        noticeViews_.push_back(makeNotice(noticeViews_.size()));
    }
    for (std::size_t index = 0; index < noticeViews_.size(); ++index) {
        const auto &views = noticeViews_[index];
        views.view.hidden = index >= shown_.startupNotices.size();
        if (index >= shown_.startupNotices.size()) {
            continue;
        }
        const auto &notice = shown_.startupNotices[index];
        [views.status showStatus:notice.status];
        views.explanation.stringValue =
            notice.explanation ? foundationString(notice.explanation->text) : @"";
        views.explanation.hidden = !notice.explanation.has_value();
        views.button.title = notice.button ? foundationString(notice.button->title) : @"";
        views.button.hidden = !notice.button.has_value();
    }
}

void AppKitGeneralPane::redrawRecorder() {
    const auto line = recorder_->line();
    recorderLine_.stringValue = line ? foundationString(line->text) : @"";
    recorderLine_.textColor = line && line->tone == HotkeyRecorderModel::LineTone::error
                                  ? toneColor(SettingsTone::critical)
                                  : [NSColor secondaryLabelColor];
    recorderLine_.hidden = !line.has_value();
    reset_.enabled = recorder_->isResetEnabled();
}

} // namespace kestrelle
