#include "Storage/EntryCatalogJson.h"

#include "Storage/MetadataFormatError.h"

#include <cstdint>
#include <limits>
#include <nlohmann/json.hpp>

namespace kestrelle {

namespace {

using Json = nlohmann::json;

// The catalog itself needs three levels; the rest is room for unknown keys. The limit keeps a
// file of brackets from building millions of nested values.
constexpr int maximumNesting = 32;

[[noreturn]] void fail(const std::string& detail) {
    throw MetadataFormatError::undecodable(detail);
}

// Counts brackets outside strings; exact for valid JSON, and invalid JSON fails later anyway.
bool nestsDeeperThan(std::string_view text, int limit) {
    int depth = 0;
    bool inString = false;
    bool escaped = false;
    for (char c : text) {
        if (inString) {
            if (escaped) {
                escaped = false;
            } else if (c == '\\') {
                escaped = true;
            } else if (c == '"') {
                inString = false;
            }
        } else if (c == '"') {
            inString = true;
        } else if (c == '[' || c == '{') {
            if (++depth > limit) {
                return true;
            }
        } else if (c == ']' || c == '}') {
            --depth;
        }
    }
    return false;
}

// `place` names the value in messages, e.g. "“id” of entry 2".
const Json& member(const Json& object, const char* key, const std::string& place) {
    auto found = object.find(key);
    if (found == object.end()) {
        fail(place + " is missing");
    }
    return *found;
}

const std::string& stringValue(const Json& value, const std::string& place) {
    if (!value.is_string()) {
        fail(place + " is not a string");
    }
    return value.get_ref<const std::string&>();
}

std::int64_t integerValue(const Json& value, const std::string& place) {
    bool fits = value.is_number_integer() &&
                !(value.is_number_unsigned() &&
                  value.get<std::uint64_t>() >
                      static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max()));
    if (!fits) {
        fail(place + " is not an integer");
    }
    return value.get<std::int64_t>();
}

EntryMetadata decodeEntry(const Json& value, std::size_t number) {
    const std::string entry = "entry " + std::to_string(number);
    if (!value.is_object()) {
        fail(entry + " is not an object");
    }
    const std::string idPlace = "“id” of " + entry;
    auto id = Uuid::parse(stringValue(member(value, "id", idPlace), idPlace));
    if (!id) {
        fail(idPlace + " is not a UUID");
    }
    const std::string labelPlace = "“label” of " + entry;
    return EntryMetadata(*id, stringValue(member(value, "label", labelPlace), labelPlace));
}

} // namespace

std::string encodeEntryCatalog(const EntryCatalog& catalog) {
    Json entries = Json::array();
    for (const EntryMetadata& entry : catalog.orderedEntries) {
        entries.push_back(Json::object({{"id", entry.id().toString()}, {"label", entry.label}}));
    }
    // nlohmann's objects keep their keys sorted.
    Json document = Json::object(
        {{"orderedEntries", std::move(entries)}, {"schemaVersion", catalog.schemaVersion}});
    try {
        return document.dump(2) + '\n';
    } catch (const Json::type_error&) {
        throw MetadataFormatError::unencodable("a label is not valid UTF-8 text");
    }
}

EntryCatalog decodeEntryCatalog(std::string_view bytes) {
    if (bytes.size() > maximumEntryFileSize) {
        fail("it is larger than " + std::to_string(maximumEntryFileSize / (1024 * 1024)) + " MB");
    }
    if (nestsDeeperThan(bytes, maximumNesting)) {
        fail("its values are nested more than " + std::to_string(maximumNesting) + " levels deep");
    }
    Json document;
    try {
        document = Json::parse(bytes.begin(), bytes.end());
    } catch (const Json::parse_error& error) {
        fail("it is not valid JSON text (error at byte " + std::to_string(error.byte) + ")");
    } catch (const Json::exception&) {
        // A number beyond the range of a double.
        fail("it is not valid JSON text");
    }
    if (!document.is_object()) {
        fail("its top level is not an object");
    }
    EntryCatalog catalog;
    catalog.schemaVersion =
        integerValue(member(document, "schemaVersion", "“schemaVersion”"), "“schemaVersion”");
    const Json& entries = member(document, "orderedEntries", "“orderedEntries”");
    if (!entries.is_array()) {
        fail("“orderedEntries” is not an array");
    }
    catalog.orderedEntries.reserve(entries.size());
    for (std::size_t index = 0; index < entries.size(); ++index) {
        catalog.orderedEntries.push_back(decodeEntry(entries[index], index + 1));
    }
    return catalog;
}

} // namespace kestrelle
