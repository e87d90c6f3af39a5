#pragma once

#include "Security/SecurePasswordService.h"
#include "Storage/EntryRepository.h"
#include "Storage/SecretStore.h"
#include "Support/FakeBiometrics.h"
#include "Support/FakeKeychainBackend.h"
#include "Support/FlakyFileWriter.h"
#include "Support/InlineQueue.h"
#include "Support/ManualExecutor.h"
#include "Support/TemporaryDirectory.h"

#include <string>
#include <string_view>

namespace kestrelle::test {

// The real password stores under the Settings window: the secure password service over a fake
// Keychain and biometrics, and the catalog repository on a temporary directory whose writes a
// test can make fail.
struct PasswordStack {
    EntryRepository makeRepository() {
        auto flaky = std::make_unique<FlakyFileWriter>();
        writer = flaky.get();
        return EntryRepository([this] { return directory.path(); }, std::move(flaky));
    }

    ManualExecutor executor;
    FakeBiometricContextFactory factory;
    FakeKeychainBackend keychain;
    InlineQueue queue;
    SecretStore store{keychain, queue};
    SecurePasswordService securePasswords{factory, store, executor};
    TemporaryDirectory directory;
    FlakyFileWriter* writer = nullptr;
    EntryRepository repository = makeRepository();
    // What a failed catalog write reports.
    const std::string writeError = FlakyFileWriter::failure().description();

    void storeItem(const Uuid& id, std::string_view password) {
        keychain.items[{store.service(), id.toString()}] = {secretBytes(password), {}};
    }
    bool itemHolds(const Uuid& id, std::string_view password) const {
        auto found = keychain.items.find({store.service(), id.toString()});
        return found != keychain.items.end() && sameBytes(found->second.value, password);
    }
};

} // namespace kestrelle::test
