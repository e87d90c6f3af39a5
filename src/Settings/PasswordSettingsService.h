#pragma once

#include "Runtime/Logger.h"
#include "Runtime/Task.h"
#include "Runtime/Uuid.h"
#include "Security/SecurePasswordService.h"
#include "Settings/PasswordSettingsSnapshot.h"
#include "Storage/EntryCatalogStoring.h"
#include "Storage/SecureWipe.h"

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>

namespace kestrelle {

// Applies the Settings window's changes to saved passwords. Each change is a transaction across
// the Keychain and the catalog file: validate, approve with a fresh prompt, change the Keychain,
// commit the catalog, and undo the Keychain step when the catalog cannot be written.
// Main-thread object; one change runs at a time, snapshots may run beside it.
//
// Errors: PasswordValidationError, PasswordSettingsError, and passed through unchanged,
// BiometricAuthenticationError, SecretStoreError, SettingsTransactionError and the repository's.
class PasswordSettingsService {
public:
    // Ends any running invocation, so that none holds the gate or a prompt during a change.
    using InvocationCanceller = std::function<void()>;

    static constexpr int saveAttempts = 3;

    // `repository` and `securePasswords` must outlive the service.
    PasswordSettingsService(EntryCatalogStoring& repository, SecurePasswordService& securePasswords,
                            InvocationCanceller cancelInvocation);
    PasswordSettingsService(const PasswordSettingsService&) = delete;
    PasswordSettingsService& operator=(const PasswordSettingsService&) = delete;

    // Never prompts.
    Task<PasswordSettingsSnapshot> snapshot();

    // The arguments are copied before the call returns; the password only into wiping buffers.
    Task<void> add(std::string_view label, std::string_view password);
    // Renames, and with `replacementPassword` replaces the stored password; with `repairMissing`
    // stores it for an entry whose Keychain item is gone.
    Task<void> edit(Uuid entryID, std::string_view label,
                    std::optional<std::string_view> replacementPassword, bool repairMissing);
    // Negative offsets move towards the top. An offset past either end stops there, and a move
    // that changes nothing asks for no approval.
    Task<void> move(Uuid entryID, std::ptrdiff_t offset);
    // A password that is already gone counts as deleted. When the catalog cannot be written
    // afterwards, the entry's removal is written before anything else, at the next call.
    Task<void> deleteEntry(Uuid entryID);

    // Trimmed of white space and line breaks at both ends.
    static std::string validatedLabel(std::string_view label);
    // The password's UTF-8 bytes, untrimmed.
    static SecretBytes validatedPasswordData(std::string_view password);

private:
    Task<void> addEntry(std::string label, SecretBytes password);
    Task<void> editEntry(Uuid entryID, std::string label, std::optional<SecretBytes> password,
                         bool repairMissing);

    // Writes a pending catalog first, then loads once.
    Task<EntryCatalog> currentCatalog();
    Task<void> saveWithRetry(EntryCatalog catalog);
    // Saves and, once saved, makes it the current catalog.
    Task<void> commitCatalog(EntryCatalog catalog, Uuid entryID);
    // Ends any invocation, then prompts.
    Task<SettingsAuthorization> authorize(SettingsOperation operation);

    Logger logger_{"PasswordSettings"};
    EntryCatalogStoring& repository_;
    SecurePasswordService& securePasswords_;
    InvocationCanceller cancelInvocation_;
    std::optional<EntryCatalog> catalog_;
    // Written before anything else: a delete removed the password, but not yet its entry.
    std::optional<EntryCatalog> pendingCatalog_;
    std::unordered_set<Uuid> knownMissing_;
    bool isMutating_ = false;
};

} // namespace kestrelle
