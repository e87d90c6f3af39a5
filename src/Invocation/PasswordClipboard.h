#pragma once

#include "Invocation/PasteboardService.h"
#include "Runtime/Executor.h"
#include "Runtime/TaskHandle.h"
#include "Storage/TransientSecret.h"

#include <chrono>
#include <cstdint>
#include <string_view>

namespace kestrelle {

// Copies a password as concealed text, which clipboard managers leave out of their history,
// and clears it a minute later unless something else was copied since. Main-thread object.
class PasswordClipboard {
public:
    static constexpr std::string_view plainTextType = "public.utf8-plain-text";
    static constexpr std::string_view concealedType = "org.nspasteboard.ConcealedType";
    // A minute of the user's time, which goes on while the computer sleeps: the clear looks at
    // the wall clock every `clearCheckInterval`, so after a sleep the password goes within that
    // long of waking. A wall clock set back cannot stretch the minute beyond a minute of timers.
    static constexpr std::chrono::seconds clearDelay{60};
    static constexpr std::chrono::seconds clearCheckInterval{1};

    // `pasteboard` must outlive the clipboard and its pending clear.
    PasswordClipboard(PasteboardService& pasteboard, Executor& executor)
        : pasteboard_(pasteboard), executor_(executor) {}
    PasswordClipboard(const PasswordClipboard&) = delete;
    PasswordClipboard& operator=(const PasswordClipboard&) = delete;

    // Throws InputInjectionError `invalidUTF8`, leaving the pasteboard and the pending clear
    // alone. The secret is borrowed.
    void copy(const TransientSecret& secret);

private:
    static Task<void> clearUnlessChanged(PasteboardService& pasteboard, const Executor& clock,
                                         std::int64_t copiedChangeCount);

    PasteboardService& pasteboard_;
    Executor& executor_;
    TaskHandle clearTask_;
};

} // namespace kestrelle
