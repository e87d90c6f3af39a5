#pragma once

#include "Runtime/KestrelleError.h"

namespace kestrelle {

class PasswordSettingsError : public KestrelleError {
public:
    enum class Kind { metadataReconciliationPending, entryNotFound, mutationInProgress };

    // A deleted password whose catalog entry is still on disk; `writeError` says why.
    static PasswordSettingsError metadataReconciliationPending(const std::string& writeError) {
        return {Kind::metadataReconciliationPending,
                "The password was removed, but its label could not be updated on disk. Kestrelle "
                "will retry. " +
                    writeError};
    }
    static PasswordSettingsError entryNotFound() {
        return {Kind::entryNotFound,
                "That password entry no longer exists. Refresh Settings and try again."};
    }
    static PasswordSettingsError mutationInProgress() {
        return {Kind::mutationInProgress, "Another password change is still in progress."};
    }

    Kind kind() const { return kind_; }

private:
    PasswordSettingsError(Kind kind, std::string description)
        : KestrelleError(std::move(description)), kind_(kind) {}

    Kind kind_;
};

} // namespace kestrelle
