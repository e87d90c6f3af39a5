#include "Settings/EntryEditorModel.h"

#include "Settings/PasswordValidationError.h"
#include "Support/ManualExecutor.h"

#include <gtest/gtest.h>
#include <tuple>

namespace kestrelle {
namespace {

using Presentation = PasswordFieldPresentation;
using Mode = EntryEditorRequest::Mode;

TEST(EntryEditorModelTest, AnUnknownPasswordOpensAsSavedSoThatAnEmptyFieldOnlyRenames) {
    const SettingsEntry entry{Uuid::random(), "Mail", EntrySecretState::unknown};
    EXPECT_EQ(EntryEditorRequest::forEntry(entry),
              (EntryEditorRequest{entry.id, Mode::edit(false), "Mail", Presentation::savedSecret}));
}

TEST(EntryEditorModelTest, TheFirstFailingCheckIsShownAndSaveWaitsForValidInput) {
    const auto blankLabel = PasswordValidationError::blankLabel().description();
    const auto emptyPassword = PasswordValidationError::emptyPassword().description();
    const auto controlCharacter = PasswordValidationError::controlCharacter().description();
    // An empty field keeps a saved password, or with a missing one changes only the label.
    const std::tuple<Presentation, const char*, const char*, std::optional<std::string>> cases[] = {
        {Presentation::newSecret, " ", "a\tb", blankLabel},
        {Presentation::newSecret, "Mail", "", emptyPassword},
        {Presentation::savedSecret, "Mail", "a\tb", controlCharacter},
        {Presentation::savedSecret, "Mail", "", std::nullopt},
        {Presentation::missingSecret, "Mail", "", std::nullopt},
        {Presentation::replacementRequired, "Mail", "", emptyPassword},
    };
    test::ManualExecutor executor;
    for (std::size_t index = 0; index < std::size(cases); ++index) {
        SCOPED_TRACE(index);
        const auto& [presentation, label, password, message] = cases[index];
        const auto editor = EntryEditorModel::create(
            {Uuid::random(), Mode::edit(false), "Mail", presentation}, executor, {}, {});
        editor->setLabel(label);
        editor->setPassword(password);
        const auto footer = editor->footerMessage();
        EXPECT_EQ(footer ? std::optional(footer->text) : std::nullopt, message);
        EXPECT_EQ(editor->isSaveEnabled(), !message);
        // What a screen reader hears of a typed password tells neither its length nor content.
        editor->setPassword("x");
        const std::string typed(editor->passwordAccessibilityValue());
        editor->setPassword("a much longer password 😀");
        EXPECT_EQ(editor->passwordAccessibilityValue(), typed);
    }
}

} // namespace
} // namespace kestrelle
