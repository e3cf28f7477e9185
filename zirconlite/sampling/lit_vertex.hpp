/// @file
/// A surface that a path has met, as its sources of light see it: what it scatters, and its shadow rays.
#pragma once

#include "zirconlite/lighting/light.h"
#include "zirconlite/sampling/path.hpp"

namespace zr
{

/// The surface at a path's hit, as all of its sources see it.
struct lit_vertex
{
    light_path& path;
    const surface& s;
    const specular_lobe& lobe;
    const vector3* mirror; ///< null where luminaires do not show
    const diffuse_bounce& bounce;
    uint32_t object_flags;
};

inline unit_pair numbers(const lit_vertex& v, sample_pair pair)
{
    return vertex_numbers(v.path.point, v.path.vertex, pair);
}

/// Share of the light from a direction that the surface sends to the eye, times the cosine; per channel.
/// Whether there is any; `back` says on which side.
bool scattering(
    const lit_vertex& v, const vector3& direction, bool shows_highlight, double share[3], bool& back);

/// A shadow ray from the surface that ends short of `distance`.
ray shadow_ray(const lit_vertex& v, const vector3& direction, double distance, bool back);

/// Light on its way to a point: its direction, unit, and what arrives square to it where nothing is in the
/// way.
struct arriving_light
{
    vector3 direction;
    double distance;
    double light[3];
};

/// One point of a luminaire, or of the sun's disc, as `point` sees it; the vertex itself, or its mirror
/// image. False where it gives nothing.
bool sample_source(
    const lit_vertex& v, const light& source, const vector3& point, const unit_pair& at, arriving_light& out);
bool sample_sun(const lit_vertex& v, const vector3& point, arriving_light& out);

/// Counts light that a shadow ray is about to look for.
void count_shadow_ray(const lit_vertex& v, const double seen[3]);

/// Adds `light` (what arrives square to its direction, times the scattering) where nothing is in the way.
void add_unblocked(const lit_vertex& v, const light* source, ray& shadow, const double light[3]);

/// Adds light of one luminaire and of the sun by way of flat mirrors and panes, one reflection each.
void add_mirrored_light(const lit_vertex& v);

/// Adds light of one point of the surfaces that glow.
void add_glow(const lit_vertex& v);

} // namespace zr
