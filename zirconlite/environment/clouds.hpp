/// @file
/// The clouds of an environment: cumulus, which are ellipsoids scattered over a box high above the scene, and
/// a layer of cirrus.
#pragma once

#include "zirconlite/environment/prepared_environment.hpp"
#include "zirconlite/geometry/ray.h"

namespace zr
{

/// Most cumulus ellipsoids of a record, and most entries in its cells together; what goes beyond is left out.
inline constexpr int32_t cloud_limit = 100000;
inline constexpr size_t cloud_entry_limit = 4000000;

/// Whether clouds take part in a document's environments.
bool clouds_are_active(const document& doc);

/// Works out the clouds of a record; whether they are active. Lists are in the order of creation. On one
/// thread.
bool clouds_prepare(const document& doc, const environment& record, prepared_environment& made);

/// Colour and coverage, 0 to 1, of the clouds before a ray; no coverage leaves `rgb` alone where clouds are
/// not active. Any thread.
double clouds(const document& doc, const environment& record, const prepared_environment& made, const ray& r,
    float rgb[3]);

/// Frees the ellipsoids and their cells.
void release_clouds(prepared_environment& made);

} // namespace zr
