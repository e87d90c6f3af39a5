#pragma once

#include "Storage/EntryCatalog.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace kestrelle {

// Far beyond any real catalog (tens of thousands of entries), and small enough that reading and
// decoding a file never stalls the main thread.
inline constexpr std::size_t maximumEntryFileSize = 4 * 1024 * 1024;

// The file's JSON: {"orderedEntries": [{"id": "<UUID>", "label": "…"}, …], "schemaVersion": 1}.
// Written pretty-printed with sorted keys; read in any layout, extra keys ignored.
// Both throw MetadataFormatError. Neither validates the catalog's rules.
std::string encodeEntryCatalog(const EntryCatalog& catalog);
EntryCatalog decodeEntryCatalog(std::string_view bytes);

} // namespace kestrelle
