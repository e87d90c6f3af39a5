#pragma once

#include "Invocation/PasteboardService.h"
#include "Runtime/Executor.h"
#include "Runtime/TaskHandle.h"
#include "Storage/TransientSecret.h"

#include <chrono>
#include <cstdint>

namespace kestrelle {

// Copies a password as concealed text, which clipboard managers leave out of their history,
// and clears it a minute later unless something else was copied since. It keeps the password's
// bytes, lent to the clipboard, only while the clipboard holds them. Main-thread object.
class PasswordClipboard {
public:
    // A minute of the user's time, which goes on while the computer sleeps: the clear looks at
    // the wall clock every `clearCheckInterval`, so after a sleep the password goes within that
    // long of waking. A wall clock set back cannot stretch the minute beyond a minute of timers.
    // The same look notices another copy, which ends the wait.
    static constexpr std::chrono::seconds clearDelay{60};
    static constexpr std::chrono::seconds clearCheckInterval{1};

    // `pasteboard` must outlive the clipboard.
    PasswordClipboard(PasteboardService& pasteboard, Executor& executor)
        : pasteboard_(pasteboard), executor_(executor) {}
    // Leaves the clipboard as it is where it keeps a copy of its own.
    ~PasswordClipboard();
    PasswordClipboard(const PasswordClipboard&) = delete;
    PasswordClipboard& operator=(const PasswordClipboard&) = delete;

    // Throws InputInjectionError `invalidUTF8`, leaving the pasteboard and the pending clear
    // alone. The secret is borrowed.
    void copy(const TransientSecret& secret);

private:
    static Task<void> clearUnlessChanged(PasswordClipboard& self, const Executor& clock,
                                         std::int64_t copiedChangeCount);
    void forgetText();

    PasteboardService& pasteboard_;
    Executor& executor_;
    WipingVector<char> text_;
    TaskHandle clearTask_;
};

} // namespace kestrelle
