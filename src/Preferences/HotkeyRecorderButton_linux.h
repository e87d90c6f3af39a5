#pragma once

#include "Preferences/HotkeyRecorderModel.h"

#include <QPushButton>
#include <memory>

namespace kestrelle {

// The shortcut recorder's button. A click (or Space) starts recording; while recording, every
// key press goes to the model, keys of the window's shortcuts and focus chain included, and
// losing the keyboard focus ends recording. When recording ends here the button keeps the focus,
// so that keyboard users stay where they were. While recording the button grabs the keyboard:
// a combination another program has grabbed would otherwise go to that program, never here.
class QtHotkeyRecorderButton final : public QPushButton {
public:
    QtHotkeyRecorderButton(std::shared_ptr<HotkeyRecorderModel> model, QWidget* parent);

protected:
    bool event(QEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;

private:
    std::shared_ptr<HotkeyRecorderModel> model_;
    Subscription subscription_;
    bool grabsKeyboard_ = false;
};

} // namespace kestrelle
