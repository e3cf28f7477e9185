/// @file
/// What lies round the scene, for the ray tracer: preparation before a render, the background, the haze.
#pragma once

#include "zirconlite/frame/document.h"
#include "zirconlite/geometry/ray.h"

namespace zr
{

/// The brightest that an environment gets, cd/m2: hot pixels of pictures are clamped to it.
inline constexpr double max_environment_radiance = 1e12;

/// By the settings of the job: what a channel of 1 of a document's background colours and pictures stands
/// for, cd/m2: its own luminance of the background, else that of the sky of its sun. 0 where they give no
/// light.
double environment_white(const document& doc);

/// The light of the environment from a unit direction, cd/m2: the sky of the sun, or the flat colour or the
/// gradient by `environment_white`; over it the environment map; over that the cylindrical or spherical
/// background picture (a planar one belongs to the view and gives no light). With a ray that sees it the
/// clouds too, which give no light. No ray weights, no haze. `environment_prepare` has run for the record.
/// Any thread.
void environment_radiance(
    const document& doc, const environment& record, const vector3& direction, const ray* seen, double rgb[3]);

/// What a ray that leaves the scene does; adds to the ray's results.
using background_function = void (*)(document& doc, ray& r);

/// Works out what a render needs of one of the document's two records, for a view. False when memory fails.
/// On one thread, before workers start.
bool environment_prepare(document& doc, const environment& record, const render_view& view);

/// Frees what preparations made for the records of a document.
void end_environments(document& doc);

/// The background of rays that are shaded.
void environment_background(document& doc, ray& r);

/// The background of the pixels that measure the exposure: light alone. Colours that were picked are made for
/// an exposure, and none is known yet.
void measured_background(document& doc, ray& r);

/// The background of luminance probes.
void probe_background(document& doc, ray& r);

/// Lays haze over the ray's light by its distance; the share of the light that is kept. A distance of 0 is no
/// haze.
double haze(document& doc, ray& r);

} // namespace zr
