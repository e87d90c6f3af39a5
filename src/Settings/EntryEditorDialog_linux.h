#pragma once

#include "Runtime/Signal.h"
#include "Settings/EntryEditorModel.h"

#include <QDialog>
#include <memory>

class QLabel;
class QLineEdit;
class QPushButton;

namespace kestrelle {

// The entry editor, window-modal over Settings: draws the editor's model and forwards every
// edit to it at once. The typed password leaves the field for the model's wiping buffer with
// every edit, and the field is emptied on every way the dialog goes.
class QtEntryEditorDialog final : public QDialog {
public:
    QtEntryEditorDialog(std::shared_ptr<EntryEditorModel> model, QWidget* parent);
    ~QtEntryEditorDialog() override;

    const std::shared_ptr<EntryEditorModel>& model() const { return model_; }
    // The model let this editor go: empties the fields and closes for good.
    void dismiss();
    // Escape and the window's close button: the model decides (not while saving).
    void reject() override;

private:
    void redraw();
    void passwordEdited();
    void clearPasswordField();

    std::shared_ptr<EntryEditorModel> model_;
    QLabel* title_;
    QLabel* subtitle_;
    QLineEdit* label_;
    QLineEdit* password_;
    QLabel* footerIcon_;
    QLabel* footerText_;
    QLabel* progress_;
    QPushButton* cancel_;
    QPushButton* save_;
    Subscription subscription_;
};

} // namespace kestrelle
