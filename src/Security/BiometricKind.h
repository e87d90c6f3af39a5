#pragma once

namespace kestrelle {

// Which sensor approves.
enum class BiometricKind { touchID, faceID };

} // namespace kestrelle
