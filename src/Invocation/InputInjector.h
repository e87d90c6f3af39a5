#pragma once

#include "Invocation/CapturedInsertionTarget.h"
#include "Invocation/KeyboardEventPosting.h"
#include "Invocation/KeymapKeyboard.h"
#include "Runtime/ModifierFlags.h"
#include "Runtime/Task.h"
#include "Storage/TransientSecret.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string_view>
#include <variant>
#include <vector>

namespace kestrelle {

// Types a password into the captured field, one of two ways. With Unicode key events (macOS):
// the text in short chunks carried by events posted to the target's process alone, never as key
// codes of characters, re-validating the target before every chunk. Through the keymap (X11):
// one key per code point, binding free key codes to characters the keymap lacks and switching
// Caps Lock off for the while; those keys reach whatever has the focus and combine with the
// modifier keys the user holds, so the target and the modifiers are checked before every second
// code point. Either way it first waits for the shortcut's modifier keys to be released.
// Main-thread object.
class InputInjector {
public:
    static constexpr int chunkLimit = 20;
    static constexpr std::chrono::milliseconds keyPressHold{12};
    static constexpr std::chrono::milliseconds modifierPollInterval{25};
    static constexpr int modifierPollAttempts = 20;
    static constexpr std::uint64_t modifierMask = modifier::deviceIndependentMask;
    // The typed text comes from the attached string alone.
    static constexpr std::uint16_t virtualKey = 0;
    // Through the keymap, at most this many code points are typed between two full checks. Keys
    // go wherever the focus is, so only a key already on its way when the focus moved can land
    // in the next field: with a check before every key (about 1.5 ms on AT-SPI) none did in ten
    // runs, and with one every second key at 1 ms apart, more than one did in most runs.
    static constexpr int codePointsPerCheck = 1;
    // Between keys, so clients keep up and focus events are heard. A check's answer does not
    // wait for the keys the application has queued: without this pause, checks kept passing while
    // dozens of keys queued behind a Tab went on into the next field.
    static constexpr std::chrono::milliseconds keyInterval{1};
    // Clients look a changed keymap up only when they handle the next key: GTK and Qt about 1 ms
    // later when idle, over 25 ms when busy. A binding is left this long after the last key typed
    // with it: restoring and rebinding wait, typing does not.
    static constexpr std::chrono::milliseconds bindingSettle{50};

    // Each keyboard must outlive the injector.
    explicit InputInjector(KeyboardEventPosting& keyboard) : keyboard_(std::ref(keyboard)) {}
    explicit InputInjector(KeymapKeyboard& keyboard) : keyboard_(std::ref(keyboard)) {}
    InputInjector(const InputInjector&) = delete;
    InputInjector& operator=(const InputInjector&) = delete;

    // Asked before every step of an insertion; once it says no, typing stops.
    using StillWanted = std::function<bool()>;

    // Returns once the whole password was posted. Throws InputInjectionError, or CancelledError
    // when `stillWanted` says no or the operation is cancelled; what was typed by then stays.
    // The secret is borrowed and must outlive the task; a null target is `unavailableTarget`.
    Task<void> insert(const TransientSecret& secret,
                      std::shared_ptr<CapturedInsertionTarget> target, StillWanted stillWanted);

    // Views into `text` of at most `limit` units each, never splitting a surrogate pair, that
    // together make up `text`. A limit below 2 gives none.
    static std::vector<std::u16string_view> utf16Chunks(std::u16string_view text, int limit);

private:
    std::uint64_t heldModifiers();
    Task<void> waitForModifierRelease(const StillWanted& stillWanted);
    Task<void> postUnicode(KeyboardEventPosting& keyboard, std::u16string_view text,
                           CapturedInsertionTarget& target, const StillWanted& stillWanted);
    Task<void> typeKeys(KeymapKeyboard& keyboard, std::span<const char32_t> codePoints,
                        CapturedInsertionTarget& target, const StillWanted& stillWanted);
    Task<void> checkBeforeKeys(CapturedInsertionTarget& target, const StillWanted& stillWanted);

    std::variant<std::reference_wrapper<KeyboardEventPosting>,
                 std::reference_wrapper<KeymapKeyboard>>
        keyboard_;
};

} // namespace kestrelle
