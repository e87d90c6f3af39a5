#pragma once

#include "Runtime/Uuid.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>

namespace kestrelle::test {

// A fresh directory of its own under the system's temporary directory, removed with everything
// in it on destruction.
class TemporaryDirectory {
public:
    TemporaryDirectory() { std::filesystem::create_directories(path_); }
    ~TemporaryDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    const std::filesystem::path& path() const { return path_; }

    static void write(const std::filesystem::path& file, const std::string& bytes) {
        std::filesystem::create_directories(file.parent_path());
        std::ofstream(file, std::ios::binary) << bytes;
    }
    static std::string read(const std::filesystem::path& file) {
        std::ifstream stream(file, std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }
    static std::set<std::string> names(const std::filesystem::path& directory) {
        std::set<std::string> names;
        for (const auto& item : std::filesystem::directory_iterator(directory)) {
            names.insert(item.path().filename().string());
        }
        return names;
    }

private:
    std::filesystem::path path_ =
        std::filesystem::temp_directory_path() / ("kestrelle-test-" + Uuid::random().toString());
};

} // namespace kestrelle::test
