#pragma once

#include <optional>
#include <string>

namespace kestrelle {

// How an entry editor save ended: saved, or failed with the message the editor shows.
struct EntryEditorSaveResult {
    // Absent when saved.
    std::optional<std::string> failureMessage;

    static EntryEditorSaveResult saved() { return {}; }
    static EntryEditorSaveResult failed(std::string message) { return {std::move(message)}; }

    bool isSaved() const { return !failureMessage; }

    friend bool operator==(const EntryEditorSaveResult&, const EntryEditorSaveResult&) = default;
};

} // namespace kestrelle
