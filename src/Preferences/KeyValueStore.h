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
using StoredValue = std::variant<std::monostate, std::int64_t, std::uint64_t, double, bool,
                                 std::string, OtherStoredValue>;

// The user's preferences domain (the user defaults on macOS).
class KeyValueStore {
public:
    virtual ~KeyValueStore() = default;
    virtual StoredValue read(std::string_view key) const = 0;
    virtual void writeInteger(std::string_view key, std::int64_t value) = 0;
    virtual void writeUnsigned(std::string_view key, std::uint64_t value) = 0;
};

} // namespace kestrelle
