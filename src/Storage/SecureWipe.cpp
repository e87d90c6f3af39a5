// Must precede every include for memset_s to be declared on Apple platforms.
#define __STDC_WANT_LIB_EXT1__ 1

#include "Storage/SecureWipe.h"

#include <atomic>
#include <string.h>

namespace kestrelle {

namespace {
std::atomic<FreedSecretObserver> freedSecretObserver{nullptr};
} // namespace

void secureWipe(void* data, std::size_t size) noexcept {
    if (data == nullptr || size == 0) {
        return;
    }
#if defined(__GLIBC__) || defined(__FreeBSD__) || defined(__OpenBSD__)
    explicit_bzero(data, size);
#elif defined(__APPLE__)
    memset_s(data, size, 0, size);
#else
    auto* bytes = static_cast<volatile unsigned char*>(data);
    for (std::size_t index = 0; index < size; ++index) {
        bytes[index] = 0;
    }
#endif
}

void observeFreedSecrets(FreedSecretObserver observer) noexcept {
    freedSecretObserver.store(observer);
}

void detail::reportFreedSecret(const void* block, std::size_t size) noexcept {
    if (const auto observer = freedSecretObserver.load()) {
        observer(std::span(static_cast<const std::byte*>(block), size));
    }
}

} // namespace kestrelle
