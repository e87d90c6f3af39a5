#include "Invocation/PasswordClipboard.h"

#include "Invocation/InputInjectionError.h"
#include "Support/FakePasteboard.h"
#include "Support/ManualExecutor.h"

#include <gtest/gtest.h>

namespace kestrelle {
namespace {

using namespace std::chrono_literals;

constexpr auto plainText = PasswordClipboard::plainTextType;

class PasswordClipboardTest : public ::testing::Test {
protected:
    void copy(std::string_view password) {
        clipboard.copy(TransientSecret(SecretBytes(password.begin(), password.end())));
    }

    test::ManualExecutor executor;
    test::FakePasteboard pasteboard;
    PasswordClipboard clipboard{pasteboard, executor};
};

TEST_F(PasswordClipboardTest, WritesConcealedTextAndClearsItAMinuteLaterOnTheMonotonicClock) {
    copy("p\xC3\xA4ssw\xC3\xB6rd");
    EXPECT_EQ(
        pasteboard.declaredTypes,
        (std::vector<std::string>{"public.utf8-plain-text", "org.nspasteboard.ConcealedType"}));
    EXPECT_TRUE(pasteboard.holds(plainText, "p\xC3\xA4ssw\xC3\xB6rd"));
    EXPECT_TRUE(pasteboard.holds(PasswordClipboard::concealedType, ""));

    // A jump of the wall clock changes nothing.
    executor.shiftWallClock(2h);
    executor.advance(60s - 1ms);
    EXPECT_EQ(pasteboard.clears, 0);
    executor.advance(1ms);
    EXPECT_EQ(pasteboard.clears, 1);
    EXPECT_TRUE(pasteboard.values.empty());
    EXPECT_EQ(executor.runningOperationCount(), 0U);
}

TEST_F(PasswordClipboardTest, ASecondCopyRestartsThePeriod) {
    copy("first");
    executor.advance(30s);
    copy("second");
    executor.advance(30s);
    EXPECT_EQ(pasteboard.clears, 0);
    EXPECT_TRUE(pasteboard.holds(plainText, "second"));
    executor.advance(30s);
    EXPECT_EQ(pasteboard.clears, 1);
    executor.advance(10min);
    EXPECT_EQ(pasteboard.clears, 1);
    EXPECT_EQ(executor.runningOperationCount(), 0U);
}

TEST_F(PasswordClipboardTest, LeavesWhatWasCopiedElsewhereAlone) {
    copy("secret");
    executor.advance(10s);
    pasteboard.copyFromElsewhere();
    executor.advance(60s);
    EXPECT_EQ(pasteboard.clears, 0);
    EXPECT_TRUE(pasteboard.holds(plainText, "xxx"));
}

TEST_F(PasswordClipboardTest, InvalidUtf8TouchesNeitherThePasteboardNorThePendingClear) {
    copy("secret");
    executor.advance(30s);
    try {
        copy("bad\xC0\xAF");
        ADD_FAILURE() << "invalid UTF-8 was copied";
    } catch (const InputInjectionError& error) {
        EXPECT_EQ(error.kind(), InputInjectionError::Kind::invalidUTF8);
    }
    EXPECT_EQ(pasteboard.declarations, 1);
    EXPECT_TRUE(pasteboard.holds(plainText, "secret"));
    executor.advance(30s);
    EXPECT_EQ(pasteboard.clears, 1);
}

} // namespace
} // namespace kestrelle
