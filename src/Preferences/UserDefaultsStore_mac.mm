#include "Preferences/UserDefaultsStore_mac.h"

#include <CoreFoundation/CoreFoundation.h>
#import <Foundation/Foundation.h>

#include <limits>

namespace kestrelle {

namespace {

NSString *toNSString(std::string_view text) {
    return [[NSString alloc] initWithBytes:text.data()
                                    length:text.size()
                                  encoding:NSUTF8StringEncoding];
}

// The kinds KeyValueStore names, told apart by the stored object alone.
StoredValue storedValue(id object) {
    if (object == nil) {
        return std::monostate{};
    }
    if ([object isKindOfClass:[NSString class]]) {
        return std::string([(NSString *)object UTF8String]);
    }
    if (![object isKindOfClass:[NSNumber class]]) {
        return OtherStoredValue{};
    }
    NSNumber *number = object;
    if (CFGetTypeID((__bridge CFTypeRef)number) == CFBooleanGetTypeID()) {
        return static_cast<bool>(number.boolValue);
    }
    if (CFNumberIsFloatType((__bridge CFNumberRef)number)) {
        return number.doubleValue;
    }
    // Against a signed bound: compare: converts as C does, so a negative number stays below it.
    if ([number compare:@(std::numeric_limits<std::int64_t>::max())] == NSOrderedDescending) {
        return static_cast<std::uint64_t>(number.unsignedLongLongValue);
    }
    return static_cast<std::int64_t>(number.longLongValue);
}

class UserDefaultsStore final : public KeyValueStore {
  public:
    explicit UserDefaultsStore(NSUserDefaults *defaults) : defaults_(defaults) {}

    StoredValue read(std::string_view key) const override {
        return storedValue([defaults_ objectForKey:toNSString(key)]);
    }

    void writeInteger(std::string_view key, std::int64_t value) override {
        [defaults_ setInteger:static_cast<NSInteger>(value) forKey:toNSString(key)];
    }

    void writeUnsigned(std::string_view key, std::uint64_t value) override {
        [defaults_ setObject:[NSNumber numberWithUnsignedLongLong:value] forKey:toNSString(key)];
    }

  private:
    NSUserDefaults *defaults_;
};

} // namespace

std::unique_ptr<KeyValueStore> makeStandardUserDefaults() {
    return std::make_unique<UserDefaultsStore>([NSUserDefaults standardUserDefaults]);
}

std::unique_ptr<KeyValueStore> makeSuiteUserDefaults(std::string_view suiteName) {
    return std::make_unique<UserDefaultsStore>(
        [[NSUserDefaults alloc] initWithSuiteName:toNSString(suiteName)]);
}

} // namespace kestrelle
