#pragma once

#include "Runtime/PlatformTraits.h"
#include "Security/BiometricAvailability.h"
#include "Settings/PasswordSettingsSnapshot.h"
#include "Settings/SettingsEntry.h"
#include "Settings/SettingsTone.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kestrelle {

// What the Passwords pane shows: the biometrics status, the saved entries with their actions,
// the add button, the caption and the last error.
struct PasswordsPanePresentation {
    // What a row's four buttons do.
    enum class Action { moveUp, moveDown, edit, remove };

    struct Row {
        // What the row's actions hand back to the model.
        SettingsEntry entry;
        std::string symbol;
        SettingsBadge badge;
        bool canMoveUp;
        bool canMoveDown;
        bool canEdit;
        bool canDelete;

        friend bool operator==(const Row&, const Row&) = default;
    };

    static constexpr std::string_view biometricSettingsTitle = "Open System Settings…";
    static constexpr std::string_view entriesSectionTitle = "Saved passwords";
    static constexpr std::string_view moveUpSymbol = "chevron.up";
    static constexpr std::string_view moveDownSymbol = "chevron.down";
    static constexpr std::string_view editSymbol = "pencil";
    static constexpr std::string_view deleteSymbol = "trash";
    // What the four row actions are called where a symbol alone cannot be read out.
    static constexpr std::string_view moveUpTitle = "Move Up";
    static constexpr std::string_view moveDownTitle = "Move Down";
    static constexpr std::string_view editTitle = "Edit";
    static constexpr std::string_view deleteTitle = "Remove";
    static constexpr std::string_view addTitle = "Add Password…";
    static constexpr std::string_view addSymbol = "plus";
    static constexpr std::string_view emptyTitle = "No Passwords";
    static constexpr std::string_view emptyText = "Add a password to use Kestrelle.";
    static constexpr std::string_view deleteCancelTitle = "Cancel";
    static constexpr std::string_view deleteConfirmTitle = "Remove";

    // `isBusy` disables every row action. `storeBindsBiometrics` is the platform's
    // PlatformTraits::secretStoreBindsBiometrics.
    static PasswordsPanePresentation make(const PasswordSettingsSnapshot& snapshot,
                                          BiometricAvailability availability,
                                          const std::optional<std::string>& errorMessage,
                                          bool isBusy, bool storeBindsBiometrics,
                                          PlatformTraits::SystemNames names);

    // Under the list.
    std::string caption;
    std::string biometricsSectionTitle;
    SettingsStatusLabel biometrics;
    // Under the biometrics line, what protects the passwords where the secret store does not
    // bind them to the biometrics; none where it does, since the line says it then.
    std::optional<SettingsCaption> protectionCaption;
    // Opens the Touch ID settings; offered on macOS whenever biometrics are not available.
    bool showsBiometricSettingsButton;
    // In catalog order; when empty, the empty state replaces the list.
    std::vector<Row> rows;
    std::optional<SettingsStatusLabel> error;

    bool showsEmptyState() const { return rows.empty(); }
};

} // namespace kestrelle
