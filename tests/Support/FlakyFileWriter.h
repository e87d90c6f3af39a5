#pragma once

#include "Storage/AtomicFileWriter.h"
#include "Storage/FileSystemError.h"

#include <system_error>

namespace kestrelle::test {

// The real atomic writer, except that the next `failures` writes fail as on a full disk, leaving
// the old file as it was.
class FlakyFileWriter final : public AtomicFileWriting {
public:
    void write(const std::filesystem::path& file, std::string_view bytes) override {
        ++attempts;
        if (failures > 0) {
            --failures;
            throw failure();
        }
        real_.write(file, bytes);
    }

    static FileSystemError failure() {
        return FileSystemError::fileUnchanged("The catalog could not be saved",
                                              std::make_error_code(std::errc::no_space_on_device));
    }

    int failures = 0;
    int attempts = 0;

private:
    AtomicFileWriter real_;
};

} // namespace kestrelle::test
