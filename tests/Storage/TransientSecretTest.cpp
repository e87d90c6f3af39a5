#include "Storage/TransientSecret.h"

#include "Support/FakeKeychainBackend.h"

#include <algorithm>
#include <atomic>
#include <gtest/gtest.h>
#include <stdexcept>
#include <thread>

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

// The one test with a thread: it proves that `clear` cannot wipe bytes that are being read.
TEST(TransientSecretTest, ClearWaitsForAReaderToFinish) {
    TransientSecret secret(secretBytes("s3cret!"));
    std::atomic<bool> reading = false;
    std::atomic<bool> cleared = false;
    std::jthread clearer([&] {
        reading.wait(false);
        secret.clear();
        cleared = true;
    });
    const bool intactThroughout = secret.withUnsafeBytes([&](std::span<const std::uint8_t> bytes) {
        reading = true;
        reading.notify_one();
        // Give an unguarded clear every chance to run now.
        for (int turn = 0; turn < 2000; ++turn) {
            std::this_thread::yield();
        }
        return !cleared && test::sameBytes(bytes, "s3cret!");
    });
    clearer.join();
    EXPECT_TRUE(intactThroughout);
    EXPECT_EQ(secret.withUnsafeBytes([](auto bytes) { return bytes.size(); }), 0U);
}

} // namespace
} // namespace kestrelle
