/// @file
/// The runtime's 15-bit random numbers. Jitter tables, noise, clouds and plants draw their sequences from
/// them, so they repeat on every machine.
#pragma once

#include <stdint.h>

namespace zr::platform
{

/// Seeds this thread's generator.
void srand15(uint32_t seed);

/// The next number of this thread, 0 to 32767: x = x * 214013 + 2531011, result bits 16 to 30 of x.
int rand15();

} // namespace zr::platform
