#pragma once

#include "Runtime/Task.h"
#include "Storage/EntryCatalog.h"

namespace kestrelle {

// Loads and saves the catalog. Every failure is a KestrelleError whose description is meant
// for the user. Real: EntryRepository, or UnavailableEntryRepository when that cannot be made.
// Tests use the real one in a TemporaryDirectory.
class EntryCatalogStoring {
public:
    virtual ~EntryCatalogStoring() = default;

    virtual Task<EntryCatalog> load() = 0;
    // Writes the whole catalog, or nothing at all.
    virtual Task<void> save(EntryCatalog catalog) = 0;
};

} // namespace kestrelle
