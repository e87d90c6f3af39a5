#include "Storage/TransientSecret.h"

#include "Support/FakeKeychainBackend.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <stdexcept>

namespace kestrelle {
namespace {

using test::secretBytes;

// The sizes of the blocks that wiping buffers free while observed, and whether all were zeros.
std::vector<std::size_t> freedSizes;
bool freedAllZero = true;

void recordFreed(std::span<const std::byte> block) {
    freedSizes.push_back(block.size());
    freedAllZero =
        freedAllZero && std::ranges::all_of(block, [](auto b) { return b == std::byte{}; });
}

TEST(SecureWipeTest, EveryFreedSecretBufferHoldsOnlyZeros) {
    observeFreedSecrets(&recordFreed);
    {
        auto grown = secretBytes("correct horse");
        const auto copy = grown;
        grown.resize(grown.capacity() + 1, 'x'); // moves to a larger block
        EXPECT_EQ(freedSizes.size(), 1U);
    }
    TransientSecret secret(secretBytes("battery staple"));
    // What the reader returns or throws passes through, and a throw releases the lock.
    EXPECT_TRUE(secret.withUnsafeBytes(
        [](auto bytes) { return test::sameBytes(bytes, "battery staple"); }));
    EXPECT_THROW(secret.withUnsafeBytes([](auto) -> int { throw std::runtime_error("reader"); }),
                 std::runtime_error);
    secret.clear();
    secret.clear();
    EXPECT_EQ(freedSizes.size(), 4U) << "the first clear frees the bytes at once";
    EXPECT_EQ(freedSizes.back(), 14U);
    EXPECT_EQ(secret.withUnsafeBytes([](auto bytes) { return bytes.size(); }), 0U);
    { const TransientSecret dropped(secretBytes("staple")); }
    EXPECT_EQ(freedSizes.size(), 5U) << "destruction frees the bytes too";
    EXPECT_TRUE(freedAllZero);
    observeFreedSecrets(nullptr);
}

} // namespace
} // namespace kestrelle
