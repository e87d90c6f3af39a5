#pragma once

#include "Runtime/KestrelleError.h"

#include <string>

namespace kestrelle {

// The catalog could not be turned into JSON text or back; no file was changed.
class MetadataFormatError : public KestrelleError {
public:
    static MetadataFormatError undecodable(const std::string& detail) {
        return MetadataFormatError("The password metadata file is not in the expected format: " +
                                   detail + ". It was not changed.");
    }
    static MetadataFormatError unencodable(const std::string& detail) {
        return MetadataFormatError("The password metadata could not be encoded: " + detail +
                                   ". It was not changed.");
    }

private:
    using KestrelleError::KestrelleError;
};

} // namespace kestrelle
