#include "Settings/PasswordSettingsService.h"

#include "Runtime/Utf8.h"
#include "Settings/ControlCharacterRanges.h"
#include "Settings/PasswordSettingsError.h"
#include "Settings/PasswordValidationError.h"
#include "Storage/SecretStoreError.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <span>

namespace kestrelle {

namespace {

std::span<const std::uint8_t> bytesOf(std::string_view text) {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

// Unicode's white space and line breaks: categories Zs, Zl and Zp, tab to carriage return, U+0085.
bool isBlank(char32_t scalar) {
    switch (scalar) {
    case 0x20:
    case 0x85:
    case 0xA0:
    case 0x1680:
    case 0x2028:
    case 0x2029:
    case 0x202F:
    case 0x205F:
    case 0x3000:
        return true;
    default:
        return (scalar >= 0x09 && scalar <= 0x0D) || (scalar >= 0x2000 && scalar <= 0x200A);
    }
}

// Categories Cc and Cf, and the line breaks: those outside Cc are the line and paragraph
// separators.
bool isControlOrNewline(char32_t scalar) {
    if (scalar == 0x2028 || scalar == 0x2029) {
        return true;
    }
    const auto after = std::upper_bound(
        std::begin(controlCharacterRanges), std::end(controlCharacterRanges), scalar,
        [](char32_t value, const CodePointRange& range) { return value < range.first; });
    return after != std::begin(controlCharacterRanges) && scalar <= std::prev(after)->last;
}

void requireValidPassword(std::span<const std::uint8_t> password) {
    if (password.empty()) {
        throw PasswordValidationError::emptyPassword();
    }
    bool clean = true;
    const bool decoded =
        forEachUtf8Scalar(password, [&](char32_t scalar, std::size_t, std::size_t) {
            clean = clean && !isControlOrNewline(scalar);
        });
    // Bytes that are not text could not be typed either.
    if (!decoded || !clean) {
        throw PasswordValidationError::controlCharacter();
    }
}

std::size_t indexOf(const EntryCatalog& catalog, const Uuid& entryID) {
    const auto& entries = catalog.orderedEntries;
    const auto found =
        std::find_if(entries.begin(), entries.end(),
                     [&](const EntryMetadata& entry) { return entry.id() == entryID; });
    if (found == entries.end()) {
        throw PasswordSettingsError::entryNotFound();
    }
    return static_cast<std::size_t>(found - entries.begin());
}

// Refuses a second change instead of queueing it: the user would approve a change they no
// longer expect.
class MutationGuard {
public:
    explicit MutationGuard(bool& isMutating) : isMutating_(isMutating) {
        if (isMutating_) {
            throw PasswordSettingsError::mutationInProgress();
        }
        isMutating_ = true;
    }
    ~MutationGuard() { isMutating_ = false; }
    MutationGuard(const MutationGuard&) = delete;
    MutationGuard& operator=(const MutationGuard&) = delete;

private:
    bool& isMutating_;
};

} // namespace

PasswordSettingsService::PasswordSettingsService(EntryCatalogStoring& repository,
                                                 SecurePasswordService& securePasswords,
                                                 InvocationCanceller cancelInvocation)
    : repository_(repository), securePasswords_(securePasswords),
      cancelInvocation_(std::move(cancelInvocation)) {}

std::string PasswordSettingsService::validatedLabel(std::string_view label) {
    std::optional<std::size_t> start;
    std::size_t end = 0;
    const bool decoded = forEachUtf8Scalar(
        bytesOf(label), [&](char32_t scalar, std::size_t offset, std::size_t length) {
            if (!isBlank(scalar)) {
                start = start.value_or(offset);
                end = offset + length;
            }
        });
    // Not text at all (the platform's text fields cannot produce it): only a new label helps.
    if (!decoded || !start) {
        throw PasswordValidationError::blankLabel();
    }
    return std::string(label.substr(*start, end - *start));
}

SecretBytes PasswordSettingsService::validatedPasswordData(std::string_view password) {
    SecretBytes data(password.begin(), password.end());
    requireValidPassword(data);
    return data;
}

Task<PasswordSettingsSnapshot> PasswordSettingsService::snapshot() {
    const auto catalog = co_await currentCatalog();
    PasswordSettingsSnapshot snapshot;
    for (const EntryMetadata& entry : catalog.orderedEntries) {
        auto state = EntrySecretState::missing;
        if (!knownMissing_.contains(entry.id())) {
            try {
                const bool exists = co_await securePasswords_.containsSecret(entry.id());
                state = exists ? EntrySecretState::available : EntrySecretState::missing;
            } catch (const SecretStoreError&) {
                state = EntrySecretState::unknown;
            }
            // Not while a change runs: a repair may store the password after this check and still
            // fail, its undo failing too, without clearing the mark. A repair that starts later
            // cannot have finished by now, as Keychain calls complete in the order they were made.
            if (state == EntrySecretState::missing && !isMutating_) {
                knownMissing_.insert(entry.id());
            }
        }
        snapshot.entries.push_back({entry.id(), entry.label, state});
    }
    co_return snapshot;
}

Task<void> PasswordSettingsService::add(std::string_view label, std::string_view password) {
    return addEntry(std::string(label), SecretBytes(password.begin(), password.end()));
}

Task<void> PasswordSettingsService::edit(Uuid entryID, std::string_view label,
                                         std::optional<std::string_view> replacementPassword,
                                         bool repairMissing) {
    std::optional<SecretBytes> password;
    if (replacementPassword) {
        password.emplace(replacementPassword->begin(), replacementPassword->end());
    }
    return editEntry(entryID, std::string(label), std::move(password), repairMissing);
}

Task<void> PasswordSettingsService::addEntry(std::string label, SecretBytes password) {
    const MutationGuard guard(isMutating_);
    label = validatedLabel(label);
    requireValidPassword(password);
    auto updated = co_await currentCatalog();
    const auto entryID = Uuid::random();
    updated.orderedEntries.emplace_back(entryID, std::move(label));

    logger_.notice("Starting add authentication for entry {}", entryID);
    std::optional<SettingsAuthorization> authorization;
    try {
        authorization = co_await authorize(SettingsOperation::addSecret(entryID));
    } catch (...) {
        logger_.error("Add authentication failed for entry {}", entryID);
        throw;
    }
    logger_.notice("Add authentication succeeded for entry {}", entryID);

    SecurePasswordService::MetadataCommit commit = [this, updated, entryID]() -> Task<void> {
        return commitCatalog(updated, entryID);
    };
    co_await securePasswords_.addSecret(std::move(password), entryID, *authorization,
                                        std::move(commit));
    logger_.notice("Add transaction committed for entry {}", entryID);
}

Task<void> PasswordSettingsService::editEntry(Uuid entryID, std::string label,
                                              std::optional<SecretBytes> password,
                                              bool repairMissing) {
    const MutationGuard guard(isMutating_);
    label = validatedLabel(label);
    if (password) {
        requireValidPassword(*password);
    } else if (repairMissing) {
        throw PasswordValidationError::emptyPassword();
    }
    auto updated = co_await currentCatalog();
    updated.orderedEntries[indexOf(updated, entryID)].label = std::move(label);

    const auto operation = repairMissing ? SettingsOperation::repairSecret(entryID)
                           : password    ? SettingsOperation::replaceSecret(entryID)
                                         : SettingsOperation::catalogMutation();
    const auto authorization = co_await authorize(operation);
    if (!password) {
        co_await securePasswords_.consumeCatalogMutationAuthorization(authorization);
        co_await commitCatalog(std::move(updated), entryID);
    } else {
        SecurePasswordService::MetadataCommit commit = [this, updated, entryID]() -> Task<void> {
            return commitCatalog(updated, entryID);
        };
        if (repairMissing) {
            co_await securePasswords_.repairSecret(std::move(*password), entryID, authorization,
                                                   std::move(commit));
        } else {
            co_await securePasswords_.replaceSecret(std::move(*password), entryID, authorization,
                                                    std::move(commit));
        }
    }
    knownMissing_.erase(entryID);
}

Task<void> PasswordSettingsService::move(Uuid entryID, std::ptrdiff_t offset) {
    const MutationGuard guard(isMutating_);
    auto updated = co_await currentCatalog();
    auto& entries = updated.orderedEntries;
    const auto from = static_cast<std::ptrdiff_t>(indexOf(updated, entryID));
    // An offset past either end stops there; clamping the offset keeps the sum from overflowing.
    const auto last = static_cast<std::ptrdiff_t>(entries.size()) - 1;
    const auto to = from + std::clamp(offset, -from, last - from);
    if (to == from) {
        // Nothing would change, so there is nothing to approve.
        co_return;
    }
    auto entry = std::move(entries[from]);
    entries.erase(entries.begin() + from);
    entries.insert(entries.begin() + to, std::move(entry));

    const auto authorization = co_await authorize(SettingsOperation::catalogMutation());
    co_await securePasswords_.consumeCatalogMutationAuthorization(authorization);
    co_await commitCatalog(std::move(updated), entryID);
}

Task<void> PasswordSettingsService::deleteEntry(Uuid entryID) {
    const MutationGuard guard(isMutating_);
    auto updated = co_await currentCatalog();
    auto& entries = updated.orderedEntries;
    entries.erase(entries.begin() + static_cast<std::ptrdiff_t>(indexOf(updated, entryID)));

    const auto authorization = co_await authorize(SettingsOperation::deleteSecret(entryID));
    try {
        co_await securePasswords_.deleteSecret(entryID, authorization);
    } catch (const SecretStoreError& error) {
        // A password that is already gone is deleted: its entry may go too.
        if (error.kind() != SecretStoreError::Kind::itemNotFound) {
            throw;
        }
    }
    knownMissing_.erase(entryID);
    try {
        co_await commitCatalog(updated, entryID);
    } catch (const KestrelleError& error) {
        // The password cannot come back, so the entry must go: at the next call, before anything.
        pendingCatalog_ = std::move(updated);
        throw PasswordSettingsError::metadataReconciliationPending(error.description());
    }
}

Task<EntryCatalog> PasswordSettingsService::currentCatalog() {
    if (pendingCatalog_) {
        auto pending = *pendingCatalog_;
        co_await saveWithRetry(pending);
        // Unless a commit meanwhile wrote something newer.
        if (pendingCatalog_ == pending) {
            catalog_ = std::move(pending);
            pendingCatalog_.reset();
        }
    }
    if (!catalog_) {
        auto loaded = co_await repository_.load();
        // A change committed while the file was read is newer than what was read.
        if (!catalog_) {
            catalog_ = std::move(loaded);
        }
    }
    co_return *catalog_;
}

Task<void> PasswordSettingsService::saveWithRetry(EntryCatalog catalog) {
    for (int attempt = 1;; ++attempt) {
        try {
            co_await repository_.save(catalog);
            co_return;
        } catch (const KestrelleError&) {
            // Retried at once: the approval that can still undo the Keychain step is short-lived.
            if (attempt == saveAttempts) {
                throw;
            }
        }
    }
}

Task<void> PasswordSettingsService::commitCatalog(EntryCatalog catalog, Uuid entryID) {
    try {
        co_await saveWithRetry(catalog);
    } catch (const KestrelleError&) {
        logger_.error("Metadata commit failed for entry {}", entryID);
        throw;
    }
    catalog_ = std::move(catalog);
    pendingCatalog_.reset();
}

Task<SettingsAuthorization> PasswordSettingsService::authorize(SettingsOperation operation) {
    cancelInvocation_();
    co_return co_await securePasswords_.authorizeSettings(operation);
}

} // namespace kestrelle
