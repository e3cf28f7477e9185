/// @file
/// One sample of the converging sampler: a path from the eye that goes on from mirrors, glass and glossy
/// surfaces, one branch at a time, and takes one luminaire, the sun and the sky at each surface that it
/// meets.
#pragma once

#include "zirconlite/environment/sky_light.hpp"
#include "zirconlite/frame/document.h"
#include "zirconlite/geometry/ray.h"
#include "zirconlite/materials/surface.h"
#include "zirconlite/sampling/light_guide.hpp"
#include "zirconlite/sampling/lobe.hpp"
#include "zirconlite/sampling/openings.hpp"
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
    bool left_to_chance; ///< something beside the place in the pixel: the same place could give other light
    bool has_guides;     ///< of the first surface that is neither a mirror nor clear:
    float albedo[3], normal[3];
};

/// What a bounced path does with sky that it meets.
enum class sky_by_path
{
    weighed, ///< a shadow ray could have found it
    whole,   ///< mirrors are in between, which shadow rays do not follow
    counted  ///< shadow rays have counted it, straight through glass that bends the path
};

/// How a path may leave a diffuse surface, from its front and from its back.
struct diffuse_bounce
{
    double chance[2];           ///< that it does
    const guide_cell* guide[2]; ///< that it may follow; null: it spreads by the cosine
};

/// How a path has left a diffuse surface. Sky is found by shadow rays too, so what both find is weighed.
struct diffuse_scatter
{
    double density;        ///< of the direction taken, with the chance to bounce; 1/sr
    double even_density;   ///< of that direction under the cosine
    vector3 point, normal; ///< where it left, and the side
    sky_by_path sky;
};

struct fill_path;

/// A path while it is followed.
struct light_path
{
    document& doc;
    render_view& view;
    sample_point point;   ///< numbers of the sample
    ray r;                ///< last segment; its weight is what the eye sees of it
    uint32_t vertex;      ///< surfaces met so far
    bool skips_shapes;    ///< the segment is of a lobe in which luminaires have been counted: their visible
                          ///< shapes are left out
    double alpha_share;   ///< what the eye sees of the background straight through
    int32_t bounces;      ///< off diffuse surfaces so far
    double since_bounce;  ///< length since the last of them, model units
    diffuse_scatter last; ///< what its latest bounce says about sky that the path meets
    fill_path* fill;      ///< of a path that fills the light cache; null for one of the picture
    path_light found;
};

/// Traces a whole path. `prototype` brings the limits and counters of the worker's rays; `position` in
/// pixels.
path_light trace_path(document& doc, render_view& view, const ray& prototype, int32_t thread,
    const sample_point& point, const double position[2]);

/// A path before its first ray; aim_path gives it one, from a position in pixels, and is false where the
/// lens lets none through. follow_path traces it to its end.
light_path start_path(document& doc, render_view& view, const ray& prototype, const sample_point& point);
bool aim_path(light_path& p, int32_t thread, const double position[2]);
void follow_path(light_path& p);

/// Share of sky light found by one of two strategies, by the densities of both: the power heuristic of Veach,
/// "Robust Monte Carlo methods for light transport simulation" (1997), section 9.2.
double strategy_weight(double density, double other);

/// Density of the direction of a shadow ray to the sky, with that of the cosine given, from where the
/// openings are `seen`; 1/sr.
double sky_ray_density(const sky_sample& from, double even_density, const seen_openings& seen);

/// Density with which a path bounces to a side into a direction, whose density under the cosine is given.
double bounce_density(const diffuse_bounce& bounce, int side, const vector3& direction, double even_density);

/// Adds the light that reaches the path's hit straight from luminaires, sun and sky, and the ambient
/// stand-in where paths do not bounce. `mirror` is the axis of the lobe in which luminaires show, null for
/// none; `bounce` how the path may go on.
void add_vertex_light(light_path& path, const surface& s, const specular_lobe& lobe, const vector3* mirror,
    const diffuse_bounce& bounce);

} // namespace zr
