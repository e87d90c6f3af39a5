// Feeds arbitrary bytes to the metadata file's decoder and the repository's rules, and checks what
// must hold for every input, not only that nothing crashes.

#include "Runtime/Check.h"
#include "Storage/EntryCatalogJson.h"
#include "Storage/EntryRepository.h"
#include "Storage/MetadataFormatError.h"
#include "Storage/RepositoryError.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>

namespace kestrelle {
namespace {

std::optional<EntryCatalog> decode(std::string_view bytes) {
    try {
        return decodeEntryCatalog(bytes);
    } catch (const MetadataFormatError& error) {
        KESTRELLE_CHECK(error.description().starts_with(
                            "The password metadata file is not in the expected format: "),
                        "A refusal does not say the file has the wrong format");
        KESTRELLE_CHECK(error.description().ends_with(". It was not changed."),
                        "A refusal does not say the file was left as it was");
        return std::nullopt;
    }
}

// The first two rules, decided here without the repository's code; the label rule only where
// plain ASCII settles it.
void checkValidation(const EntryCatalog& catalog) {
    std::set<Uuid> identifiers;
    bool emptyLabel = false;
    bool labelWithoutVisibleAscii = false;
    for (const EntryMetadata& entry : catalog.orderedEntries) {
        identifiers.insert(entry.id());
        emptyLabel = emptyLabel || entry.label.empty();
        labelWithoutVisibleAscii =
            labelWithoutVisibleAscii || std::none_of(entry.label.begin(), entry.label.end(),
                                                     [](char c) { return c > ' ' && c < 0x7F; });
    }
    const bool unique = identifiers.size() == catalog.orderedEntries.size();
    std::optional<RepositoryError::Reason> reason;
    try {
        EntryRepository::validate(catalog);
    } catch (const RepositoryError& error) {
        KESTRELLE_CHECK(error.description().find("It was not changed.") != std::string::npos,
                        "A broken rule does not say the file was left as it was");
        reason = error.reason();
    }
    if (catalog.schemaVersion != EntryCatalog::currentSchemaVersion) {
        KESTRELLE_CHECK(reason == RepositoryError::Reason{RepositoryError::UnsupportedSchema{
                                      catalog.schemaVersion}},
                        "A foreign schema version is not reported first");
    } else if (!unique) {
        KESTRELLE_CHECK(reason == RepositoryError::Reason{RepositoryError::CorruptMetadata{
                                      "Entry identifiers must be unique."}},
                        "Repeated identifiers are not reported");
    } else if (!reason) {
        KESTRELLE_CHECK(!emptyLabel, "An empty label passed");
    } else {
        KESTRELLE_CHECK(*reason == RepositoryError::Reason{RepositoryError::CorruptMetadata{
                                       "Every entry must have a label."}},
                        "Refused for a rule the catalog keeps");
        KESTRELLE_CHECK(labelWithoutVisibleAscii, "A label with visible text counted as blank");
    }
}

} // namespace
} // namespace kestrelle

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace kestrelle;
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    auto catalog = decode(bytes);
    if (!catalog) {
        return 0;
    }
    KESTRELLE_CHECK(size <= maximumEntryFileSize, "An oversized file was decoded");
    checkValidation(*catalog);

    // Whatever was read can be written, and reads back as the same catalog in the same bytes.
    const std::string encoded = encodeEntryCatalog(*catalog);
    auto reread = decode(encoded);
    KESTRELLE_CHECK(reread == catalog, "A written catalog reads back differently");
    KESTRELLE_CHECK(encodeEntryCatalog(*reread) == encoded, "Writing the same catalog differs");
    return 0;
}
