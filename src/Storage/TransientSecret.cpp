#include "Storage/TransientSecret.h"

namespace kestrelle {

void TransientSecret::clear() noexcept {
    std::lock_guard guard(lock_);
    secureWipe(storage_.data(), storage_.size());
    SecretBytes().swap(storage_);
}

} // namespace kestrelle
