#pragma once

#include "Storage/EntryMetadata.h"

#include <cstdint>
#include <vector>

namespace kestrelle {

// The whole content of the metadata file. A default-constructed catalog is the empty one.
struct EntryCatalog {
    static constexpr std::int64_t currentSchemaVersion = 1;

    std::int64_t schemaVersion = currentSchemaVersion;
    // In display order: the picker's and the Settings list's.
    std::vector<EntryMetadata> orderedEntries;

    friend bool operator==(const EntryCatalog&, const EntryCatalog&) = default;
};

} // namespace kestrelle
