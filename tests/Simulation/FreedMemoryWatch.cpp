#include "Simulation/FreedMemoryWatch.h"

#include "Storage/SecureWipe.h"

#include <array>
#include <cstdlib>
#include <cstring>
#include <new>

namespace kestrelle::test {

namespace {

// Fixed storage: the search runs inside operator delete and must not allocate.
struct Needle {
    std::size_t size = 0;
    std::array<unsigned char, 1024> bytes{};
};
std::array<Needle, 256> needles;
std::size_t needleCount = 0;
std::size_t unwiped = 0;

// Each block starts with its size, as operator delete(void*) is not told it.
constexpr std::size_t header = __STDCPP_DEFAULT_NEW_ALIGNMENT__;

bool contains(const unsigned char* block, std::size_t size, const Needle& needle) {
    if (size < needle.size) {
        return false;
    }
    // The last place where the needle could start.
    const auto* last = block + (size - needle.size);
    for (const auto* at = block; at <= last; ++at) {
        at = static_cast<const unsigned char*>(
            std::memchr(at, needle.bytes[0], static_cast<std::size_t>(last - at) + 1));
        if (at == nullptr) {
            return false;
        }
        if (std::memcmp(at, needle.bytes.data(), needle.size) == 0) {
            return true;
        }
    }
    return false;
}

void* allocate(std::size_t size) noexcept {
    auto* block = static_cast<unsigned char*>(std::malloc(size + header));
    if (block == nullptr) {
        return nullptr;
    }
    std::memcpy(block, &size, sizeof size);
    return block + header;
}

void release(void* pointer) noexcept {
    if (pointer == nullptr) {
        return;
    }
    auto* block = static_cast<unsigned char*>(pointer) - header;
    std::size_t size = 0;
    std::memcpy(&size, block, sizeof size);
    for (std::size_t index = 0; index < needleCount; ++index) {
        if (contains(static_cast<const unsigned char*>(pointer), size, needles[index])) {
            ++unwiped;
            break;
        }
    }
    std::free(block);
}

} // namespace

FreedMemoryWatch::FreedMemoryWatch() {
    unwiped = 0;
}

FreedMemoryWatch::~FreedMemoryWatch() {
    secureWipe(needles.data(), sizeof needles);
    needleCount = 0;
}

void FreedMemoryWatch::watch(std::span<const std::uint8_t> bytes) {
    if (!bytes.empty() && bytes.size() <= needles[0].bytes.size() && needleCount < needles.size()) {
        std::memcpy(needles[needleCount].bytes.data(), bytes.data(), bytes.size());
        needles[needleCount++].size = bytes.size();
    }
}

std::size_t FreedMemoryWatch::unwipedFrees() const {
    return unwiped;
}

} // namespace kestrelle::test

// Every form, so that none is left to a sanitizer runtime's allocator.
void* operator new(std::size_t size) {
    if (void* pointer = kestrelle::test::allocate(size)) {
        return pointer;
    }
    throw std::bad_alloc();
}
void* operator new[](std::size_t size) {
    return ::operator new(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return kestrelle::test::allocate(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return kestrelle::test::allocate(size);
}
void operator delete(void* pointer) noexcept {
    kestrelle::test::release(pointer);
}
void operator delete[](void* pointer) noexcept {
    kestrelle::test::release(pointer);
}
void operator delete(void* pointer, std::size_t) noexcept {
    kestrelle::test::release(pointer);
}
void operator delete[](void* pointer, std::size_t) noexcept {
    kestrelle::test::release(pointer);
}
void operator delete(void* pointer, const std::nothrow_t&) noexcept {
    kestrelle::test::release(pointer);
}
void operator delete[](void* pointer, const std::nothrow_t&) noexcept {
    kestrelle::test::release(pointer);
}
