#include "Settings/PasswordsPanePresentation.h"
#include "Settings/SettingsPane.h"
#include "Settings/SettingsViewModel.h"

#include <gtest/gtest.h>

namespace kestrelle {
namespace {

using Tone = SettingsTone;
using Availability = BiometricAvailability;
const auto touchID = Availability::available(BiometricKind::touchID);

TEST(PasswordsPaneTest, AnEmptyCatalogShowsOnlyTheEmptyState) {
    const auto pane = PasswordsPanePresentation::make({}, touchID, std::nullopt, false);
    EXPECT_EQ(pane.biometrics, (SettingsStatusLabel{"Touch ID ready", "touchid", Tone::positive}));
    EXPECT_FALSE(pane.showsBiometricSettingsButton);
    EXPECT_TRUE(pane.showsEmptyState());
    EXPECT_EQ(pane.error, std::nullopt);
}

TEST(PasswordsPaneTest, BiometricsStatusByAvailability) {
    constexpr auto unavailable = "Supported biometric authentication is unavailable on this Mac.";
    const std::vector<std::pair<Availability, SettingsStatusLabel>> cases{
        {Availability::available(BiometricKind::faceID),
         {"Face ID ready", "faceid", Tone::positive}},
        {Availability::notEnrolled(),
         {"Biometrics are not enrolled.", "exclamationmark.circle.fill", Tone::caution}},
        {Availability::lockedOut(),
         {"Biometrics are locked. Unlock them in macOS before configuring passwords.", "lock.fill",
          Tone::critical}},
        {Availability::unavailable(), {unavailable, "xmark.circle.fill", Tone::critical}},
        {Availability::unsupported(), {unavailable, "xmark.circle.fill", Tone::critical}},
    };
    for (const auto& [availability, status] : cases) {
        const auto pane = PasswordsPanePresentation::make({}, availability, std::nullopt, false);
        EXPECT_EQ(pane.biometrics, status);
        EXPECT_EQ(pane.showsBiometricSettingsButton, !availability.isAvailable()) << status.text;
    }
}

TEST(PasswordsPaneTest, RowsShowTheirStateAndEnableWhatCanBeDone) {
    const PasswordSettingsSnapshot snapshot{{{Uuid::random(), "A", EntrySecretState::available},
                                             {Uuid::random(), "B", EntrySecretState::missing},
                                             {Uuid::random(), "C", EntrySecretState::unknown}}};
    const std::pair<const char*, SettingsBadge> looks[] = {
        {"key.fill", {"", "checkmark.circle", Tone::positive}},
        {"key.slash.fill", {"Password missing", "exclamationmark.triangle.fill", Tone::critical}},
        {"key.fill", {"Status unavailable", "questionmark.circle", Tone::neutral}},
    };
    const auto pane = PasswordsPanePresentation::make(snapshot, touchID, "Failed.", false);
    ASSERT_EQ(pane.rows.size(), 3U);
    for (std::size_t index = 0; index < 3; ++index) {
        const auto& row = pane.rows[index];
        EXPECT_EQ(row.entry, snapshot.entries[index]);
        EXPECT_EQ(row.symbol, looks[index].first);
        EXPECT_EQ(row.badge, looks[index].second);
        EXPECT_EQ(row.canMoveUp, index != 0);
        EXPECT_EQ(row.canMoveDown, index != 2);
        EXPECT_TRUE(row.canEdit && row.canDelete);
    }
    EXPECT_EQ(pane.error,
              (SettingsStatusLabel{"Failed.", "exclamationmark.triangle.fill", Tone::critical}));

    for (const auto& row : PasswordsPanePresentation::make(snapshot, touchID, {}, true).rows) {
        EXPECT_FALSE(row.canMoveUp || row.canMoveDown || row.canEdit || row.canDelete);
    }
}

TEST(SettingsPaneTest, FirstPaneAndTheDeleteConfirmation) {
    // Without Accessibility nothing can be typed: the pane that grants it comes first.
    EXPECT_EQ(firstSettingsPane(false), SettingsPane::general);
    EXPECT_EQ(firstSettingsPane(true), SettingsPane::passwords);
    EXPECT_EQ(SettingsViewModel::deleteConfirmationMessage("Work mail"),
              "“Work mail” and its saved password? This cannot be undone.");
}

} // namespace
} // namespace kestrelle
