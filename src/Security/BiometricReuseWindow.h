#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string_view>

namespace kestrelle {

// How long one biometric approval may be reused to open the picker. There is deliberately no
// case that turns reuse off.
enum class BiometricReuseWindow : std::int32_t {
    thirtySeconds = 30,
    oneMinute = 60,
    twoMinutes = 120,
    fiveMinutes = 300,
    tenMinutes = 600,
    fifteenMinutes = 900,
    thirtyMinutes = 1800,
};

inline constexpr auto allBiometricReuseWindows = std::array{
    BiometricReuseWindow::thirtySeconds, BiometricReuseWindow::oneMinute,
    BiometricReuseWindow::twoMinutes,    BiometricReuseWindow::fiveMinutes,
    BiometricReuseWindow::tenMinutes,    BiometricReuseWindow::fifteenMinutes,
    BiometricReuseWindow::thirtyMinutes,
};

inline constexpr BiometricReuseWindow defaultBiometricReuseWindow =
    BiometricReuseWindow::thirtySeconds;

constexpr std::int32_t rawValue(BiometricReuseWindow window) {
    return static_cast<std::int32_t>(window);
}

constexpr std::chrono::seconds duration(BiometricReuseWindow window) {
    return std::chrono::seconds{rawValue(window)};
}

// Only the seven exact numbers of seconds make a window; nothing is rounded.
std::optional<BiometricReuseWindow> biometricReuseWindowFromRawValue(std::int64_t seconds);

// The title shown in Settings, e.g. "30 seconds" or "1 minute".
std::string_view title(BiometricReuseWindow window);

} // namespace kestrelle
