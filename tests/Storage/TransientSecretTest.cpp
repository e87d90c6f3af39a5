#include "Storage/TransientSecret.h"

#include "Support/FakeKeychainBackend.h"

#include <array>
#include <atomic>
#include <gtest/gtest.h>
#include <stdexcept>
#include <thread>

namespace kestrelle {
namespace {

using test::secretBytes;

TEST(SecureWipeTest, ZeroesEveryByteAndAcceptsAnEmptyRange) {
    std::array<std::uint8_t, 9> buffer{};
    buffer.fill(0xA5);
    secureWipe(buffer.data(), buffer.size());
    for (auto byte : buffer) {
        EXPECT_EQ(byte, 0);
    }
    secureWipe(nullptr, 0);
}

TEST(TransientSecretTest, ReadsInsideTheAccessorAndPassesResultsAndErrorsThrough) {
    const TransientSecret secret(secretBytes("hunter2"));
    const bool same = secret.withUnsafeBytes([](std::span<const std::uint8_t> bytes) {
        return std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()) ==
               "hunter2";
    });
    EXPECT_TRUE(same);
    EXPECT_THROW(secret.withUnsafeBytes([](auto) -> int { throw std::runtime_error("consumer"); }),
                 std::runtime_error);
    // The lock was released by the throw.
    EXPECT_EQ(secret.withUnsafeBytes([](auto bytes) { return bytes.size(); }), 7U);
}

TEST(TransientSecretTest, ClearEmptiesAndIsHarmlessTwice) {
    TransientSecret secret(secretBytes("correct horse"));
    secret.clear();
    EXPECT_EQ(secret.withUnsafeBytes([](auto bytes) { return bytes.size(); }), 0U);
    secret.clear();
    EXPECT_EQ(secret.withUnsafeBytes([](auto bytes) { return bytes.size(); }), 0U);
}

// The one test with threads: it proves that `clear` cannot wipe bytes that are being read.
TEST(TransientSecretTest, ClearWaitsForAReaderToFinish) {
    TransientSecret secret(secretBytes("s3cret!"));
    std::atomic<bool> reading = false;
    std::atomic<bool> clearing = false;
    std::atomic<bool> cleared = false;

    std::jthread clearer([&] {
        while (!reading) {
            std::this_thread::yield();
        }
        clearing = true;
        secret.clear();
        cleared = true;
    });

    const bool intactThroughout = secret.withUnsafeBytes([&](std::span<const std::uint8_t> bytes) {
        reading = true;
        while (!clearing) {
            std::this_thread::yield();
        }
        // Give an unguarded clear every chance to run now.
        for (int turn = 0; turn < 2000; ++turn) {
            std::this_thread::yield();
        }
        return !cleared && bytes.size() == 7 && bytes[0] == 's' && bytes[6] == '!';
    });
    clearer.join();

    EXPECT_TRUE(intactThroughout);
    EXPECT_TRUE(cleared);
    EXPECT_EQ(secret.withUnsafeBytes([](auto bytes) { return bytes.size(); }), 0U);
}

} // namespace
} // namespace kestrelle
