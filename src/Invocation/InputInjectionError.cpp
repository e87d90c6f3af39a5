#include "Invocation/InputInjectionError.h"

#include <string>

namespace kestrelle {

namespace {

std::string message(InputInjectionError::Kind kind) {
    using Kind = InputInjectionError::Kind;
    switch (kind) {
    case Kind::permissionDenied:
        return "Accessibility access was removed. Grant access in System Settings and try again.";
    case Kind::unavailableTarget:
        return "Kestrelle could not verify the original text input.";
    case Kind::targetChanged:
        return "The original input is no longer focused. Nothing more was typed.";
    case Kind::modifiersHeld:
        return "Release the shortcut modifier keys, then invoke Kestrelle again.";
    case Kind::eventCreationFailed:
    case Kind::invalidUTF8:
        // Undecodable bytes get the same text on purpose: the message says nothing about the
        // password.
        return "macOS could not create a safe text insertion event for this password.";
    case Kind::noFreeKey:
        return "The keyboard map has no free key for a character of this password. Nothing was "
               "typed.";
    }
    return {};
}

} // namespace

InputInjectionError::InputInjectionError(Kind kind) : KestrelleError(message(kind)), kind_(kind) {}

std::string_view InputInjectionError::name() const {
    switch (kind_) {
    case Kind::permissionDenied:
        return "permissionDenied";
    case Kind::unavailableTarget:
        return "unavailableTarget";
    case Kind::targetChanged:
        return "targetChanged";
    case Kind::modifiersHeld:
        return "modifiersHeld";
    case Kind::eventCreationFailed:
        return "eventCreationFailed";
    case Kind::invalidUTF8:
        return "invalidUTF8";
    case Kind::noFreeKey:
        return "noFreeKey";
    }
    return {};
}

} // namespace kestrelle
