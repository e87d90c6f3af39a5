#pragma once

#include "Runtime/KestrelleError.h"

#include <string>
#include <system_error>

namespace kestrelle {

// A file or folder that could not be read, created or written, with the system's reason.
class FileSystemError : public KestrelleError {
public:
    // `failure` names what failed, e.g. "The file “…” could not be read".
    FileSystemError(const std::string& failure, std::error_code code)
        : KestrelleError(failure + ": " + code.message() + "."), code_(code) {}

    const std::error_code& code() const { return code_; }

private:
    std::error_code code_;
};

} // namespace kestrelle
