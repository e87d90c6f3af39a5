#pragma once

#include "Runtime/Uuid.h"
#include "Security/PasswordAction.h"
#include "Storage/EntryMetadata.h"

#include <optional>
#include <vector>

namespace kestrelle {

// The list one invocation shows, and whether a choice has already been made from it.
struct PasswordPickerSession {
    Uuid invocationID;
    std::vector<EntryMetadata> entries;
    // `type` when a text field can be typed into, `copy` otherwise.
    PasswordAction primaryAction = PasswordAction::type;
    std::optional<int> highlightedIndex;
    // Set by the first choice, so a session delivers at most one.
    bool consumed = false;

    // Number keys reach the first nine entries only. Marks the session consumed when `number`
    // names an entry.
    std::optional<Uuid> consumeShortcut(int number);

    friend bool operator==(const PasswordPickerSession&, const PasswordPickerSession&) = default;
};

} // namespace kestrelle
