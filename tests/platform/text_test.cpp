#include "zirconlite/platform/text.hpp"

#include <gtest/gtest.h>

#include <string>

using namespace zr::platform;

TEST(Text, ConversionIsStrictBothWays)
{
    struct
    {
        const char* what;
        std::string utf8;
        std::u16string utf16;
    } const good[] = {
        { "one to four bytes", "a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x8C\xB3", u"a\u00E4\u20AC\U0001F333" },
        { "the ends of the ranges", "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF\xF4\x8F\xBF\xBF",
            u"\u007F\u0080\u07FF\u0800\uFFFF\U0010FFFF" },
        { "empty", "", u"" },
    };
    for (const auto& c : good)
    {
        SCOPED_TRACE(c.what);
        char narrow[64];
        char16_t wide[64];
        EXPECT_TRUE(to_utf8(c.utf16.c_str(), narrow, 64));
        EXPECT_EQ(narrow, c.utf8);
        EXPECT_TRUE(to_utf16(c.utf8.data(), c.utf8.size(), wide, 64));
        EXPECT_EQ(wide, c.utf16);
    }
    const std::string bad_utf8[] = { "\x80", "\xC0\xAF", "\xC1\xBF", "\xE0\x9F\xBF", "\xED\xA0\x80",
        "\xF0\x8F\xBF\xBF", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xE2\x82", "\xC3", "\xC3(",
        std::string("a\0b", 3) };
    for (const std::string& text : bad_utf8)
    {
        char16_t wide[64] = u"x";
        EXPECT_FALSE(to_utf16(text.data(), text.size(), wide, 64)) << text;
        EXPECT_EQ(wide[0], 0);
    }
    const char16_t bad_utf16[][3] = { { 0xD800, 0 }, { 0xDC00, 0 }, { 0xD800, u'a', 0 },
        { 0xDC00, 0xD800, 0 } };
    for (const auto& text : bad_utf16)
    {
        char narrow[16] = "x";
        EXPECT_FALSE(to_utf8(text, narrow, 16));
        EXPECT_EQ(narrow[0], 0);
    }
}

TEST(Text, NothingIsCutInTheMiddleOfACharacter)
{
    char narrow[4];
    EXPECT_TRUE(to_utf8(u"\u20AC", narrow, 4));
    EXPECT_FALSE(to_utf8(u"\u20AC", narrow, 3));
    EXPECT_STREQ(narrow, "");
    char16_t wide[4];
    EXPECT_FALSE(copy_text(wide, 4, u"ab\U0001F333"));
    EXPECT_EQ(std::u16string(wide), u"ab");
    EXPECT_TRUE(copy_text(wide, 4, u"a\U0001F333"));
    EXPECT_FALSE(append_text(wide, 4, u"b"));
    EXPECT_EQ(std::u16string(wide), u"a\U0001F333");
}

TEST(Text, KeysCompareWithoutRegardToCase)
{
    EXPECT_EQ(
        compare_no_case(u"Oak \u00C4\u0160\u0393\u0416\u0401.JPG", u"oak \u00E4\u0161\u03B3\u0436\u0451.jpg"),
        0);
    EXPECT_NE(compare_no_case(u"\u00D7", u"\u00F7"), 0) << "times and divide are no letters";
    EXPECT_LT(compare_no_case(u"oak", u"oaks"), 0);
    EXPECT_GT(compare_no_case(u"P", u"oak"), 0);
}

TEST(Text, WildcardsMatchWholeNames)
{
    struct
    {
        const char16_t *text, *pattern;
        bool matches;
    } const cases[] = {
        { u"leaf.bmp", u"*.bmp", true },
        { u"leaf.BMP", u"*.bmp", true },
        { u"leaf.bmp", u"*.b", false },
        { u"README", u"*.*", true },
        { u"a.b.c", u"*.c", true },
        { u"abc", u"a?c", true },
        { u"ac", u"a?c", false },
        { u"aXbXc", u"a*b*c", true },
        { u"ab", u"ab*", true },
        { u"ab", u"", false },
        { u"", u"*", true },
        { u"aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaab", u"*a*a*a*a*a*a*a*a*a*c", false },
    };
    for (const auto& c : cases) { EXPECT_EQ(matches_wildcards(c.text, c.pattern), c.matches); }
}
