#include "Storage/UnavailableEntryRepository.h"

namespace kestrelle {

Task<EntryCatalog> UnavailableEntryRepository::load() {
    throw UnavailableError(detail_);
    co_return EntryCatalog{};
}

Task<void> UnavailableEntryRepository::save(EntryCatalog) {
    throw UnavailableError(detail_);
    co_return;
}

} // namespace kestrelle
