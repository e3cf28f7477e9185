/// @file
/// The time of day and a clock that only moves forward.
#pragma once

#include <stdint.h>

namespace zr::platform
{

/// UTC in units of 100 nanoseconds since 1 January 1601.
uint64_t now_100ns();

/// A Unix time as units of 100 nanoseconds since 1 January 1601.
uint64_t from_unix_time(int64_t seconds, uint32_t nanoseconds);

/// Milliseconds of a clock that setting the time of day does not move.
uint64_t tick_ms();

/// The same clock in nanoseconds.
uint64_t tick_ns();

} // namespace zr::platform
