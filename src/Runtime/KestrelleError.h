#pragma once

#include <exception>
#include <string>

namespace kestrelle {

// Base of every component error: each carries the fixed text shown to the user.
// Never put a secret into a description.
class KestrelleError : public std::exception {
public:
    explicit KestrelleError(std::string description) : description_(std::move(description)) {}

    const std::string& description() const noexcept { return description_; }
    const char* what() const noexcept override { return description_.c_str(); }

private:
    std::string description_;
};

} // namespace kestrelle
