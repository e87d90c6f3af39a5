#include "Settings/PasswordsPane_mac.h"

#include "Runtime/FoundationText_mac.h"
#include "Settings/EntryEditorSheet_mac.h"

namespace kestrelle {

namespace {

using Pane = PasswordsPanePresentation;

constexpr CGFloat rowHeight = 32;

NSButton *symbolButton(std::string_view symbol, std::string_view title) {
    NSButton *button = [[NSButton alloc] initWithFrame:NSZeroRect];
    button.bordered = NO;
    button.image = symbolImage(symbol, title);
    button.imagePosition = button.image ? NSImageOnly : NSNoImage;
    button.title = foundationString(title);
    button.toolTip = foundationString(title);
    [button setAccessibilityLabel:foundationString(title)];
    return button;
}

} // namespace

AppKitPasswordsPane::AppKitPasswordsPane(std::shared_ptr<SettingsViewModel> model)
    : model_(std::move(model)) {
    auto viewModel = model_;
    biometricsTitle_ = sectionTitle({});
    biometrics_ = [[KESStatusLine alloc] initWithFrame:NSZeroRect];
    biometricSettings_ = pushButton(Pane::biometricSettingsTitle, targets_, ^(id) {
        viewModel->permissions().openBiometricSettings();
    });
    NSStackView *biometricsRow = horizontalStack();
    [biometricsRow addArrangedSubview:biometrics_];
    [biometricsRow addArrangedSubview:biometricSettings_];
    protectionCaption_ = caption({});

    // The rows' own frame follows the list's width; its height is set from the row count.
    rowsView_ = verticalStack();
    rowsView_.autoresizingMask = NSViewWidthSizable;
    list_ = [[NSScrollView alloc] initWithFrame:NSMakeRect(0, 0, 560, 240)];
    list_.hasVerticalScroller = YES;
    list_.autohidesScrollers = YES;
    list_.borderType = NSNoBorder;
    list_.drawsBackground = NO;
    list_.documentView = rowsView_;

    emptyState_ = verticalStack();
    emptyState_.alignment = NSLayoutAttributeCenterX;
    [emptyState_ addArrangedSubview:sectionTitle(Pane::emptyTitle)];
    [emptyState_ addArrangedSubview:caption(Pane::emptyText)];

    NSButton *add = pushButton(Pane::addTitle, targets_, ^(id) {
        viewModel->beginAdd();
    });
    add.image = symbolImage(Pane::addSymbol, {});
    add.imagePosition = NSImageLeft;
    error_ = [[KESStatusLine alloc] initWithFrame:NSZeroRect];

    view_ = verticalStack();
    view_.edgeInsets = NSEdgeInsetsMake(20, 20, 20, 20);
    for (NSView *view in @[
             biometricsTitle_, biometricsRow, protectionCaption_,
             sectionTitle(Pane::entriesSectionTitle), list_, emptyState_, add,
             caption(model_->passwordsPane().caption), error_
         ]) {
        [view_ addArrangedSubview:view];
    }

    subscriptions_.push_back(model_->subscribePanes([this] { redraw(); }));
    subscriptions_.push_back(model_->subscribeEditor([this](const auto &) { followEditor(); }));
    subscriptions_.push_back(model_->subscribeDeleteCandidate(
        [this](const auto &candidate) { followDeleteCandidate(candidate); }));
    redraw();
}

AppKitPasswordsPane::~AppKitPasswordsPane() {
    subscriptions_.clear();
    [editor_ dismantle];
}

AppKitPasswordsPane::Row AppKitPasswordsPane::makeRow(std::size_t index) {
    Row row{
        .view = horizontalStack(),
        .symbol = [[NSImageView alloc] initWithFrame:NSZeroRect],
        .title = label({}),
        .badgeSymbol = [[NSImageView alloc] initWithFrame:NSZeroRect],
        .badgeText = label({}),
        .moveUp = symbolButton(Pane::moveUpSymbol, Pane::moveUpTitle),
        .moveDown = symbolButton(Pane::moveDownSymbol, Pane::moveDownTitle),
        .edit = symbolButton(Pane::editSymbol, Pane::editTitle),
        .remove = symbolButton(Pane::deleteSymbol, Pane::deleteTitle),
    };
    for (NSView *view in @[ row.symbol, row.title, row.badgeSymbol, row.badgeText ]) {
        [row.view addArrangedSubview:view];
    }
    const std::pair<NSButton *, Action> actions[] = {{row.moveUp, Action::moveUp},
                                                     {row.moveDown, Action::moveDown},
                                                     {row.edit, Action::edit},
                                                     {row.remove, Action::remove}};
    for (const auto &[button, action] : actions) {
        const Action chosen = action;
        onAction(button, targets_, ^(id) {
            act(index, chosen);
        });
        [row.view addArrangedSubview:button];
    }
    [rowsView_ addArrangedSubview:row.view];
    return row;
}

void AppKitPasswordsPane::act(std::size_t index, Action action) {
    if (index >= shownRows_.size()) {
        return;
    }
    model_->perform(shownRows_[index].entry, action);
}

void AppKitPasswordsPane::redraw() {
    const auto pane = model_->passwordsPane();
    biometricsTitle_.stringValue = foundationString(pane.biometricsSectionTitle);
    [biometrics_ showStatus:pane.biometrics];
    biometricSettings_.hidden = !pane.showsBiometricSettingsButton;
    protectionCaption_.stringValue =
        pane.protectionCaption ? foundationString(pane.protectionCaption->text) : @"";
    protectionCaption_.hidden = !pane.protectionCaption.has_value();

    while (rows_.size() < pane.rows.size()) {
        rows_.push_back(makeRow(rows_.size()));
    }
    for (std::size_t index = 0; index < rows_.size(); ++index) {
        const auto &views = rows_[index];
        views.view.hidden = index >= pane.rows.size();
        if (index >= pane.rows.size()) {
            continue;
        }
        const auto &row = pane.rows[index];
        [views.view setAccessibilityLabel:foundationString(row.entry.label)];
        views.symbol.image = symbolImage(row.symbol, {});
        views.title.stringValue = foundationString(row.entry.label);
        // A badge without text is read out by its symbol's description.
        views.badgeSymbol.image = symbolImage(row.badge.symbol, row.badge.text);
        views.badgeSymbol.contentTintColor = toneColor(row.badge.tone);
        views.badgeSymbol.toolTip = foundationString(row.badge.text);
        views.badgeText.stringValue = foundationString(row.badge.text);
        views.badgeText.textColor = toneColor(row.badge.tone);
        views.badgeText.hidden = row.badge.text.empty();
        views.moveUp.enabled = row.canMoveUp;
        views.moveDown.enabled = row.canMoveDown;
        views.edit.enabled = row.canEdit;
        views.remove.enabled = row.canDelete;
    }
    shownRows_ = pane.rows;
    [rowsView_ setFrameSize:NSMakeSize(list_.contentSize.width,
                                       rowHeight * static_cast<CGFloat>(pane.rows.size()))];
    list_.hidden = pane.showsEmptyState();
    emptyState_.hidden = !pane.showsEmptyState();
    error_.hidden = !pane.error.has_value();
    if (pane.error) {
        [error_ showStatus:*pane.error];
    }
}

void AppKitPasswordsPane::followEditor() {
    const auto &editorModel = model_->editorModel();
    if (editor_ && editor_.model != editorModel) {
        KESEntryEditorSheet *closing = editor_;
        editor_ = nil;
        [closing dismantle];
        [view_.window endSheet:closing];
    }
    if (editorModel && !editor_ && view_.window) {
        editor_ = [[KESEntryEditorSheet alloc] initWithModel:editorModel];
        [view_.window beginSheet:editor_ completionHandler:nil];
    }
}

void AppKitPasswordsPane::followDeleteCandidate(const std::optional<SettingsEntry> &candidate) {
    if (!candidate) {
        if (NSAlert *closing = confirmation_) {
            confirmation_ = nil;
            [view_.window endSheet:closing.window];
        }
        return;
    }
    if (confirmation_ || !view_.window) {
        return;
    }
    NSAlert *alert = [[NSAlert alloc] init];
    alert.messageText = foundationString(SettingsViewModel::deleteConfirmationTitle);
    alert.informativeText =
        foundationString(SettingsViewModel::deleteConfirmationMessage(candidate->label));
    NSButton *remove = [alert addButtonWithTitle:foundationString(Pane::deleteConfirmTitle)];
    remove.hasDestructiveAction = YES;
    NSButton *cancel = [alert addButtonWithTitle:foundationString(Pane::deleteCancelTitle)];
    // Return keeps the password; only a click or Space on Remove removes it.
    remove.keyEquivalent = @"";
    cancel.keyEquivalent = @"\r";
    confirmation_ = alert;
    auto model = model_;
    [alert beginSheetModalForWindow:view_.window
                  completionHandler:^(NSModalResponse response) {
                      // Either way the model clears the candidate, which forgets the alert.
                      if (response == NSAlertFirstButtonReturn) {
                          model->confirmDelete();
                      } else {
                          model->cancelDelete();
                      }
                  }];
}

} // namespace kestrelle
