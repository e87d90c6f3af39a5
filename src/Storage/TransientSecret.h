#pragma once

#include "Storage/SecureWipe.h"

#include <cstdint>
#include <mutex>
#include <span>
#include <type_traits>

namespace kestrelle {

// The bytes of one password between the Keychain and the place they are typed or copied.
// They are readable only inside `withUnsafeBytes`, and are wiped by `clear()` and on
// destruction. Safe to use from several threads; share it through a smart pointer.
class TransientSecret {
public:
    explicit TransientSecret(SecretBytes bytes) : storage_(std::move(bytes)) {}
    ~TransientSecret() { clear(); }
    TransientSecret(const TransientSecret&) = delete;
    TransientSecret& operator=(const TransientSecret&) = delete;

    // Runs `body` with the bytes while holding the lock, so they cannot be wiped under it, and
    // returns what `body` returns. The span must not outlive `body`, and `body` must not call
    // back into this secret.
    template <class Body>
    std::invoke_result_t<Body&, std::span<const std::uint8_t>> withUnsafeBytes(Body&& body) const {
        std::lock_guard guard(lock_);
        return body(std::span<const std::uint8_t>(storage_.data(), storage_.size()));
    }

    // Wipes the bytes and frees them. Clearing twice is harmless.
    void clear() noexcept;

private:
    mutable std::mutex lock_;
    SecretBytes storage_;
};

} // namespace kestrelle
