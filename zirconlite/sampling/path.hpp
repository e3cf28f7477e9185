/// @file
/// One sample of the converging sampler: a path from the eye that goes on from mirrors, glass and glossy
/// surfaces, one branch at a time, and takes one luminaire, the sun and the sky at each surface that it
/// meets.
#pragma once

#include "zirconlite/frame/document.h"
#include "zirconlite/geometry/ray.h"
#include "zirconlite/materials/surface.h"
#include "zirconlite/sampling/lobe.hpp"
#include "zirconlite/sampling/sequence.hpp"

namespace zr
{

/// What one sample brings.
struct path_light
{
    double radiance[3];
    double background[3];
    double light_radiance[3]; ///< the part of `radiance` of the source ratio
    double alpha;             ///< share of background
    double hidden_chance;     ///< luminance of what the shadow rays could have brought at most
    int32_t shadow_rays;      ///< rays towards light
};

/// A path while it is followed.
struct light_path
{
    document& doc;
    render_view& view;
    sample_point point; ///< numbers of the sample
    ray r;              ///< last segment; its weight is what the eye sees of it
    uint32_t vertex;    ///< surfaces met so far
    bool skips_shapes;  ///< the segment is of a lobe in which luminaires have been counted: their visible
                        ///< shapes are left out
    double alpha_share; ///< what the eye sees of the background straight through
    path_light found;
};

/// Traces a whole path. `prototype` brings the limits and counters of the worker's rays; `position` in
/// pixels.
path_light trace_path(document& document, render_view& view, const ray& prototype, int32_t thread,
    const sample_point& point, const double position[2]);

/// Adds the light that reaches the path's hit straight from luminaires, sun and sky, and the ambient
/// stand-in. `mirror` is the axis of the lobe in which luminaires show, null for none.
void add_vertex_light(light_path& path, const surface& s, const specular_lobe& lobe, const vector3* mirror);

} // namespace zr
