#include "Runtime/Check.h"

#include "Runtime/Logger.h"

#include <cstdlib>

namespace kestrelle::detail {

void checkFailed(std::string_view failure, const char* file, int line) noexcept {
    Logger("Check").error("{} ({}:{})", PublicText(failure), PublicText(file), line);
    std::abort();
}

} // namespace kestrelle::detail
