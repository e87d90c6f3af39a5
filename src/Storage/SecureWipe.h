#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <type_traits>
#include <vector>

namespace kestrelle {

// Overwrites `size` bytes at `data` with zero in a way the optimiser may not drop, even when
// the memory is about to be freed.
void secureWipe(void* data, std::size_t size) noexcept;

// For tests: `observer` (none to stop) sees every block a WipingAllocator frees, after its wipe
// and before it is freed. It may be called from any thread.
using FreedSecretObserver = void (*)(std::span<const std::byte> block);
void observeFreedSecrets(FreedSecretObserver observer) noexcept;

namespace detail {
void reportFreedSecret(const void* block, std::size_t size) noexcept;
} // namespace detail

// Wipes every block before handing it back, so a container that grows or dies leaves no copy
// of its contents in freed memory.
template <class T>
class WipingAllocator {
    static_assert(std::is_trivially_copyable_v<T>, "only plain values can be wiped as bytes");

public:
    using value_type = T;

    WipingAllocator() = default;
    template <class U>
    WipingAllocator(const WipingAllocator<U>&) noexcept {}

    T* allocate(std::size_t count) { return std::allocator<T>{}.allocate(count); }
    void deallocate(T* block, std::size_t count) noexcept {
        secureWipe(block, count * sizeof(T));
        detail::reportFreedSecret(block, count * sizeof(T));
        std::allocator<T>{}.deallocate(block, count);
    }

    template <class U>
    friend bool operator==(const WipingAllocator&, const WipingAllocator<U>&) noexcept {
        return true;
    }
};

template <class T>
using WipingVector = std::vector<T, WipingAllocator<T>>;

// Password bytes (UTF-8) on their way into or out of the Keychain.
using SecretBytes = WipingVector<std::uint8_t>;

} // namespace kestrelle
