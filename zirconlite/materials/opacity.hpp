/// @file
/// What shadow rays may know of a material without evaluating it.
#pragma once

#include "zirconlite/materials/material.h"

namespace zr
{

/// Whether a surface of `m` lets no light through at any point: shadow rays then need not evaluate it.
bool is_always_opaque(const material* m);

} // namespace zr
