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

// Sees every block that a wiping buffer frees while it lives.
class FreedSecrets {
public:
    FreedSecrets() {
        sizes.clear();
        allZero = true;
        observeFreedSecrets(&record);
    }
    ~FreedSecrets() { observeFreedSecrets(nullptr); }
    static inline std::vector<std::size_t> sizes;
    static inline bool allZero = true;

private:
    static void record(std::span<const std::byte> block) {
        sizes.push_back(block.size());
        allZero =
            allZero && std::ranges::all_of(block, [](std::byte b) { return b == std::byte{0}; });
    }
};

TEST(SecureWipeTest, EveryFreedSecretBufferHoldsOnlyZeros) {
    FreedSecrets freed;
    {
        auto grown = secretBytes("correct horse");
        const auto copy = grown;
        grown.resize(grown.capacity() + 1, 'x'); // moves to a larger block
        EXPECT_EQ(freed.sizes.size(), 1U);
    }
    TransientSecret secret(secretBytes("battery staple"));
    secret.clear();
    secret.clear();
    EXPECT_EQ(freed.sizes.size(), 4U) << "the first clear frees the bytes at once";
    EXPECT_EQ(freed.sizes.back(), 14U);
    EXPECT_EQ(secret.withUnsafeBytes([](auto bytes) { return bytes.size(); }), 0U);
    { const TransientSecret dropped(secretBytes("staple")); }
    EXPECT_EQ(freed.sizes.size(), 5U) << "destruction frees the bytes too";
    EXPECT_TRUE(freed.allZero);
}

TEST(TransientSecretTest, ReadsInsideTheAccessorAndPassesResultsAndErrorsThrough) {
    const TransientSecret secret(secretBytes("hunter2"));
    EXPECT_TRUE(
        secret.withUnsafeBytes([](auto bytes) { return test::sameBytes(bytes, "hunter2"); }));
    EXPECT_THROW(secret.withUnsafeBytes([](auto) -> int { throw std::runtime_error("consumer"); }),
                 std::runtime_error);
    // The lock was released by the throw.
    EXPECT_EQ(secret.withUnsafeBytes([](auto bytes) { return bytes.size(); }), 7U);
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
