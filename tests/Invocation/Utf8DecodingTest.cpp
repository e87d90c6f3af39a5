#include "Invocation/Utf8Decoding.h"

#include "Support/FakeKeyboardEvents.h"

#include <gtest/gtest.h>

namespace kestrelle {
namespace {

std::vector<std::uint8_t> bytesOf(std::string_view text) {
    return {text.begin(), text.end()};
}

TEST(Utf8DecodingTest, DecodesEveryLengthAndPairsScalarsAboveTheBasicPlane) {
    // One, two, three and four bytes, and the largest scalar.
    const auto bytes = bytesOf("a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x94\x91\xF4\x8F\xBF\xBF");
    const auto units = decodeUtf8AsUtf16(bytes);
    ASSERT_TRUE(units);
    EXPECT_TRUE(test::sameUnits(*units, u"a\u00E4\u20AC\U0001F511\U0010FFFF"));
    EXPECT_TRUE(isValidUtf8(bytes));
    EXPECT_TRUE(decodeUtf8AsUtf16({}).value().empty());
}

TEST(Utf8DecodingTest, RejectsMalformedSequences) {
    // Overlong forms, surrogates, above U+10FFFF, truncated, a stray or missing continuation
    // byte, no such lead byte.
    const std::vector<std::string> malformed{"\xC0\xAF",
                                             "\xC1\xBF",
                                             "\xE0\x80\xAF",
                                             "\xF0\x80\x80\xAF",
                                             "\xED\xA0\x80",
                                             "\xED\xBF\xBF",
                                             "\xF4\x90\x80\x80",
                                             "\xF7\xBF\xBF\xBF",
                                             "\xE2\x82",
                                             "a\xF0\x9F\x94",
                                             "\x80",
                                             "\xE2\x28\xA1",
                                             "\xC3\x41",
                                             "\xF8\x88\x80\x80\x80",
                                             "\xFF"};
    for (const auto& text : malformed) {
        SCOPED_TRACE(&text - malformed.data());
        EXPECT_FALSE(decodeUtf8AsUtf16(bytesOf(text)));
        // Valid text around it does not help.
        EXPECT_FALSE(isValidUtf8(bytesOf("ok" + text + "ok")));
    }
}

} // namespace
} // namespace kestrelle
