/// @file
/// What lies round the scene, for the ray tracer: preparation before a render, the background, the haze.
#pragma once

#include "zirconlite/frame/document.h"
#include "zirconlite/geometry/ray.h"

namespace zr
{

/// The light of the environment from a unit direction: what `record` shows there, as linear colour before
/// any tone operator, without clouds, haze and ray weights. The flat colour, the gradient or the sky; over it
/// the hdr picture; over that the cylindrical or spherical background picture (a planar one belongs to the
/// view and is not seen here). `environment_prepare` has run for the record.
///
/// `*luminance_scale` is what a channel of 1 stands for. Where the hdr picture shows alone (its opacity 0, no
/// picture over it) `rgb` is in cd/m2 and the scale is 1. Everywhere else `rgb` is 0 to 1, display-linear,
/// and the scale is 0: the caller takes the luminance of white from its own view or sky. Where both mix, the
/// hdr part is brought to 0 to 1 by the tone operator of its own view, as a picture shows it. With a sun the
/// sky is that of its model, not the painted one, relative to `white` in cd/m2: a colour of 1. False, with
/// black, where nothing shows at all: the sky without a sun. Any thread.
bool environment_color(const document& document, const environment& record, const vector3& direction,
    double white, float rgb[3], double* luminance_scale);

/// What a ray that leaves the scene does; adds to the ray's results.
using background_function = void (*)(document& document, ray& ray);

/// Works out what a render needs of one of the document's two records, for a view. False when memory fails.
/// On one thread, before workers start.
bool environment_prepare(document& document, const environment& record, const render_view& view);

/// Frees what preparations made for the records of a document.
void end_environments(document& document);

/// The background of rays that are shaded.
void environment_background(document& document, ray& ray);

/// The background of luminance probes.
void probe_background(document& document, ray& ray);

/// Lays haze over the ray's light by its distance; the share of the light that is kept. A distance of 0 is no
/// haze.
double haze(document& document, ray& ray);

} // namespace zr
