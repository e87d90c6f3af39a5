#pragma once

#include "Runtime/Uuid.h"
#include "Settings/PasswordFieldPresentation.h"
#include "Settings/SettingsEntry.h"

#include <string>

namespace kestrelle {

// What the entry editor is opened for: a new entry, or an existing one to rename and whose
// password to replace or, when it is gone, to repair.
struct EntryEditorRequest {
    class Mode {
    public:
        static constexpr Mode add() { return Mode(false, false); }
        // `repair`: the password is missing and saving stores a new Keychain item.
        static constexpr Mode edit(bool repair) { return Mode(true, repair); }

        bool isAdd() const { return !edit_; }
        bool isRepair() const { return repair_; }

        friend bool operator==(const Mode&, const Mode&) = default;

    private:
        constexpr Mode(bool edit, bool repair) : edit_(edit), repair_(repair) {}

        bool edit_;
        bool repair_;
    };

    // For an add a fresh identifier, for an edit the entry's.
    Uuid id;
    Mode mode;
    // What the label field starts with.
    std::string label;
    PasswordFieldPresentation passwordField;

    static EntryEditorRequest forNewEntry() {
        return {Uuid::random(), Mode::add(), {}, PasswordFieldPresentation::newSecret};
    }

    // From the row's secret state. An unknown state (the existence check failed, most often for
    // a passing Keychain error) opens as a saved password: leaving the field empty renames
    // without touching the Keychain, and a typed value that finds nothing to replace is refused
    // before anything changes, after which the reloaded row shows the password missing.
    static EntryEditorRequest forEntry(const SettingsEntry& entry) {
        const bool missing = entry.secretState == EntrySecretState::missing;
        return {entry.id, Mode::edit(missing), entry.label,
                missing ? PasswordFieldPresentation::missingSecret
                        : PasswordFieldPresentation::savedSecret};
    }

    friend bool operator==(const EntryEditorRequest&, const EntryEditorRequest&) = default;
};

} // namespace kestrelle
