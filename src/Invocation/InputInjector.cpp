#include "Invocation/InputInjector.h"

#include "Invocation/KeystrokePlan.h"
#include "Invocation/Utf8Decoding.h"
#include "Runtime/Cancellation.h"
#include "Runtime/OneShotContinuation.h"
#include "Runtime/Utf8.h"

#include <algorithm>

namespace kestrelle {

namespace {

using Kind = InputInjectionError::Kind;

bool isSurrogatePairAt(std::u16string_view text, std::size_t index) {
    return index + 1 < text.size() && text[index] >= 0xD800 && text[index] <= 0xDBFF &&
           text[index + 1] >= 0xDC00 && text[index + 1] <= 0xDFFF;
}

void throwUnlessWanted(const InputInjector::StillWanted& stillWanted) {
    if (!stillWanted()) {
        throw CancelledError{};
    }
}

void throwIfInvalid(CapturedInsertionTarget& target) {
    if (auto error = target.validationError()) {
        throw *error;
    }
}

std::optional<WipingVector<char32_t>> decodeCodePoints(const TransientSecret& secret) {
    return secret.withUnsafeBytes(
        [](std::span<const std::uint8_t> bytes) -> std::optional<WipingVector<char32_t>> {
            WipingVector<char32_t> codePoints;
            codePoints.reserve(bytes.size());
            const bool valid =
                forEachUtf8Scalar(bytes, [&](char32_t scalar, std::size_t, std::size_t) {
                    codePoints.push_back(scalar);
                });
            return valid ? std::optional(std::move(codePoints)) : std::nullopt;
        });
}

// What typing changes on the keyboard, put back however it ends: Caps Lock, which would change
// the case of the letters typed, and the key codes bound, each left without a symbol again. A
// binding changes only once clients have looked up the keys typed with it.
class KeyboardChanges {
public:
    KeyboardChanges(KeymapKeyboard& keyboard, Executor& executor)
        : keyboard_(keyboard), executor_(executor) {}
    KeyboardChanges(const KeyboardChanges&) = delete;
    KeyboardChanges& operator=(const KeyboardChanges&) = delete;
    ~KeyboardChanges() { restore(); }

    void unlockCapsLock() {
        relockCapsLock_ = keyboard_.capsLockLocked();
        if (relockCapsLock_) {
            keyboard_.lockCapsLock(false);
        }
    }

    // Waits until the binding of `keyCode`, or with none every binding, may change; cancelling
    // does not cut this short, or characters typed would be lost.
    Task<void> settle(std::optional<KeymapKeyboard::KeyCode> keyCode = std::nullopt) {
        std::optional<MonotonicTime> settled;
        for (const auto& key : bound_) {
            if (!keyCode || key.keyCode == *keyCode) {
                settled = std::max(settled, key.settledAt);
            }
        }
        if (!settled || *settled <= executor_.monotonicNow()) {
            co_return;
        }
        auto wake = [this,
                     delay = *settled - executor_.monotonicNow()](OneShotContinuation<void> done) {
            executor_.scheduleAfter(delay, [done] { done.resume(); });
        };
        co_await withContinuation<void>(std::move(wake));
    }

    void bind(const KeyBinding& binding) {
        keyboard_.bindKey(binding.keyCode, binding.keysym);
        if (!find(binding.keyCode)) {
            bound_.push_back({.keyCode = binding.keyCode, .settledAt = std::nullopt});
        }
    }

    // Key down and up with nothing in between, so no key is ever left down.
    void tap(const Keystroke& stroke) {
        if (stroke.shiftKey) {
            keyboard_.postKey(*stroke.shiftKey, true);
        }
        keyboard_.postKey(stroke.keyCode, true);
        keyboard_.postKey(stroke.keyCode, false);
        if (stroke.shiftKey) {
            keyboard_.postKey(*stroke.shiftKey, false);
        }
        if (auto* key = find(stroke.keyCode)) {
            key->settledAt = executor_.monotonicNow() + InputInjector::bindingSettle;
        }
    }

    void restore() {
        for (const auto& key : bound_) {
            keyboard_.bindKey(key.keyCode, std::nullopt);
        }
        bound_.clear();
        if (std::exchange(relockCapsLock_, false)) {
            keyboard_.lockCapsLock(true);
        }
    }

private:
    struct BoundKey {
        KeymapKeyboard::KeyCode keyCode;
        std::optional<MonotonicTime> settledAt;
    };

    BoundKey* find(KeymapKeyboard::KeyCode keyCode) {
        const auto key = std::ranges::find(bound_, keyCode, &BoundKey::keyCode);
        return key == bound_.end() ? nullptr : &*key;
    }

    KeymapKeyboard& keyboard_;
    Executor& executor_;
    std::vector<BoundKey> bound_;
    bool relockCapsLock_ = false;
};

} // namespace

Task<void> InputInjector::insert(const TransientSecret& secret,
                                 std::shared_ptr<CapturedInsertionTarget> target,
                                 StillWanted stillWanted) {
    if (!target) {
        throw InputInjectionError(Kind::unavailableTarget);
    }
    throwIfInvalid(*target);
    co_await waitForModifierRelease(stillWanted);
    throwUnlessWanted(stillWanted);
    throwIfInvalid(*target);

    // The decoded text lives in this frame, so it is wiped however the insertion ends.
    if (const auto* events =
            std::get_if<std::reference_wrapper<KeyboardEventPosting>>(&keyboard_)) {
        const auto text = secret.withUnsafeBytes(
            [](std::span<const std::uint8_t> bytes) { return decodeUtf8AsUtf16(bytes); });
        if (!text) {
            throw InputInjectionError(Kind::invalidUTF8);
        }
        co_await postUnicode(events->get(), std::u16string_view(text->data(), text->size()),
                             *target, stillWanted);
    } else {
        const auto codePoints = decodeCodePoints(secret);
        if (!codePoints) {
            throw InputInjectionError(Kind::invalidUTF8);
        }
        co_await typeKeys(std::get<std::reference_wrapper<KeymapKeyboard>>(keyboard_).get(),
                          *codePoints, *target, stillWanted);
    }
}

std::uint64_t InputInjector::heldModifiers() {
    const auto flags =
        std::visit([](auto keyboard) { return keyboard.get().currentModifierFlags(); }, keyboard_);
    return flags & modifierMask;
}

Task<void> InputInjector::waitForModifierRelease(const StillWanted& stillWanted) {
    for (int attempts = 0;;) {
        throwUnlessWanted(stillWanted);
        if (heldModifiers() == 0) {
            co_return;
        }
        co_await sleepFor(modifierPollInterval);
        // The last pause is not followed by another look.
        if (++attempts == modifierPollAttempts) {
            throw InputInjectionError(Kind::modifiersHeld);
        }
    }
}

Task<void> InputInjector::postUnicode(KeyboardEventPosting& keyboard, std::u16string_view text,
                                      CapturedInsertionTarget& target,
                                      const StillWanted& stillWanted) {
    const auto source = keyboard.makePrivateSource();
    if (!source) {
        throw InputInjectionError(Kind::eventCreationFailed);
    }
    const std::int32_t processIdentifier = target.processIdentifier();
    for (const auto chunk : utf16Chunks(text, chunkLimit)) {
        throwUnlessWanted(stillWanted);
        throwIfInvalid(target);
        auto keyDown = keyboard.makeKeyEvent(*source, virtualKey, true);
        auto keyUp = keyboard.makeKeyEvent(*source, virtualKey, false);
        if (!keyDown || !keyUp) {
            throw InputInjectionError(Kind::eventCreationFailed);
        }
        keyboard.setFlags(*keyDown, 0);
        keyboard.setFlags(*keyUp, 0);
        keyboard.setUnicodeString(*keyDown, chunk);
        keyboard.setUnicodeString(*keyUp, chunk);
        keyboard.postToProcess(*keyDown, processIdentifier);
        try {
            co_await sleepFor(keyPressHold);
        } catch (const CancelledError&) {
            // Never leave a key down in the target.
            keyboard.postToProcess(*keyUp, processIdentifier);
            throw;
        }
        keyboard.postToProcess(*keyUp, processIdentifier);
    }
}

Task<void> InputInjector::typeKeys(KeymapKeyboard& keyboard, std::span<const char32_t> codePoints,
                                   CapturedInsertionTarget& target,
                                   const StillWanted& stillWanted) {
    const auto plan = planKeystrokes(keyboard.keymap(), codePoints);
    Executor* executor = co_await currentExecutor();
    KeyboardChanges changes(keyboard, *executor);
    changes.unlockCapsLock();
    std::exception_ptr failure;
    try {
        for (const auto& step : plan) {
            if (const auto* binding = std::get_if<KeyBinding>(&step)) {
                co_await changes.settle(binding->keyCode);
                changes.bind(*binding);
                continue;
            }
            // Whatever has the focus takes the keys.
            co_await checkBeforeKey(target, stillWanted);
            changes.tap(std::get<Keystroke>(step));
            co_await keysHandled(keyboard, *executor);
        }
    } catch (...) {
        failure = std::current_exception();
    }
    // However typing ended, the keys typed are looked up with the bindings they were typed with.
    co_await changes.settle();
    changes.restore();
    if (failure) {
        std::rethrow_exception(failure);
    }
}

Task<void> InputInjector::keysHandled(KeymapKeyboard& keyboard, Executor& executor) {
    std::optional<TimerId> timer;
    auto ask = [&](OneShotContinuation<bool> done) {
        if (keyboard.askWhenKeysHandled([done] { done.resume(true); })) {
            timer = executor.scheduleAfter(keysHandledTimeout, [done] { done.resume(false); });
        } else {
            timer = executor.scheduleAfter(keyInterval, [done] { done.resume(true); });
        }
    };
    struct TimerCancel {
        Executor& executor;
        std::optional<TimerId>& timer;
        ~TimerCancel() {
            if (timer) {
                executor.cancelTimer(*timer);
            }
        }
    } cancel{executor, timer};
    const bool handled = co_await withContinuation<bool>(std::move(ask));
    co_await checkCancellation();
    if (!handled) {
        throw InputInjectionError(Kind::unavailableTarget);
    }
}

// The user's modifier keys would change or swallow the keys typed, and the keys go wherever the
// focus is.
Task<void> InputInjector::checkBeforeKey(CapturedInsertionTarget& target,
                                         const StillWanted& stillWanted) {
    throwUnlessWanted(stillWanted);
    throwIfInvalid(target);
    if (heldModifiers() != 0) {
        co_await waitForModifierRelease(stillWanted);
        throwUnlessWanted(stillWanted);
        throwIfInvalid(target);
    }
}

std::vector<std::u16string_view> InputInjector::utf16Chunks(std::u16string_view text, int limit) {
    std::vector<std::u16string_view> chunks;
    if (limit < 2) {
        return chunks;
    }
    const auto maximum = static_cast<std::size_t>(limit);
    std::size_t start = 0;
    std::size_t index = 0;
    while (index < text.size()) {
        const std::size_t length = isSurrogatePairAt(text, index) ? 2 : 1;
        if (index > start && index + length - start > maximum) {
            chunks.push_back(text.substr(start, index - start));
            start = index;
        }
        index += length;
    }
    if (index > start) {
        chunks.push_back(text.substr(start));
    }
    return chunks;
}

} // namespace kestrelle
