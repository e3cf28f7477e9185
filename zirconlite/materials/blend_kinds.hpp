/// @file
/// What the evaluation asks about the kind of a complex material.
#pragma once

#include "zirconlite/materials/material.h"

namespace zr
{

/// Whether the blend function reads or changes its children's surfaces, so that both are wanted before it
/// runs. True for functions of hosts.
bool blend_works_on_children(const complex_material& m);

/// Whether the blend function is one of the system's own.
bool is_own_kind(const complex_material& m);

} // namespace zr
