#pragma once

#include "Runtime/Uuid.h"

#include <optional>

namespace kestrelle {

// The one change a settings approval was given for.
class SettingsOperation {
public:
    enum class Kind { addSecret, replaceSecret, repairSecret, deleteSecret, catalogMutation };

    static SettingsOperation addSecret(Uuid entryID) { return {Kind::addSecret, entryID}; }
    static SettingsOperation replaceSecret(Uuid entryID) { return {Kind::replaceSecret, entryID}; }
    static SettingsOperation repairSecret(Uuid entryID) { return {Kind::repairSecret, entryID}; }
    static SettingsOperation deleteSecret(Uuid entryID) { return {Kind::deleteSecret, entryID}; }
    // A rename, a reorder or any other change of the catalog alone.
    static SettingsOperation catalogMutation() { return {Kind::catalogMutation, std::nullopt}; }

    Kind kind() const { return kind_; }
    std::optional<Uuid> entryID() const { return entryID_; }

    friend bool operator==(const SettingsOperation&, const SettingsOperation&) = default;

private:
    SettingsOperation(Kind kind, std::optional<Uuid> entryID) : kind_(kind), entryID_(entryID) {}

    Kind kind_;
    std::optional<Uuid> entryID_;
};

// An approved settings change, spendable once on exactly its operation.
struct SettingsAuthorization {
    Uuid nonce;
    friend bool operator==(const SettingsAuthorization&, const SettingsAuthorization&) = default;
};

} // namespace kestrelle
