#pragma once

#include "Storage/AtomicFileWriting.h"
#include "Storage/FileSystem.h"
#include "Storage/PosixFileSystem.h"

#include <memory>

namespace kestrelle {

// Writes a temporary file beside the target, flushes it to disk and renames it over the target.
class AtomicFileWriter final : public AtomicFileWriting {
public:
    explicit AtomicFileWriter(
        std::unique_ptr<FileSystem> fileSystem = std::make_unique<PosixFileSystem>())
        : fileSystem_(std::move(fileSystem)) {}

    void write(const std::filesystem::path& file, std::string_view bytes) override;

private:
    void replace(const std::filesystem::path& file, std::string_view bytes);

    std::unique_ptr<FileSystem> fileSystem_;
};

} // namespace kestrelle
