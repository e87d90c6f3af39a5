#include "Preferences/JsonKeyValueStore.h"

#include "Storage/FileSystemError.h"

#include <fstream>
#include <limits>

namespace kestrelle {

JsonKeyValueStore::JsonKeyValueStore(std::filesystem::path file, AtomicFileWriting& writer)
    : file_(std::move(file)), writer_(writer) {
    std::ifstream stream(file_, std::ios::binary);
    if (!stream) {
        return; // nothing saved yet
    }
    auto parsed = nlohmann::json::parse(stream, nullptr, false);
    if (parsed.is_object()) {
        values_ = std::move(parsed);
    } else {
        unreadable_ = true;
        logger_.error("The preferences file is not a JSON object; defaults apply");
    }
}

StoredValue JsonKeyValueStore::read(std::string_view key) const {
    const auto found = values_.find(key);
    if (found == values_.end()) {
        return std::monostate{};
    }
    const auto& value = *found;
    if (value.is_boolean()) {
        return value.get<bool>();
    }
    // The parser reads every non-negative whole number as unsigned.
    if (value.is_number_unsigned()) {
        const auto number = value.get<std::uint64_t>();
        if (number > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) {
            return number;
        }
        return static_cast<std::int64_t>(number);
    }
    if (value.is_number_integer()) {
        return value.get<std::int64_t>();
    }
    if (value.is_number_float()) {
        return value.get<double>();
    }
    if (value.is_string()) {
        return value.get<std::string>();
    }
    return OtherStoredValue{};
}

void JsonKeyValueStore::writeInteger(std::string_view key, std::int64_t value) {
    values_[std::string(key)] = value;
    save();
}

void JsonKeyValueStore::writeUnsigned(std::string_view key, std::uint64_t value) {
    values_[std::string(key)] = value;
    save();
}

void JsonKeyValueStore::save() {
    std::error_code error;
    if (unreadable_) {
        auto aside = file_;
        aside += ".unreadable";
        std::filesystem::rename(file_, aside, error);
        if (error) {
            logger_.error("The unreadable preferences file could not be moved aside ({}); "
                          "changes stay in memory",
                          error.value());
            return;
        }
        unreadable_ = false;
    }
    std::filesystem::create_directories(file_.parent_path(), error);
    try {
        writer_.write(file_, values_.dump(2) + "\n");
    } catch (const FileSystemError& failure) {
        logger_.error("Preferences could not be saved: {}", PublicText(failure.description()));
    }
}

} // namespace kestrelle
