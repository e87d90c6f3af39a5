#pragma once

#include "Invocation/PasswordCopying.h"
#include "Invocation/PasteboardService.h"
#include "Runtime/Executor.h"
#include "Runtime/TaskHandle.h"

#include <chrono>
#include <cstdint>
#include <string_view>

namespace kestrelle {

// Copies a password as concealed text, which clipboard managers leave out of their history,
// and clears it a minute later unless something else was copied since. Main-thread object.
class PasswordClipboard final : public PasswordCopying {
public:
    static constexpr std::string_view plainTextType = "public.utf8-plain-text";
    static constexpr std::string_view concealedType = "org.nspasteboard.ConcealedType";
    static constexpr std::chrono::seconds clearDelay{60};

    // `pasteboard` must outlive the clipboard and its pending clear.
    PasswordClipboard(PasteboardService& pasteboard, Executor& executor)
        : pasteboard_(pasteboard), executor_(executor) {}
    PasswordClipboard(const PasswordClipboard&) = delete;
    PasswordClipboard& operator=(const PasswordClipboard&) = delete;

    // Invalid UTF-8 leaves the pasteboard and the pending clear alone.
    void copy(const TransientSecret& secret) override;

private:
    static Task<void> clearUnlessChanged(PasteboardService& pasteboard,
                                         std::int64_t copiedChangeCount);

    PasteboardService& pasteboard_;
    Executor& executor_;
    TaskHandle clearTask_;
};

} // namespace kestrelle
