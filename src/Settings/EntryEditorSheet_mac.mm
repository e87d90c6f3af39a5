#include "Settings/EntryEditorSheet_mac.h"

#include "Runtime/FoundationText_mac.h"
#include "Runtime/Signal.h"
#include "Settings/SettingsControls_mac.h"

@interface KESEntryEditorSheet () <NSTextFieldDelegate>
@end

@implementation KESEntryEditorSheet {
    std::shared_ptr<kestrelle::EntryEditorModel> _model;
    kestrelle::Subscription _subscription;
    NSMutableArray *_targets;
    NSTextField *_title;
    NSTextField *_subtitle;
    NSTextField *_label;
    NSSecureTextField *_password;
    NSImageView *_footerSymbol;
    NSTextField *_footerText;
    NSTextField *_progress;
    NSButton *_cancel;
    NSButton *_save;
}

- (instancetype)initWithModel:(std::shared_ptr<kestrelle::EntryEditorModel>)model {
    self = [super initWithContentRect:NSMakeRect(0, 0, 480, 300)
                            styleMask:NSWindowStyleMaskTitled
                              backing:NSBackingStoreBuffered
                                defer:NO];
    if (self) {
        _model = std::move(model);
        _targets = [NSMutableArray array];
        self.releasedWhenClosed = NO;
        [self buildContent];
        KESEntryEditorSheet *__weak weakSelf = self;
        _subscription = _model->subscribe([weakSelf] { [weakSelf redraw]; });
    }
    return self;
}

- (const std::shared_ptr<kestrelle::EntryEditorModel> &)model {
    return _model;
}

- (void)buildContent {
    using kestrelle::EntryEditorModel;
    _title = kestrelle::sectionTitle({});
    _subtitle = kestrelle::caption({});
    _label = [[NSTextField alloc] initWithFrame:NSMakeRect(0, 0, 300, 22)];
    _label.stringValue = kestrelle::foundationString(_model->label());
    _label.delegate = self;
    [_label setAccessibilityLabel:kestrelle::foundationString(EntryEditorModel::labelTitle)];
    _password = [[NSSecureTextField alloc] initWithFrame:NSMakeRect(0, 0, 300, 22)];
    _password.delegate = self;
    [_password setAccessibilityLabel:kestrelle::foundationString(_model->passwordCaption())];

    NSStackView *labelRow = kestrelle::horizontalStack();
    [labelRow addArrangedSubview:kestrelle::label(EntryEditorModel::labelTitle)];
    [labelRow addArrangedSubview:_label];
    NSStackView *passwordRow = kestrelle::horizontalStack();
    [passwordRow addArrangedSubview:kestrelle::label(_model->passwordCaption())];
    [passwordRow addArrangedSubview:_password];

    _footerSymbol = [[NSImageView alloc] initWithFrame:NSZeroRect];
    _footerSymbol.contentTintColor = kestrelle::toneColor(kestrelle::SettingsTone::critical);
    _footerText = kestrelle::label({});
    _footerText.textColor = kestrelle::toneColor(kestrelle::SettingsTone::critical);
    _progress = kestrelle::label({});
    _progress.textColor = [NSColor secondaryLabelColor];
    auto model = _model;
    _cancel = kestrelle::pushButton(EntryEditorModel::cancelTitle, _targets, ^(id) {
        model->cancel();
    });
    _cancel.keyEquivalent = @"\033";
    _save = kestrelle::pushButton(EntryEditorModel::saveTitle, _targets, ^(id) {
        model->submit();
    });
    _save.keyEquivalent = @"\r";
    NSStackView *footer = kestrelle::horizontalStack();
    for (NSView *view in @[ _footerSymbol, _footerText, _progress, _cancel, _save ]) {
        [footer addArrangedSubview:view];
    }

    NSStackView *content = kestrelle::verticalStack();
    content.edgeInsets = NSEdgeInsetsMake(20, 20, 20, 20);
    for (NSView *view in @[
             _title, _subtitle, labelRow, passwordRow, kestrelle::caption(_model->passwordHint()),
             kestrelle::caption(EntryEditorModel::characterRule), footer
         ]) {
        [content addArrangedSubview:view];
    }
    self.contentView = content;
    self.initialFirstResponder = _label;
}

- (void)redraw {
    self.title = kestrelle::foundationString(_model->title());
    _title.stringValue = kestrelle::foundationString(_model->title());
    _subtitle.stringValue = kestrelle::foundationString(_model->subtitle());
    // Words about the field's state, never its content or length.
    [_password setAccessibilityValueDescription:kestrelle::foundationString(
                                                    _model->passwordAccessibilityValue())];
    const auto message = _model->footerMessage();
    _footerSymbol.image = message ? kestrelle::symbolImage(message->symbol, {}) : nil;
    _footerSymbol.hidden = _footerSymbol.image == nil;
    _footerText.stringValue = message ? kestrelle::foundationString(message->text) : @"";
    const auto progress = _model->progressText();
    _progress.stringValue = progress ? kestrelle::foundationString(*progress) : @"";
    _progress.hidden = !progress.has_value();
    _cancel.enabled = _model->isCancelEnabled();
    _save.enabled = _model->isSaveEnabled();
}

- (void)controlTextDidChange:(NSNotification *)notification {
    if (notification.object == _label) {
        _model->setLabel(kestrelle::utf8String(_label.stringValue));
    } else if (notification.object == _password) {
        const char *text = _password.stringValue.UTF8String;
        _model->setPassword(text == nullptr ? std::string_view() : std::string_view(text));
    }
}

// Escape, and the sheet's own closing: a save waiting for approval is not interrupted.
- (void)cancelOperation:(id)sender {
    (void)sender;
    if (_model->allowsInteractiveDismissal()) {
        _model->cancel();
    }
}

- (void)dismantle {
    _subscription = {};
    _password.stringValue = @"";
}

@end
