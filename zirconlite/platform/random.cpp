/// @file
/// The linear congruential generator behind the 15-bit random numbers.
#include "zirconlite/platform/random.hpp"

namespace zr::platform
{

namespace
{
thread_local uint32_t state = 1;
}

void srand15(uint32_t seed) { state = seed; }

int rand15()
{
    state = state * 214013u + 2531011u;
    return int((state >> 16) & 0x7FFF);
}

} // namespace zr::platform
