#pragma once

#include "Preferences/KeyValueStore.h"
#include "Runtime/Logger.h"
#include "Storage/AtomicFileWriting.h"

#include <filesystem>
#include <nlohmann/json.hpp>

namespace kestrelle {

// The preferences as one JSON object in a file, where the platform has no preferences service
// (Linux: $XDG_CONFIG_HOME/kestrelle/preferences.json). Read once when made; every write
// replaces the whole file atomically and keeps the value in memory even when the file cannot be
// written. A file that cannot be read as an object is left alone until the first write, which
// first moves it aside to "<name>.unreadable", so nothing the user had is lost.
// Fake: test::InMemoryKeyValueStore.
class JsonKeyValueStore final : public KeyValueStore {
public:
    // `writer` must outlive the store.
    JsonKeyValueStore(std::filesystem::path file, AtomicFileWriting& writer);

    StoredValue read(std::string_view key) const override;
    void writeInteger(std::string_view key, std::int64_t value) override;
    void writeUnsigned(std::string_view key, std::uint64_t value) override;

private:
    void save();

    std::filesystem::path file_;
    AtomicFileWriting& writer_;
    Logger logger_{"Preferences"};
    nlohmann::json values_ = nlohmann::json::object();
    bool unreadable_ = false;
};

} // namespace kestrelle
