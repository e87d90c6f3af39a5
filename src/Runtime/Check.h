#pragma once

#include <string_view>

namespace kestrelle::detail {

// Logs `failure` with where it happened, then ends the process.
[[noreturn]] void checkFailed(std::string_view failure, const char* file, int line) noexcept;

} // namespace kestrelle::detail

// For states no input can cause, where going on would hide a broken invariant: logs the fixed
// text `failure` and stops the process. Never for anything a user or the system can bring about.
#define KESTRELLE_CHECK(condition, failure)                                                        \
    do {                                                                                           \
        if (!(condition)) [[unlikely]] {                                                           \
            ::kestrelle::detail::checkFailed(failure, __FILE__, __LINE__);                         \
        }                                                                                          \
    } while (false)
