#pragma once

#include "Preferences/KeyValueStore.h"

#include <map>
#include <string>
#include <utility>
#include <vector>

namespace kestrelle::test {

// A preferences domain in memory that remembers every write.
class InMemoryKeyValueStore final : public KeyValueStore {
public:
    StoredValue read(std::string_view key) const override {
        auto found = values.find(std::string(key));
        return found == values.end() ? StoredValue{} : found->second;
    }
    void writeInteger(std::string_view key, std::int64_t value) override { write(key, value); }
    void writeUnsigned(std::string_view key, std::uint64_t value) override { write(key, value); }

    std::map<std::string, StoredValue> values;
    std::vector<std::pair<std::string, StoredValue>> writes;

    void write(std::string_view key, StoredValue value) {
        writes.emplace_back(key, value);
        values[std::string(key)] = std::move(value);
    }
};

} // namespace kestrelle::test
