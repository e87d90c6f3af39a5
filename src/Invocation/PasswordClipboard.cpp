#include "Invocation/PasswordClipboard.h"

#include "Invocation/InputInjectionError.h"
#include "Invocation/Utf8Decoding.h"
#include "Runtime/Cancellation.h"

#include <array>
#include <optional>

namespace kestrelle {

void PasswordClipboard::copy(const TransientSecret& secret) {
    const auto text = secret.withUnsafeBytes(
        [](std::span<const std::uint8_t> bytes) -> std::optional<WipingVector<char>> {
            if (!isValidUtf8(bytes)) {
                return std::nullopt;
            }
            return WipingVector<char>(bytes.begin(), bytes.end());
        });
    if (!text) {
        throw InputInjectionError(InputInjectionError::Kind::invalidUTF8);
    }

    static constexpr std::array types{plainTextType, concealedType};
    pasteboard_.declareTypes(types);
    pasteboard_.setString(std::string_view(text->data(), text->size()), plainTextType);
    // The marker carries no data.
    pasteboard_.setString({}, concealedType);
    const std::int64_t changeCount = pasteboard_.changeCount();

    clearTask_.cancel();
    clearTask_ = spawn(executor_, clearUnlessChanged(pasteboard_, executor_, changeCount));
}

Task<void> PasswordClipboard::clearUnlessChanged(PasteboardService& pasteboard,
                                                 const Executor& clock,
                                                 std::int64_t copiedChangeCount) {
    const auto deadline = clock.now() + clearDelay;
    for (Duration waited{}; waited < clearDelay && clock.now() < deadline;
         waited += clearCheckInterval) {
        co_await sleepFor(clearCheckInterval);
    }
    // Whatever was copied since belongs to someone else.
    if (pasteboard.changeCount() == copiedChangeCount) {
        pasteboard.clearContents();
    }
}

} // namespace kestrelle
