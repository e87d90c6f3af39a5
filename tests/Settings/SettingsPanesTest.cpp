#include "Settings/PasswordsPanePresentation.h"

#include <gtest/gtest.h>
#include <tuple>

namespace kestrelle {
namespace {

const auto touchID = BiometricAvailability::available(BiometricKind::touchID);

TEST(PasswordsPaneTest, RowsKeepTheirOrderAndEnableWhatCanBeDone) {
    const PasswordSettingsSnapshot snapshot{{{Uuid::random(), "A", EntrySecretState::available},
                                             {Uuid::random(), "B", EntrySecretState::missing},
                                             {Uuid::random(), "C", EntrySecretState::unknown}}};
    for (bool busy : {false, true}) {
        const auto pane = PasswordsPanePresentation::make(snapshot, touchID, "Failed.", busy);
        ASSERT_EQ(pane.rows.size(), 3U);
        for (std::size_t index = 0; index < 3; ++index) {
            SCOPED_TRACE(testing::Message() << "busy: " << busy << ", row " << index);
            const auto& row = pane.rows[index];
            EXPECT_EQ(row.entry, snapshot.entries[index]);
            EXPECT_EQ(std::tuple(row.canMoveUp, row.canMoveDown, row.canEdit, row.canDelete),
                      std::tuple(!busy && index != 0, !busy && index != 2, !busy, !busy));
        }
        EXPECT_NE(pane.rows[0].badge, pane.rows[1].badge);
        EXPECT_EQ(pane.error->text, "Failed.");
    }
    const auto empty = PasswordsPanePresentation::make({}, touchID, std::nullopt, false);
    EXPECT_TRUE(empty.showsEmptyState());
    EXPECT_EQ(empty.error, std::nullopt);
}

} // namespace
} // namespace kestrelle
