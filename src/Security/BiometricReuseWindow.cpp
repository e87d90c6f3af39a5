#include "Security/BiometricReuseWindow.h"

namespace kestrelle {

std::optional<BiometricReuseWindow> biometricReuseWindowFromRawValue(std::int64_t seconds) {
    for (auto window : allBiometricReuseWindows) {
        if (rawValue(window) == seconds) {
            return window;
        }
    }
    return std::nullopt;
}

std::string_view title(BiometricReuseWindow window) {
    switch (window) {
    case BiometricReuseWindow::thirtySeconds:
        return "30 seconds";
    case BiometricReuseWindow::oneMinute:
        return "1 minute";
    case BiometricReuseWindow::twoMinutes:
        return "2 minutes";
    case BiometricReuseWindow::fiveMinutes:
        return "5 minutes";
    case BiometricReuseWindow::tenMinutes:
        return "10 minutes";
    case BiometricReuseWindow::fifteenMinutes:
        return "15 minutes";
    case BiometricReuseWindow::thirtyMinutes:
        return "30 minutes";
    }
    return "30 seconds";
}

} // namespace kestrelle
