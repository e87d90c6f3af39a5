#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>

namespace kestrelle {

// A value of a kind the preferences never hold (a date, a list, …).
struct OtherStoredValue {
    friend bool operator==(const OtherStoredValue&, const OtherStoredValue&) = default;
};

// What a preferences store holds under a key; std::monostate when nothing is stored.
//
// The adapter reports the stored object's kind by these rules and never converts between them:
// - bool: the store's boolean object only (macOS: a CFBoolean, told apart by its type identity,
//   not by an objCType of "c"); a number 0 or 1 stays a number.
// - double: a number stored as floating point (CFNumberIsFloatType), even a whole one.
// - std::int64_t: every other number that fits in 64 signed bits, however it was stored.
// - std::uint64_t: only an integer above INT64_MAX (stored as unsigned 64 bits).
// - std::string: text; OtherStoredValue: anything else (data, dates, lists, dictionaries).
// Which kinds count as the integer a preference expects is the core's decision (Settings: whole
// numbers of the three numeric kinds do; booleans and texts never do).
using StoredValue = std::variant<std::monostate, std::int64_t, std::uint64_t, double, bool,
                                 std::string, OtherStoredValue>;

// The user's preferences domain: the user defaults on macOS. Fake: test::InMemoryKeyValueStore.
class KeyValueStore {
public:
    virtual ~KeyValueStore() = default;
    virtual StoredValue read(std::string_view key) const = 0;
    // An integer number object (macOS: setInteger:forKey:).
    virtual void writeInteger(std::string_view key, std::int64_t value) = 0;
    // An unsigned 64-bit number object, for bit sets (macOS: NSNumber's unsignedLongLong).
    virtual void writeUnsigned(std::string_view key, std::uint64_t value) = 0;
};

} // namespace kestrelle
