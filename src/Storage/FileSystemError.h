#pragma once

#include "Runtime/KestrelleError.h"

#include <string>
#include <system_error>

namespace kestrelle {

// A file or folder that could not be read, created or written, with the system's reason.
// `failure` names what failed, e.g. "The file “…” could not be read".
class FileSystemError : public KestrelleError {
public:
    // For a failure that left the metadata file as it was; the text says so.
    static FileSystemError fileUnchanged(const std::string& failure, std::error_code code) {
        return FileSystemError(failure + ": " + code.message() + ". It was not changed.", code);
    }
    // For a failure before any file is involved, e.g. finding the data folder.
    static FileSystemError noFile(const std::string& failure, std::error_code code) {
        return FileSystemError(failure + ": " + code.message() + ".", code);
    }

    const std::error_code& code() const { return code_; }

private:
    FileSystemError(std::string description, std::error_code code)
        : KestrelleError(std::move(description)), code_(code) {}

    std::error_code code_;
};

} // namespace kestrelle
