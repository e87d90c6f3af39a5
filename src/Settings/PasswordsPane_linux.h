#pragma once

#include "Settings/SettingsViewModel.h"

#include <QPointer>
#include <QWidget>
#include <memory>
#include <optional>
#include <vector>

class QGroupBox;
class QLabel;
class QMessageBox;
class QPushButton;
class QScrollArea;
class QToolButton;
class QVBoxLayout;

namespace kestrelle {

class QtEntryEditorDialog;
class QtStatusLine;

// The Passwords pane: the approval status, the saved entries with their actions, the add
// button, the caption and the error line; it also opens the entry editor and the delete
// confirmation whenever the model asks for them.
class QtPasswordsPane final : public QWidget {
public:
    QtPasswordsPane(std::shared_ptr<SettingsViewModel> model, QWidget* parent);
    ~QtPasswordsPane() override;

private:
    using Action = PasswordsPanePresentation::Action;
    struct RowWidgets {
        QWidget* row;
        QLabel* symbol;
        QLabel* title;
        QLabel* badgeIcon;
        QLabel* badgeText;
        QToolButton* moveUp;
        QToolButton* moveDown;
        QToolButton* edit;
        QToolButton* remove;
        QToolButton* button(Action action) const;
    };

    RowWidgets makeRow(std::size_t index);
    void act(std::size_t index, Action action);
    void redraw();
    void restoreFocus();
    // After a dialog over Settings closes.
    void takeBackFocus();
    void followEditor();
    void followDeleteCandidate(const std::optional<SettingsEntry>& candidate);

    std::shared_ptr<SettingsViewModel> model_;
    QGroupBox* biometricsBox_;
    QtStatusLine* biometrics_;
    QPushButton* biometricSettings_;
    QLabel* protectionCaption_;
    QScrollArea* list_;
    QVBoxLayout* rowsLayout_;
    QWidget* emptyState_;
    std::vector<RowWidgets> rows_;
    // What each row shows now, so that a click acts on the entry the user sees.
    std::vector<PasswordsPanePresentation::Row> shownRows_;
    QPushButton* add_;
    QtStatusLine* error_;
    QPointer<QtEntryEditorDialog> editor_;
    QPointer<QMessageBox> confirmation_;
    // A moved entry keeps the keyboard focus on the button that moved it, once the move is done.
    std::optional<std::pair<Uuid, Action>> focusAfterChange_;
    std::vector<Subscription> subscriptions_;
};

} // namespace kestrelle
