// Texts in and out of UTF-8, whatever bytes arrive.
#include "host/text.hpp"

#include <gtest/gtest.h>

using namespace host;

TEST(Text, ReadsUtf8AndElseLatin1)
{
    struct
    {
        const char* what;
        std::string bytes;
        bool is_utf8;
        std::u16string units;
    } const cases[] = {
        { "plain", "wall", true, u"wall" },
        { "two, three and four bytes", "\xC3\xA9\xE2\x82\xAC\xF0\x9D\x84\x9E", true,
            u"\u00E9\u20AC\U0001D11E" },
        { "Latin-1", "caf\xE9", false, u"caf\u00E9" },
        { "cut at the end", "a\xE2\x82", false, u"a\u00E2\u0082" },
        { "overlong", "\xC0\xAF", false, u"\u00C0\u00AF" },
        { "a surrogate", "\xED\xA0\x80", false, u"\u00ED\u00A0\u0080" },
        { "beyond the last character", "\xF4\x90\x80\x80", false, u"\u00F4\u0090\u0080\u0080" },
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(is_utf8(c.bytes), c.is_utf8);
        EXPECT_EQ(utf16_of(c.bytes), c.units);
        EXPECT_TRUE(is_utf8(utf8_of_bytes(c.bytes)));
        EXPECT_EQ(utf16_of(utf8_of(c.units)), c.units);
    }
    EXPECT_EQ(utf8_of(u"a\xD800z"), "a?z");
    EXPECT_EQ(lower_case(u"\u00C9CHO\u00D7"), u"\u00E9cho\u00D7");
    EXPECT_EQ(percent_decoded("a%20b%2"), "a b%2");
}
