#pragma once

#include "Storage/PosixFileSystem.h"

#include <optional>
#include <system_error>
#include <vector>

namespace kestrelle::test {

// The real file system, except that one chosen step fails after doing what a real failure could
// have done: a failed write leaves half the bytes, a failed close still closes. Records the
// steps taken.
class FaultyFileSystem final : public FileSystem {
public:
    enum class Step { createTemporaryFile, writeAll, sync, close, rename, syncDirectory };

    std::optional<Step> failingStep;
    std::vector<Step> steps;

    TemporaryFile createTemporaryFile(const std::filesystem::path& directory,
                                      const std::string& prefix) override {
        return take(Step::createTemporaryFile).createTemporaryFile(directory, prefix);
    }
    void writeAll(int descriptor, std::string_view bytes) override {
        real_.writeAll(descriptor,
                       failingStep == Step::writeAll ? bytes.substr(0, bytes.size() / 2) : bytes);
        take(Step::writeAll);
    }
    void sync(int descriptor) override { take(Step::sync).sync(descriptor); }
    void close(int descriptor) override {
        real_.close(descriptor);
        take(Step::close);
    }
    void rename(const std::filesystem::path& from, const std::filesystem::path& to) override {
        take(Step::rename).rename(from, to);
    }
    void syncDirectory(const std::filesystem::path& directory) override {
        take(Step::syncDirectory).syncDirectory(directory);
    }
    void remove(const std::filesystem::path& path) noexcept override { real_.remove(path); }

private:
    // Records `step` and fails it when it is the failing one; otherwise the real file system
    // carries it out.
    PosixFileSystem& take(Step step) {
        steps.push_back(step);
        if (failingStep == step) {
            throw std::system_error(std::make_error_code(std::errc::io_error));
        }
        return real_;
    }

    PosixFileSystem real_;
};

} // namespace kestrelle::test
