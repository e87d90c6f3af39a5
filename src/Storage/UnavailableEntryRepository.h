#pragma once

#include "Runtime/KestrelleError.h"
#include "Storage/EntryCatalogStoring.h"

#include <string>

namespace kestrelle {

// Stands in for the repository when it could not be created, so that the rest of the system runs
// and shows why wherever the catalog is needed. Touches no file.
class UnavailableEntryRepository final : public EntryCatalogStoring {
public:
    class UnavailableError : public KestrelleError {
    public:
        explicit UnavailableError(const std::string& detail) : KestrelleError(detail) {}
        const std::string& detail() const { return description(); }
    };

    explicit UnavailableEntryRepository(std::string detail) : detail_(std::move(detail)) {}

    const std::string& detail() const { return detail_; }

    // Both always fail with UnavailableError(detail).
    Task<EntryCatalog> load() override;
    Task<void> save(EntryCatalog catalog) override;

private:
    std::string detail_;
};

} // namespace kestrelle
