#include "Invocation/Utf8Decoding.h"

#include "Support/FakeKeyboardEvents.h"

#include <gtest/gtest.h>

namespace kestrelle {
namespace {

std::vector<std::uint8_t> bytesOf(std::string_view text) {
    return {text.begin(), text.end()};
}

TEST(Utf8DecodingTest, DecodesEveryLengthAndRejectsMalformedSequences) {
    // One, two, three and four bytes, and the largest scalar.
    const auto bytes = bytesOf("a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x94\x91\xF4\x8F\xBF\xBF");
    const auto units = decodeUtf8AsUtf16(bytes);
    ASSERT_TRUE(units && isValidUtf8(bytes));
    EXPECT_TRUE(test::sameUnits(*units, u"a\u00E4\u20AC\U0001F511\U0010FFFF"));
    EXPECT_TRUE(decodeUtf8AsUtf16({}).value().empty());

    // Overlong forms, surrogates, above U+10FFFF, truncated, a stray or missing continuation
    // byte, no such lead byte; valid text around them does not help.
    for (const std::string malformed :
         {"\xC0\xAF", "\xC1\xBF", "\xE0\x80\xAF", "\xF0\x80\x80\xAF", "\xED\xA0\x80",
          "\xED\xBF\xBF", "\xF4\x90\x80\x80", "\xF7\xBF\xBF\xBF", "\xE2\x82", "a\xF0\x9F\x94",
          "\x80", "\xE2\x28\xA1", "\xC3\x41", "\xF8\x88\x80\x80\x80", "\xFF"}) {
        SCOPED_TRACE(testing::PrintToString(malformed));
        EXPECT_FALSE(decodeUtf8AsUtf16(bytesOf(malformed)));
        EXPECT_FALSE(isValidUtf8(bytesOf("ok" + malformed + "ok")));
    }
}

} // namespace
} // namespace kestrelle
