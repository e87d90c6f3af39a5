#include "Invocation/Utf8Decoding.h"

#include "Support/FakeKeyboardEvents.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

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

    const auto empty = decodeUtf8AsUtf16({});
    ASSERT_TRUE(empty);
    EXPECT_TRUE(empty->empty());
}

TEST(Utf8DecodingTest, RejectsMalformedSequences) {
    const std::vector<std::pair<std::string, std::string>> malformed{
        {"\xC0\xAF", "overlong two bytes"},
        {"\xC1\xBF", "overlong two bytes"},
        {"\xE0\x80\xAF", "overlong three bytes"},
        {"\xF0\x80\x80\xAF", "overlong four bytes"},
        {"\xED\xA0\x80", "high surrogate"},
        {"\xED\xBF\xBF", "low surrogate"},
        {"\xF4\x90\x80\x80", "above U+10FFFF"},
        {"\xF7\xBF\xBF\xBF", "above U+10FFFF"},
        {"\xE2\x82", "truncated three bytes"},
        {"a\xF0\x9F\x94", "truncated four bytes"},
        {"\x80", "lone continuation"},
        {"\xE2\x28\xA1", "ASCII in place of a continuation"},
        {"\xC3\x41", "ASCII in place of a continuation"},
        {"\xF8\x88\x80\x80\x80", "five-byte lead"},
        {"\xFF", "no such lead byte"},
    };
    for (const auto& [text, why] : malformed) {
        SCOPED_TRACE(why);
        EXPECT_FALSE(decodeUtf8AsUtf16(bytesOf(text)));
        EXPECT_FALSE(isValidUtf8(bytesOf(text)));
        // Valid text around it does not help.
        EXPECT_FALSE(isValidUtf8(bytesOf("ok" + text + "ok")));
    }
}

} // namespace
} // namespace kestrelle
