/// @file
/// The ground plane, a level plane without end that no acceleration structure holds. One per process: it is
/// that of the document which ground_prepare saw last.
#pragma once

#include "zirconlite/frame/document.h"
#include "zirconlite/geometry/ray.h"

namespace zr
{

/// Makes the ground plane ready; whether there is one. On one thread, before workers start.
///
/// Its material is `ground_material_name` of the library `ground_material_library`; without a library the
/// document's own material of that name; a grey one where neither gives any.
bool ground_prepare(document& doc);

/// The start of each trace: sets `hit_ground` and, where the ground is the nearest hit so far, the hit.
bool ground_test(const document& doc, ray& r);

/// Gives up the ground's material.
void end_ground();

} // namespace zr
