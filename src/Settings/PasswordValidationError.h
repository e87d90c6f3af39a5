#pragma once

#include "Runtime/KestrelleError.h"

namespace kestrelle {

// Input that is refused before anything is asked of the user or of the Keychain.
class PasswordValidationError : public KestrelleError {
public:
    enum class Kind { blankLabel, emptyPassword, controlCharacter };

    static PasswordValidationError blankLabel() { return {Kind::blankLabel, "Enter a label."}; }
    static PasswordValidationError emptyPassword() {
        return {Kind::emptyPassword, "Enter a password."};
    }
    static PasswordValidationError controlCharacter() {
        return {Kind::controlCharacter,
                "Passwords cannot contain control characters such as newlines, tabs, or NUL."};
    }

    Kind kind() const { return kind_; }

private:
    PasswordValidationError(Kind kind, std::string description)
        : KestrelleError(std::move(description)), kind_(kind) {}

    Kind kind_;
};

} // namespace kestrelle
