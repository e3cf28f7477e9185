/// @file
/// The state of preprocess builds: whether one runs, and its reports.
#pragma once

#include <stdint.h>

namespace zr
{

/// 1 while a build of an acceleration structure or a frustum runs; atomic.
extern int32_t preprocess_running;

} // namespace zr
