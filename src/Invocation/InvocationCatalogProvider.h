#pragma once

#include "Runtime/Task.h"
#include "Runtime/Uuid.h"
#include "Storage/EntryCatalogStoring.h"

#include <vector>

namespace kestrelle {

// The entry list as an invocation sees it: a snapshot for the picker, and a last look at the
// file before a chosen entry is delivered.
class InvocationCatalogProvider {
public:
    struct Snapshot {
        std::vector<EntryMetadata> entries;
        friend bool operator==(const Snapshot&, const Snapshot&) = default;
    };

    // `repository` must outlive the provider.
    explicit InvocationCatalogProvider(EntryCatalogStoring& repository) : repository_(repository) {}

    Task<Snapshot> snapshot();
    // Whether the entry was shown and still exists now (it may have been deleted in Settings
    // while the picker was open).
    Task<bool> remainsEligible(Uuid entryID, const Snapshot& shown);

private:
    EntryCatalogStoring& repository_;
};

} // namespace kestrelle
