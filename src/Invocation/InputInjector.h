#pragma once

#include "Invocation/CapturedInsertionTarget.h"
#include "Invocation/KeyboardEventPosting.h"
#include "Invocation/KeymapKeyboard.h"
#include "Runtime/Executor.h"
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
// modifier keys the user holds, so the target and the modifiers are checked before every key,
// and each key waits until the window has handled the one before. Either way it first waits for
// the shortcut's modifier keys to be released. Main-thread object.
class InputInjector {
public:
    static constexpr int chunkLimit = 20;
    static constexpr std::chrono::milliseconds keyPressHold{12};
    static constexpr std::chrono::milliseconds modifierPollInterval{25};
    static constexpr int modifierPollAttempts = 20;
    static constexpr std::uint64_t modifierMask = modifier::deviceIndependentMask;
    // The typed text comes from the attached string alone.
    static constexpr std::uint16_t virtualKey = 0;
    // Through the keymap, keys go wherever the focus is and the application answers a check at
    // once, even with keys still queued: typing ahead of it, checks kept passing while dozens of
    // keys waited behind a Tab for the next field. So each key is checked first and waits until
    // the focused window says it has handled it, or where the window cannot be asked, this long,
    // which most applications keep up with. Only a key on its way when the focus moves can then
    // land in the next field.
    static constexpr std::chrono::milliseconds keyInterval{1};
    // A window that has not handled a key by then has stopped; typing stops too, since the keys
    // would pile up unchecked.
    static constexpr std::chrono::milliseconds keysHandledTimeout{1000};
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
    Task<void> checkBeforeKey(CapturedInsertionTarget& target, const StillWanted& stillWanted);
    static Task<void> keysHandled(KeymapKeyboard& keyboard, Executor& executor);

    std::variant<std::reference_wrapper<KeyboardEventPosting>,
                 std::reference_wrapper<KeymapKeyboard>>
        keyboard_;
};

} // namespace kestrelle
