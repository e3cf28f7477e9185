#include "zirconlite/frame/status.hpp"

#include <gtest/gtest.h>

#include <thread>

TEST(Status, EachThreadKeepsItsOwnLastFailure)
{
    EXPECT_FALSE(zr::report_failure(ZR_ERROR_LIMIT, "limit %d", 7));
    EXPECT_TRUE(zr::report({}));
    EXPECT_STREQ(zr_last_error()->text, "limit 7") << "a success leaves it alone";
    int32_t code = -1;
    std::thread([&] { code = zr_last_error()->code; }).join();
    EXPECT_EQ(code, ZR_ERROR_NONE);
}
