/// @file
/// The rays that a surface mirrors and lets through.
#pragma once

#include "zirconlite/environment/environment.hpp"
#include "zirconlite/frame/document.h"
#include "zirconlite/geometry/ray.h"
#include "zirconlite/materials/surface.h"

namespace zr
{

/// Share of its transparent light that a surface mirrors for a ray from outside with cosine `d`.
double entering_reflectance(const surface& s, const ray& r, double d);

/// Share of `c`osine-incident light that a shadow ray loses to mirroring: the same law as for the eye.
double shadow_reflectance(const surface& s, bool thin, double c);

/// Whether light passes the hit as through a sheet.
bool is_thin(const scene_object* object, const surface& s);

/// Traces the mirrored ray, or several glossy ones. `mirrored` is the reflectance of the transparent part;
/// `mirror` replaces the mirror direction where given.
void reflect_ray(document& doc, const surface& s, ray& r, double d, double mirrored, const vector3* mirror,
    background_function background);

/// Traces the ray that enters or passes the surface, or several spread ones.
void transmit_ray(
    document& doc, const surface& s, ray& r, double d, double mirrored, background_function background);

/// Traces the ray that leaves a solid from within, and in the exact light model the one that stays.
void exit_ray(document& doc, const surface& s, ray& r, background_function background);

} // namespace zr
