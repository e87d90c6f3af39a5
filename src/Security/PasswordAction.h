#pragma once

namespace kestrelle {

// What a chosen entry is used for.
enum class PasswordAction { type = 0, copy = 1 };

} // namespace kestrelle
