#pragma once

#include "Storage/PosixFileSystem.h"

#include <optional>
#include <system_error>

namespace kestrelle::test {

// The real file system, except that one chosen step fails after doing what a real failure could
// have done: a failed write leaves half the bytes, a failed close still closes.
class FaultyFileSystem final : public FileSystem {
public:
    enum class Step { createTemporaryFile, writeAll, sync, close, rename };

    std::optional<Step> failingStep;

    TemporaryFile createTemporaryFile(const std::filesystem::path& directory,
                                      const std::string& prefix) override {
        failIf(Step::createTemporaryFile);
        return real_.createTemporaryFile(directory, prefix);
    }
    void writeAll(int descriptor, std::string_view bytes) override {
        if (failingStep == Step::writeAll) {
            real_.writeAll(descriptor, bytes.substr(0, bytes.size() / 2));
            fail(std::errc::no_space_on_device);
        }
        real_.writeAll(descriptor, bytes);
    }
    void sync(int descriptor) override {
        failIf(Step::sync);
        real_.sync(descriptor);
    }
    void close(int descriptor) override {
        real_.close(descriptor);
        failIf(Step::close);
    }
    void rename(const std::filesystem::path& from, const std::filesystem::path& to) override {
        failIf(Step::rename);
        real_.rename(from, to);
    }
    void remove(const std::filesystem::path& path) noexcept override { real_.remove(path); }

private:
    void failIf(Step step) {
        if (failingStep == step) {
            fail(std::errc::io_error);
        }
    }
    [[noreturn]] static void fail(std::errc error) {
        throw std::system_error(std::make_error_code(error));
    }

    PosixFileSystem real_;
};

} // namespace kestrelle::test
