#pragma once

#include "Runtime/KestrelleError.h"

#include <string_view>

namespace kestrelle {

// Why a password could not be delivered, or why delivery stopped part way.
class InputInjectionError : public KestrelleError {
public:
    enum class Kind {
        permissionDenied,
        unavailableTarget,
        targetChanged,
        modifiersHeld,
        eventCreationFailed,
        invalidUTF8,
        noFreeKey,
    };

    explicit InputInjectionError(Kind kind);

    Kind kind() const { return kind_; }
    // The case's name, as the invocation log writes it.
    std::string_view name() const;

    friend bool operator==(const InputInjectionError& a, const InputInjectionError& b) {
        return a.kind_ == b.kind_;
    }

private:
    Kind kind_;
};

} // namespace kestrelle
