#pragma once

#include "Settings/SettingsControls_mac.h"
#include "Settings/SettingsViewModel.h"

#import <AppKit/AppKit.h>

#include <memory>
#include <vector>

@class KESEntryEditorSheet;

namespace kestrelle {

// The Passwords pane in AppKit: the biometrics status, the entries with their symbols, badges
// and four actions, "Add Password…", the empty state, the caption and the error line; it also
// opens the editor sheet and the delete confirmation while the view model asks for them.
// Rows are kept and refilled, so a redraw keeps the keyboard focus where it was.
class AppKitPasswordsPane {
  public:
    explicit AppKitPasswordsPane(std::shared_ptr<SettingsViewModel> model);
    ~AppKitPasswordsPane();
    AppKitPasswordsPane(const AppKitPasswordsPane &) = delete;
    AppKitPasswordsPane &operator=(const AppKitPasswordsPane &) = delete;

    NSView *view() const { return view_; }

  private:
    using Action = PasswordsPanePresentation::Action;
    struct Row {
        NSStackView *view;
        NSImageView *symbol;
        NSTextField *title;
        NSImageView *badgeSymbol;
        NSTextField *badgeText;
        NSButton *moveUp;
        NSButton *moveDown;
        NSButton *edit;
        NSButton *remove;
    };

    Row makeRow(std::size_t index);
    void act(std::size_t index, Action action);
    void redraw();
    void followEditor();
    void followDeleteCandidate(const std::optional<SettingsEntry> &candidate);

    std::shared_ptr<SettingsViewModel> model_;
    std::vector<PasswordsPanePresentation::Row> shownRows_;
    NSMutableArray *targets_ = [NSMutableArray array];
    NSStackView *view_ = nil;
    NSTextField *biometricsTitle_ = nil;
    KESStatusLine *biometrics_ = nil;
    NSTextField *protectionCaption_ = nil;
    NSButton *biometricSettings_ = nil;
    NSScrollView *list_ = nil;
    NSStackView *rowsView_ = nil;
    NSStackView *emptyState_ = nil;
    KESStatusLine *error_ = nil;
    std::vector<Row> rows_;
    KESEntryEditorSheet *editor_ = nil;
    NSAlert *confirmation_ = nil;
    std::vector<Subscription> subscriptions_;
};

} // namespace kestrelle
