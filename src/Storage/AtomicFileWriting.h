#pragma once

#include <filesystem>
#include <string_view>

namespace kestrelle {

// Replaces a file's whole content so that a reader, or a crash, sees either the old bytes or the
// new ones, and the new bytes are on the storage device when it returns. A platform may add
// protections of its own (macOS: complete file protection).
// Real: AtomicFileWriter. Fake: test::FlakyFileWriter.
class AtomicFileWriting {
public:
    virtual ~AtomicFileWriting() = default;

    // Throws FileSystemError; the old file, if any, is then unchanged and nothing is left behind.
    virtual void write(const std::filesystem::path& file, std::string_view bytes) = 0;
};

} // namespace kestrelle
