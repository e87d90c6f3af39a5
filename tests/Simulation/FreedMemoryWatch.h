#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace kestrelle::test {

// Finds secrets freed without being wiped: this executable replaces the global operator new and
// delete, and while a watch lives every freed block is searched for the watched byte strings.
// One watch at a time, on one thread.
class FreedMemoryWatch {
public:
    FreedMemoryWatch();
    // Wipes its copies of the watched strings.
    ~FreedMemoryWatch();
    FreedMemoryWatch(const FreedMemoryWatch&) = delete;
    FreedMemoryWatch& operator=(const FreedMemoryWatch&) = delete;

    void watch(std::span<const std::uint8_t> bytes);
    // How many freed blocks held a watched string.
    std::size_t unwipedFrees() const;
};

} // namespace kestrelle::test
