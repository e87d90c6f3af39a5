#pragma once

#include "Preferences/Settings.h"
#include "Runtime/PlatformTraits.h"
#include "Security/BiometricReuseWindow.h"
#include "Settings/SettingsTone.h"
#include "System/LoginItemService.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kestrelle {

// What the General pane shows, from the preferences, the permission monitor and the login item
// service as they are now: four sections, "Shortcut", approval ("Touch ID" on macOS),
// "Permissions" and "Startup".
struct GeneralPanePresentation {
    enum class StartupAction { openLoginItemsSettings, tryAgain };

    struct StartupButton {
        std::string title;
        StartupAction action;

        friend bool operator==(const StartupButton&, const StartupButton&) = default;
    };

    // A line under the launch-at-login toggle about the item's state or a failed request.
    struct StartupNotice {
        SettingsStatusLabel status;
        std::optional<SettingsCaption> explanation;
        std::optional<StartupButton> button;

        friend bool operator==(const StartupNotice&, const StartupNotice&) = default;
    };

    struct ReuseWindowChoice {
        BiometricReuseWindow window;
        std::string title;

        friend bool operator==(const ReuseWindowChoice&, const ReuseWindowChoice&) = default;
    };

    static constexpr std::string_view shortcutSectionTitle = "Shortcut";
    static constexpr std::string_view permissionsSectionTitle = "Permissions";
    static constexpr std::string_view startupSectionTitle = "Startup";

    static constexpr std::string_view accessibilityTitle = "Accessibility";
    static constexpr std::string_view troubleshootingText =
        "If Kestrelle is already enabled, macOS may have approved a different copy or build. "
        "Remove stale Kestrelle or Morvix entries, add the running copy below, enable it, then "
        "quit and reopen Kestrelle.";
    static constexpr std::string_view revealRunningCopyTitle = "Reveal Running Copy…";
    static constexpr std::string_view openSystemSettingsTitle = "Open System Settings…";
    static constexpr std::string_view launchAtLoginTitle = "Launch at login";

    static GeneralPanePresentation make(const Settings& settings, bool accessibilityGranted,
                                        const LoginItemService& loginItem,
                                        PlatformTraits::SystemNames names);

    // Shortcut: the recorder, then this line under it (never an alert).
    SettingsStatusLabel shortcutStatus;
    SettingsCaption shortcutCaption;

    // Approval
    std::string approvalSectionTitle;
    std::string reuseWindowPickerLabel;
    std::vector<ReuseWindowChoice> reuseWindowChoices;
    BiometricReuseWindow selectedReuseWindow;
    SettingsCaption reuseWindowCaption;

    // Permissions
    SettingsStatusLabel accessibilityStatus;
    SettingsCaption accessibilityCaption;
    // Asks for the access (Linux: switches the desktop's accessibility support on).
    bool showsGrantAccessButton;
    std::string grantAccessTitle;
    // The troubleshooting text with its two buttons, for macOS's list of approved copies.
    bool showsTroubleshooting;

    // Startup
    bool launchAtLoginIsOn;
    bool launchAtLoginIsEnabled;
    SettingsCaption launchAtLoginCaption;
    std::vector<StartupNotice> startupNotices;
};

} // namespace kestrelle
