/// @file
/// The jitter of every sampling step: random numbers looked up by position, so that a picture does not
/// depend on the order in which its pixels are made.
#pragma once

#include "zirconlite/types.h"

namespace zr
{

/// Fills the tables once, from the runtime's generator seeded with 600. Before workers start.
void fill_random_tables();

/// Two numbers in -0.5 to 0.5 for a position, times `amplitude`.
void table_jitter(const double key[2], const double amplitude[2], double result[2]);

} // namespace zr
