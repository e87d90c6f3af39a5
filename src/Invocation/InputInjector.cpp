#include "Invocation/InputInjector.h"

#include "Invocation/Utf8Decoding.h"
#include "Runtime/Cancellation.h"

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

    // Lives in this frame, so it is wiped however the insertion ends.
    const auto text = secret.withUnsafeBytes(
        [](std::span<const std::uint8_t> bytes) { return decodeUtf8AsUtf16(bytes); });
    if (!text) {
        throw InputInjectionError(Kind::invalidUTF8);
    }
    co_await postUnicode(std::u16string_view(text->data(), text->size()), *target, stillWanted);
}

Task<void> InputInjector::waitForModifierRelease(const StillWanted& stillWanted) {
    for (int attempts = 0;;) {
        throwUnlessWanted(stillWanted);
        if ((keyboard_.currentModifierFlags() & modifierMask) == 0) {
            co_return;
        }
        co_await sleepFor(modifierPollInterval);
        // The last pause is not followed by another look.
        if (++attempts == modifierPollAttempts) {
            throw InputInjectionError(Kind::modifiersHeld);
        }
    }
}

Task<void> InputInjector::postUnicode(std::u16string_view text, CapturedInsertionTarget& target,
                                      const StillWanted& stillWanted) {
    const auto source = keyboard_.makePrivateSource();
    if (!source) {
        throw InputInjectionError(Kind::eventCreationFailed);
    }
    const std::int32_t processIdentifier = target.processIdentifier();
    for (const auto chunk : utf16Chunks(text, chunkLimit)) {
        throwUnlessWanted(stillWanted);
        throwIfInvalid(target);
        auto keyDown = keyboard_.makeKeyEvent(*source, virtualKey, true);
        auto keyUp = keyboard_.makeKeyEvent(*source, virtualKey, false);
        if (!keyDown || !keyUp) {
            throw InputInjectionError(Kind::eventCreationFailed);
        }
        keyboard_.setFlags(*keyDown, 0);
        keyboard_.setFlags(*keyUp, 0);
        keyboard_.setUnicodeString(*keyDown, chunk);
        keyboard_.setUnicodeString(*keyUp, chunk);
        keyboard_.postToProcess(*keyDown, processIdentifier);
        try {
            co_await sleepFor(keyPressHold);
        } catch (const CancelledError&) {
            // Never leave a key down in the target.
            keyboard_.postToProcess(*keyUp, processIdentifier);
            throw;
        }
        keyboard_.postToProcess(*keyUp, processIdentifier);
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
