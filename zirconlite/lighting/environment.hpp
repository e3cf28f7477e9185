/// @file
/// What lies round the scene, for the ray tracer: preparation before a render, the ground, the background.
#pragma once

#include "zirconlite/frame/document.h"
#include "zirconlite/raytrace/ray.h"

namespace zr
{

/// What a ray that leaves the scene does; adds to the ray's results.
using background_function = void (*)(document& document, ray& ray);

/// Works out the derived fields of one record for a view. On one thread, before workers start.
void environment_prepare(document& document, environment& record, render_view& view);

/// Makes the ground plane ready; whether there is one. On one thread, before workers start.
bool ground_prepare(document& document);

/// The start of each trace: sets `hit_ground` and, where the ground is the nearest hit so far, the hit.
bool ground_test(const document& document, ray& ray);

/// The background of rays that are shaded.
void environment_background(document& document, ray& ray);

/// The background of luminance probes.
void probe_background(document& document, ray& ray);

/// Lays haze over the ray's light by its distance; the share of the light that is kept.
double haze(document& document, ray& ray);

} // namespace zr
