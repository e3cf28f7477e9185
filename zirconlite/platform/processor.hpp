/// @file
/// What the processor and its memory offer beyond the baseline.
#pragma once

#include <stddef.h>

namespace zr::platform
{

/// Whether 256-bit integer and floating-point vectors may be used.
bool has_avx2();

/// Makes has_avx2() answer no, so that the portable paths run; false ends that. For tests.
void force_portable(bool portable);

/// Advises the system that a large block is read all over, so that large pages serve it well. A hint.
void prefer_large_pages(void* block, size_t bytes);

} // namespace zr::platform
