#include "Storage/TransientSecret.h"

namespace kestrelle {

void TransientSecret::clear() noexcept {
    std::lock_guard guard(lock_);
    // Freeing the buffer wipes all of it, through its allocator.
    SecretBytes().swap(storage_);
}

} // namespace kestrelle
