#include "Preferences/HotkeyRecorderButton_linux.h"

#include "Runtime/X11Key.h"
#include "Settings/SettingsWidgets_linux.h"

#include <QGuiApplication>
#include <QKeyEvent>

// Xlib's macros clash with Qt's names, so it comes last and only the calls below use it.
#include <X11/XKBlib.h>
#include <X11/Xutil.h>
#undef KeyPress
#undef KeyRelease
#undef FocusOut

namespace kestrelle {

namespace {

// The key's keysym without Shift, as the core's key table has them: the event's own keysym
// is the shifted one ("A", "!") while Shift is held.
std::uint32_t unshiftedKeysym(const QKeyEvent& event) {
    auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    if (!x11) {
        return event.nativeVirtualKey();
    }
    const auto group = XkbGroupForCoreState(event.nativeModifiers());
    return static_cast<std::uint32_t>(XkbKeycodeToKeysym(
        x11->display(), static_cast<KeyCode>(event.nativeScanCode()), static_cast<int>(group), 0));
}

// X11 reports pressing a modifier as a key press of its own, which macOS does not: it is part
// of the combination being typed, not its key.
bool isModifierKey(std::uint32_t keysym) {
    return IsModifierKey(keysym);
}

} // namespace

QtHotkeyRecorderButton::QtHotkeyRecorderButton(std::shared_ptr<HotkeyRecorderModel> model,
                                               QWidget* parent)
    : QPushButton(parent), model_(std::move(model)) {
    setMinimumWidth(static_cast<int>(HotkeyRecorderModel::minimumButtonWidth));
    setAccessibleName(toQString(HotkeyRecorderModel::accessibilityLabel));
    connect(this, &QPushButton::clicked, this, [this] {
        model_->beginRecording();
        setFocus(Qt::OtherFocusReason);
    });
    // The name says what the button is; its accessible description what it shows now.
    subscription_ = model_->subscribe([this] {
        const auto title = toQString(model_->buttonTitle());
        setText(title);
        setAccessibleDescription(title);
        if (model_->isRecording() != grabsKeyboard_) {
            grabsKeyboard_ = model_->isRecording();
            grabsKeyboard_ ? grabKeyboard() : releaseKeyboard();
        }
    });
}

bool QtHotkeyRecorderButton::event(QEvent* event) {
    if (!model_->isRecording()) {
        return QPushButton::event(event);
    }
    // No shortcut of the window fires, and no key moves the focus, while a key is recorded.
    if (event->type() == QEvent::ShortcutOverride) {
        event->accept();
        return true;
    }
    if (event->type() == QEvent::KeyPress) {
        const auto& key = static_cast<const QKeyEvent&>(*event);
        const auto keysym = unshiftedKeysym(key);
        if (!isModifierKey(keysym)) {
            model_->keyDown(keysym, modifierFlags(x11Modifiers, key.nativeModifiers()));
        }
        return true;
    }
    return QPushButton::event(event);
}

void QtHotkeyRecorderButton::focusOutEvent(QFocusEvent* event) {
    model_->endRecording();
    QPushButton::focusOutEvent(event);
}

} // namespace kestrelle
