// Writes a private defaults suite of its own and removes it afterwards.
#include "Preferences/UserDefaultsStore_mac.h"

#import <Foundation/Foundation.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

namespace kestrelle {
namespace {

NSString *const suiteName = @"app.kestrelle.tests.UserDefaultsStore";

class UserDefaultsStoreTest : public ::testing::Test {
  protected:
    void SetUp() override { [defaults_ removePersistentDomainForName:suiteName]; }
    void TearDown() override { [defaults_ removePersistentDomainForName:suiteName]; }

    NSUserDefaults *defaults_ = [[NSUserDefaults alloc] initWithSuiteName:suiteName];
    std::unique_ptr<KeyValueStore> store_ = makeSuiteUserDefaults(suiteName.UTF8String);
};

TEST_F(UserDefaultsStoreTest, ReportsEachStoredObjectByItsKindWithoutConverting) {
    const std::uint64_t aboveSigned = std::numeric_limits<std::uint64_t>::max();
    struct Case {
        const char *name;
        id object;
        StoredValue expected;
    };
    const Case cases[] = {
        {"boolean true", @YES, true},
        {"boolean false", @NO, false},
        {"number one stays a number", @1, std::int64_t{1}},
        {"number zero stays a number", @0, std::int64_t{0}},
        {"negative integer", @(-5LL), std::int64_t{-5}},
        {"whole double", @2.0, 2.0},
        {"unsigned above the signed range", @(aboveSigned), aboveSigned},
        {"text", @"text", std::string("text")},
        {"data", [NSData dataWithBytes : "ab" length : 2], OtherStoredValue {}},
        {"date", [NSDate date], OtherStoredValue {}},
    };
    for (const auto &testCase : cases) {
        SCOPED_TRACE(testCase.name);
        [defaults_ setObject:testCase.object forKey:@"value"];
        EXPECT_EQ(store_->read("value"), testCase.expected);
    }
    EXPECT_EQ(store_->read("absent"), StoredValue{});
}

TEST_F(UserDefaultsStoreTest, WrittenNumbersReadBackAsTheirKinds) {
    store_->writeInteger("integer", -42);
    store_->writeUnsigned("bits", std::numeric_limits<std::uint64_t>::max());
    store_->writeUnsigned("small bits", 3);

    EXPECT_EQ(store_->read("integer"), StoredValue{std::int64_t{-42}});
    EXPECT_EQ(store_->read("bits"), StoredValue{std::numeric_limits<std::uint64_t>::max()});
    EXPECT_EQ(store_->read("small bits"), StoredValue{std::int64_t{3}});
}

} // namespace
} // namespace kestrelle
