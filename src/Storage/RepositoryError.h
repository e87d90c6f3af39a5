#pragma once

#include "Runtime/KestrelleError.h"

#include <cstdint>
#include <string>
#include <variant>

namespace kestrelle {

// A catalog that breaks the repository's rules. It is never written and never handed out.
class RepositoryError : public KestrelleError {
public:
    struct CorruptMetadata {
        std::string detail;
        friend bool operator==(const CorruptMetadata&, const CorruptMetadata&) = default;
    };
    struct UnsupportedSchema {
        std::int64_t version;
        friend bool operator==(const UnsupportedSchema&, const UnsupportedSchema&) = default;
    };
    using Reason = std::variant<CorruptMetadata, UnsupportedSchema>;

    static RepositoryError corruptMetadata(std::string detail) {
        std::string description =
            "The password metadata file is corrupt. It was not changed. " + detail;
        return RepositoryError(std::move(description), CorruptMetadata{std::move(detail)});
    }
    static RepositoryError unsupportedSchema(std::int64_t version) {
        return RepositoryError("Password metadata uses unsupported schema version " +
                                   std::to_string(version) + ". It was not changed.",
                               UnsupportedSchema{version});
    }

    const Reason& reason() const { return reason_; }

private:
    RepositoryError(std::string description, Reason reason)
        : KestrelleError(std::move(description)), reason_(std::move(reason)) {}

    Reason reason_;
};

} // namespace kestrelle
