#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace kestrelle {

// A 128-bit identifier, written in the canonical upper-case 8-4-4-4-12 form.
class Uuid {
public:
    using Bytes = std::array<std::uint8_t, 16>;

    constexpr explicit Uuid(const Bytes& bytes) : bytes_(bytes) {}

    // A random version-4 identifier from the operating system's CSPRNG.
    static Uuid random();
    // Accepts the 36-character form in either case; anything else yields nothing.
    static std::optional<Uuid> parse(std::string_view text);

    std::string toString() const;
    const Bytes& bytes() const { return bytes_; }

    friend bool operator==(const Uuid&, const Uuid&) = default;
    friend auto operator<=>(const Uuid&, const Uuid&) = default;

private:
    Bytes bytes_;
};

} // namespace kestrelle

template <>
struct std::hash<kestrelle::Uuid> {
    std::size_t operator()(const kestrelle::Uuid& uuid) const noexcept {
        std::size_t hash = 0;
        for (auto byte : uuid.bytes()) {
            hash = hash * 131 + byte;
        }
        return hash;
    }
};
