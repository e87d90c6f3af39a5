#include "Invocation/InputInjectionError.h"

#include <gtest/gtest.h>

namespace kestrelle {
namespace {

TEST(InputInjectionErrorTest, EachCaseCarriesItsNameAndMessage) {
    using Kind = InputInjectionError::Kind;
    const std::string unsafeEvent =
        "macOS could not create a safe text insertion event for this password.";
    const std::vector<std::tuple<Kind, std::string, std::string>> cases{
        {Kind::permissionDenied, "permissionDenied",
         "Accessibility access was removed. Grant access in System Settings and try again."},
        {Kind::unavailableTarget, "unavailableTarget",
         "Kestrelle could not verify the original text input."},
        {Kind::targetChanged, "targetChanged",
         "The original input is no longer focused. Nothing more was typed."},
        {Kind::modifiersHeld, "modifiersHeld",
         "Release the shortcut modifier keys, then invoke Kestrelle again."},
        {Kind::eventCreationFailed, "eventCreationFailed", unsafeEvent},
        {Kind::invalidUTF8, "invalidUTF8", unsafeEvent}};
    for (const auto& [kind, name, message] : cases) {
        const InputInjectionError error(kind);
        EXPECT_EQ(error.kind(), kind);
        EXPECT_EQ(error.name(), name);
        EXPECT_EQ(error.description(), message);
        EXPECT_STREQ(error.what(), message.c_str());
    }
    // Same text, still different errors.
    EXPECT_NE(InputInjectionError(Kind::eventCreationFailed),
              InputInjectionError(Kind::invalidUTF8));
}

} // namespace
} // namespace kestrelle
