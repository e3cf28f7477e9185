/// @file
/// What the processor offers beyond the baseline.
#pragma once

namespace zr::platform
{

/// Whether 256-bit integer and floating-point vectors may be used; asked once.
bool has_avx2();

/// Makes has_avx2() answer no, so that the portable paths run; false asks the processor again. For tests.
void force_portable(bool portable);

} // namespace zr::platform
