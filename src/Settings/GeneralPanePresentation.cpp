#include "Settings/GeneralPanePresentation.h"

namespace kestrelle {

namespace {

// Symbols for the statuses that have none of their own: a filled check for what works, a
// filled circle for what waits on the user, a triangle for what failed, a cross for what is
// refused or impossible.
constexpr auto fineSymbol = "checkmark.circle.fill";
constexpr auto waitingSymbol = "exclamationmark.circle.fill";
constexpr auto failedSymbol = "exclamationmark.triangle.fill";
constexpr auto refusedSymbol = "xmark.circle.fill";

SettingsStatusLabel shortcutLine(const ShortcutStatus& status) {
    if (status.kind() == ShortcutStatus::Kind::registered) {
        return {"Shortcut registered", fineSymbol, SettingsTone::positive};
    }
    return {status.message(), failedSymbol, SettingsTone::critical};
}

std::vector<GeneralPanePresentation::StartupNotice>
noticesFor(LoginItemState state, const std::optional<LoginItemFailure>& failure) {
    using Action = GeneralPanePresentation::StartupAction;
    std::vector<GeneralPanePresentation::StartupNotice> notices;
    if (state == LoginItemState::requiresApproval) {
        notices.push_back(
            {{"Approval required", waitingSymbol, SettingsTone::caution},
             SettingsCaption{"Kestrelle is registered but will not start at login until you "
                             "allow it under Login Items."},
             GeneralPanePresentation::StartupButton{"Open Login Items Settings…",
                                                    Action::openLoginItemsSettings}});
    } else if (state == LoginItemState::unavailable) {
        notices.push_back(
            {{"Not available for this copy of Kestrelle", refusedSymbol, SettingsTone::critical},
             SettingsCaption{"macOS will not register this copy as a login item. "
                             "Move Kestrelle to your Applications folder, reopen "
                             "it, and try again."},
             std::nullopt});
    }
    if (failure) {
        notices.push_back({{failure->message, failedSymbol, SettingsTone::critical},
                           std::nullopt,
                           GeneralPanePresentation::StartupButton{"Try Again", Action::tryAgain}});
    }
    return notices;
}

} // namespace

GeneralPanePresentation GeneralPanePresentation::make(const Settings& settings,
                                                      bool accessibilityGranted,
                                                      const LoginItemService& loginItem,
                                                      PlatformTraits::SystemNames names) {
    std::vector<ReuseWindowChoice> choices;
    for (const auto window : allBiometricReuseWindows) {
        choices.push_back({window, std::string(title(window))});
    }
    const auto state = loginItem.state();
    const bool mac = names == PlatformTraits::SystemNames::macOS;
    // On Linux the permission is the desktop's accessibility support, which toolkits mostly look
    // for when an app starts.
    const auto accessibilityStatus =
        accessibilityGranted
            ? SettingsStatusLabel{mac ? "Granted" : "Enabled", fineSymbol, SettingsTone::positive}
            : SettingsStatusLabel{mac ? "Not granted" : "Not enabled", refusedSymbol,
                                  SettingsTone::critical};
    return {
        .shortcutStatus = shortcutLine(settings.shortcutStatus()),
        .shortcutCaption = {"The shortcut opens the password picker in the app you are typing in."},
        .approvalSectionTitle = mac ? "Touch ID" : "Approval",
        .reuseWindowPickerLabel =
            mac ? "Ask for Touch ID again after" : "Ask for approval again after",
        .reuseWindowChoices = std::move(choices),
        .selectedReuseWindow = settings.biometricReuseWindow(),
        .reuseWindowCaption = {"After a successful approval, the picker opens without another "
                               "prompt for this long. Password changes in Settings always ask "
                               "again."},
        .accessibilityStatus = accessibilityStatus,
        .accessibilityCaption = {mac ? "Required to verify the destination and type a password."
                                     : "Required to verify the destination and type a password. "
                                       "Some apps that were open before it was enabled must be "
                                       "reopened."},
        .showsGrantAccessButton = !accessibilityGranted,
        .grantAccessTitle = mac ? "Grant Access" : "Enable Accessibility",
        .showsTroubleshooting = mac,
        // An item awaiting approval is registered: the toggle shows what the user asked for,
        // the notice under it why it does not start yet, and switching it off unregisters it.
        .launchAtLoginIsOn =
            state == LoginItemState::enabled || state == LoginItemState::requiresApproval,
        .launchAtLoginIsEnabled = !loginItem.isBusy(),
        .launchAtLoginCaption = {mac ? "Start Kestrelle automatically when you log in to your Mac."
                                     : "Start Kestrelle automatically when you log in."},
        .startupNotices = noticesFor(state, loginItem.failure()),
    };
}

} // namespace kestrelle
