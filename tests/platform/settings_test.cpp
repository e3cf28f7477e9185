#include "zirconlite/platform/settings.hpp"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "tests/support/temporary_folder.hpp"

using namespace zr::platform;

namespace
{

struct Settings : testing::Test
{
    Settings() { override_settings_file(folder.wide("deep/settings.txt").c_str()); }
    ~Settings() override { override_settings_file(nullptr); }
    static std::u16string value(const char16_t* key, const char16_t* name)
    {
        char16_t text[64];
        return read_setting(key, name, text, 64) ? text : u"<none>";
    }
    temporary_folder folder;
};

} // namespace

TEST_F(Settings, ValuesComeBackAsTheyWere)
{
    const char16_t* key = u"SOFTWARE\\Some\\Paths";
    EXPECT_EQ(value(key, u"A"), u"<none>");
    const std::u16string awkward = u"C:\\a\\b;=[x]\r\n\u00E4\U0001F333 ";
    EXPECT_TRUE(write_setting(key, u"A=B", awkward.c_str()));
    EXPECT_TRUE(write_setting(key, u"A", u"1"));
    EXPECT_TRUE(write_setting(u"Other", u"A", u"2"));
    EXPECT_TRUE(write_setting(key, u"a", u"3"));
    EXPECT_EQ(value(u"software\\SOME\\paths", u"a=b"), awkward);
    EXPECT_EQ(value(key, u"A"), u"3");
    EXPECT_EQ(value(u"Other", u"A"), u"2");
    EXPECT_TRUE(write_setting(key, u"A", nullptr));
    EXPECT_EQ(value(key, u"A"), u"<none>");
    EXPECT_TRUE(write_setting(key, u"Empty", u""));
    EXPECT_EQ(value(key, u"Empty"), u"");
    char16_t small[3];
    write_setting(key, u"A", u"123");
    EXPECT_FALSE(read_setting(key, u"A", small, 3)) << "a value is given whole or not at all";
}

TEST_F(Settings, AForeignFileKeepsItsOtherLines)
{
    folder.write("deep/settings.txt", "note\n[Key]\nA=1\nno equals\n[Other]\nA=5");
    EXPECT_TRUE(write_setting(u"Key", u"B", u"2"));
    EXPECT_EQ(folder.read("deep/settings.txt"), "note\n[Key]\nB=2\nA=1\nno equals\n[Other]\nA=5\n");
}

TEST_F(Settings, WritersDoNotLoseEachOthersValues)
{
    std::vector<std::thread> writers;
    for (int i = 0; i < 4; ++i)
    {
        writers.emplace_back(
            [i]
            {
                for (int n = 0; n < 5; ++n)
                {
                    const char16_t name[] = { char16_t(u'a' + i), char16_t(u'0' + n), 0 };
                    write_setting(u"Key", name, u"x");
                }
            });
    }
    for (auto& writer : writers) { writer.join(); }
    for (int i = 0; i < 20; ++i)
    {
        const char16_t name[] = { char16_t(u'a' + i / 5), char16_t(u'0' + i % 5), 0 };
        EXPECT_EQ(value(u"Key", name), u"x");
    }
}
