#include "Invocation/PasswordClipboard.h"

#include "Invocation/InputInjectionError.h"
#include "Invocation/Utf8Decoding.h"
#include "Runtime/Cancellation.h"

#include <optional>

namespace kestrelle {

PasswordClipboard::~PasswordClipboard() {
    clearTask_.cancel();
    forgetText();
}

void PasswordClipboard::copy(const TransientSecret& secret) {
    auto text = secret.withUnsafeBytes(
        [](std::span<const std::uint8_t> bytes) -> std::optional<WipingVector<char>> {
            if (!isValidUtf8(bytes)) {
                return std::nullopt;
            }
            return WipingVector<char>(bytes.begin(), bytes.end());
        });
    if (!text) {
        throw InputInjectionError(InputInjectionError::Kind::invalidUTF8);
    }

    pasteboard_.offerConcealedText(std::string_view(text->data(), text->size()));
    // The previous text is wiped only now that the pasteboard reads the new one.
    text_ = std::move(*text);
    const std::int64_t changeCount = pasteboard_.changeCount();

    clearTask_.cancel();
    clearTask_ = spawn(executor_, clearUnlessChanged(*this, executor_, changeCount));
}

void PasswordClipboard::forgetText() {
    pasteboard_.forgetText();
    text_ = WipingVector<char>();
}

Task<void> PasswordClipboard::clearUnlessChanged(PasswordClipboard& self, const Executor& clock,
                                                 std::int64_t copiedChangeCount) {
    // `self` is touched only right after a sleep, which throws once the clipboard has cancelled
    // this task: on a new copy and at its destruction.
    const auto deadline = clock.now() + clearDelay;
    for (Duration waited{}; waited < clearDelay && clock.now() < deadline;
         waited += clearCheckInterval) {
        co_await sleepFor(clearCheckInterval);
        // Whatever was copied since belongs to someone else.
        if (self.pasteboard_.changeCount() != copiedChangeCount) {
            self.forgetText();
            co_return;
        }
    }
    self.pasteboard_.clearContents();
    self.text_ = WipingVector<char>();
}

} // namespace kestrelle
