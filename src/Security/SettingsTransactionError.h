#pragma once

#include "Runtime/KestrelleError.h"

#include <string>

namespace kestrelle {

// A settings change whose catalog commit failed and whose Keychain step could not be undone.
class SettingsTransactionError : public KestrelleError {
public:
    static SettingsTransactionError metadataAndRollbackFailed(const std::string& metadata,
                                                              const std::string& rollback) {
        return SettingsTransactionError(
            "The password change could not be recorded, and cleanup also failed. Metadata: " +
            metadata + " " + rollback);
    }

private:
    using KestrelleError::KestrelleError;
};

} // namespace kestrelle
