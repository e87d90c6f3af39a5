#pragma once

#include "Invocation/CapturedInsertionTarget.h"
#include "Invocation/KeyboardEventPosting.h"
#include "Runtime/ModifierFlags.h"
#include "Runtime/Task.h"
#include "Storage/TransientSecret.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string_view>
#include <vector>

namespace kestrelle {

// Types a password as Unicode text carried by synthetic key events, never as key codes of
// characters, in short chunks posted to the target's process alone. It waits for the
// shortcut's modifier keys to be released first, and re-validates the target before every
// chunk. Main-thread object.
class InputInjector {
public:
    static constexpr int chunkLimit = 20;
    static constexpr std::chrono::milliseconds keyPressHold{12};
    static constexpr std::chrono::milliseconds modifierPollInterval{25};
    static constexpr int modifierPollAttempts = 20;
    static constexpr std::uint64_t modifierMask = modifier::deviceIndependentMask;
    // The typed text comes from the attached string alone.
    static constexpr std::uint16_t virtualKey = 0;

    // `keyboard` must outlive the injector.
    explicit InputInjector(KeyboardEventPosting& keyboard) : keyboard_(keyboard) {}
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
    Task<void> waitForModifierRelease(const StillWanted& stillWanted);
    Task<void> postUnicode(std::u16string_view text, CapturedInsertionTarget& target,
                           const StillWanted& stillWanted);

    KeyboardEventPosting& keyboard_;
};

} // namespace kestrelle
