#include "Preferences/HotkeyRecorderModel.h"

#include "Runtime/ModifierFlags.h"
#include "Shortcut/Hotkey.h"

#include <utility>

namespace kestrelle {

HotkeyRecorderModel::HotkeyRecorderModel(Settings& settings)
    : settings_(settings),
      hotkeySubscription_(settings.subscribeHotkey([this](const Hotkey&) { changed(); })) {}

std::string HotkeyRecorderModel::buttonTitle() const {
    return recording_ ? std::string(recordingTitle)
                      : settings_.hotkey().displayString(settings_.keyboard());
}

std::optional<HotkeyRecorderModel::Line> HotkeyRecorderModel::line() const {
    if (error_) {
        return Line{*error_, LineTone::error};
    }
    if (recording_) {
        return Line{std::string(hintText), LineTone::hint};
    }
    return std::nullopt;
}

void HotkeyRecorderModel::beginRecording() {
    recording_ = true;
    changed();
}

void HotkeyRecorderModel::keyDown(std::uint32_t keyCode, std::uint64_t modifierFlags) {
    if (!recording_) {
        return;
    }
    const Hotkey captured{hotkeyKey(keyCode, settings_.keyboard()),
                          modifierFlags & modifier::deviceIndependentMask};
    // Escape alone is the way out; with a modifier it is a shortcut like any other.
    if (captured == Hotkey{Key::escape, 0}) {
        endRecording();
        return;
    }
    // The registration's own rules, so that a shortcut refused there is never stored.
    if (auto refusal = captured.validationError(settings_.keyboard())) {
        error_ = std::move(refusal);
        changed();
        return;
    }
    error_.reset();
    recording_ = false;
    settings_.setHotkey(captured);
}

void HotkeyRecorderModel::endRecording() {
    if (std::exchange(recording_, false)) {
        changed();
    }
}

void HotkeyRecorderModel::reset() {
    settings_.setHotkey(Hotkey::defaultShortcut(settings_.keyboard()));
}

Subscription HotkeyRecorderModel::subscribe(std::function<void()> observer) {
    observer();
    return changed_.subscribe(std::move(observer));
}

} // namespace kestrelle
