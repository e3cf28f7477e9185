/// @file
/// Clocks over POSIX.
#include "zirconlite/platform/clock.hpp"

#include <time.h>

namespace zr::platform
{

uint64_t now_100ns()
{
    timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    return from_unix_time(now.tv_sec, uint32_t(now.tv_nsec));
}

uint64_t from_unix_time(int64_t seconds, uint32_t nanoseconds)
{
    constexpr int64_t seconds_1601_to_1970 = 11644473600;
    return uint64_t(seconds + seconds_1601_to_1970) * 10000000 + nanoseconds / 100;
}

uint64_t tick_ms() { return tick_ns() / 1000000; }

uint64_t tick_ns()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return uint64_t(now.tv_sec) * 1000000000 + uint64_t(now.tv_nsec);
}

} // namespace zr::platform
