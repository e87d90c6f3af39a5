#pragma once

namespace kestrelle {

// What the entry editor's password field stands for. A stored password is never shown, so the
// field always opens empty and this says what leaving it empty means.
enum class PasswordFieldPresentation {
    // A new entry: a password must be typed.
    newSecret,
    // A password is stored; leaving the field empty keeps it.
    savedSecret,
    // The stored password is gone; a typed one repairs the entry, an empty field renames only.
    missingSecret,
    // A new value must be typed; the old one cannot be kept.
    replacementRequired,
};

} // namespace kestrelle
