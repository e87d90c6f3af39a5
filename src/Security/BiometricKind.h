#pragma once

namespace kestrelle {

// How the user approves: the Mac's sensors, or on the Linux desktop the fingerprint reader
// (fprintd) or, where no reader has an enrolled finger, the account password that the desktop's
// polkit agent asks for.
enum class BiometricKind { touchID, faceID, fingerprint, password };

// Whether the kind is the desktop's, whose texts name the reader or the password rather than the
// Mac and its settings.
constexpr bool isDesktopApproval(BiometricKind kind) {
    return kind == BiometricKind::fingerprint || kind == BiometricKind::password;
}

} // namespace kestrelle
