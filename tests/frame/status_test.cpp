#include "zirconlite/frame/status.hpp"

#include <gtest/gtest.h>

#include <string>
#include <thread>

TEST(Status, LongTextsEndWithAWholeCharacter)
{
    for (int before = 250; before < 256; ++before)
    {
        const std::string long_text = std::string(size_t(before), 'x') + "\xE2\x82\xAC\xE2\x82\xAC";
        const zr::status s = zr::fail(ZR_ERROR_FORMAT, "%s", long_text.c_str());
        const std::string text = s.text;
        EXPECT_LE(text.size(), 255u);
        EXPECT_EQ((text.size() - size_t(before)) % 3, 0u) << before;
        EXPECT_EQ(long_text.compare(0, text.size(), text), 0);
    }
}

TEST(Status, EachThreadKeepsItsOwnLastFailure)
{
    EXPECT_FALSE(zr::report_failure(ZR_ERROR_LIMIT, "limit %d", 7));
    EXPECT_TRUE(zr::report({}));
    EXPECT_STREQ(zr_last_error()->text, "limit 7") << "a success leaves it alone";
    int32_t code = -1;
    std::thread([&] { code = zr_last_error()->code; }).join();
    EXPECT_EQ(code, ZR_ERROR_NONE);
}
