#pragma once

#include "Security/SecurePasswordService.h"
#include "Storage/AtomicFileWriter.h"
#include "Storage/EntryRepository.h"
#include "Storage/FileSystemError.h"
#include "Storage/SecretStore.h"
#include "Support/FakeBiometrics.h"
#include "Support/FakeKeychainBackend.h"
#include "Support/InlineQueue.h"
#include "Support/ManualExecutor.h"
#include "Support/TemporaryDirectory.h"

#include <string>
#include <string_view>
#include <system_error>

namespace kestrelle::test {

// The real atomic writer, except that the next `failures` writes fail as on a full disk, leaving
// the old file as it was.
class FlakyFileWriter final : public AtomicFileWriting {
public:
    void write(const std::filesystem::path& file, std::string_view bytes) override {
        ++attempts;
        if (failures > 0) {
            --failures;
            throw failure();
        }
        real_.write(file, bytes);
    }

    static FileSystemError failure() {
        return FileSystemError::fileUnchanged("The catalog could not be saved",
                                              std::make_error_code(std::errc::no_space_on_device));
    }

    int failures = 0;
    int attempts = 0;

private:
    AtomicFileWriter real_;
};

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
