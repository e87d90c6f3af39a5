#pragma once

#include "Runtime/Uuid.h"

#include <string>

namespace kestrelle {

// One saved entry. Its id never changes: it is also the Keychain account of the password.
// Labels may repeat and are never used as keys.
class EntryMetadata {
public:
    EntryMetadata(Uuid id, std::string label) : label(std::move(label)), id_(id) {}

    const Uuid& id() const { return id_; }

    std::string label;

    friend bool operator==(const EntryMetadata&, const EntryMetadata&) = default;

private:
    Uuid id_;
};

} // namespace kestrelle
