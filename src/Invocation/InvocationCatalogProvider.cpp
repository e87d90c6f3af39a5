#include "Invocation/InvocationCatalogProvider.h"

#include <algorithm>

namespace kestrelle {

namespace {

bool contains(const std::vector<EntryMetadata>& entries, const Uuid& entryID) {
    return std::any_of(entries.begin(), entries.end(),
                       [&](const EntryMetadata& entry) { return entry.id() == entryID; });
}

} // namespace

Task<InvocationCatalogProvider::Snapshot> InvocationCatalogProvider::snapshot() {
    auto catalog = co_await repository_.load();
    co_return Snapshot{std::move(catalog.orderedEntries)};
}

Task<bool> InvocationCatalogProvider::remainsEligible(Uuid entryID, const Snapshot& shown) {
    if (!contains(shown.entries, entryID)) {
        co_return false;
    }
    const auto current = co_await repository_.load();
    co_return contains(current.orderedEntries, entryID);
}

} // namespace kestrelle
