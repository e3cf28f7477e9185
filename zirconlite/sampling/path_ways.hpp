/// @file
/// The ways on from a surface that a path has met, and the choice of one of them by chance.
#pragma once

#include "zirconlite/sampling/path.hpp"

namespace zr
{

/// A way on from a surface, with the share of the light that takes it.
struct branch
{
    double share[3];
    double chance; ///< largest channel of `share`
};

/// The ways on from a surface seen from outside.
struct outside_ways
{
    branch way[3]; ///< passing, mirrored, bounced
    bool thin;
};
enum outside_way
{
    way_passing,
    way_mirrored,
    way_bounced
};

/// A surface that the path has met.
struct met_surface
{
    const surface& s;
    specular_lobe lobe;
    vector3 mirror; ///< axis of the mirrored lobe
    double cosine;  ///< of incidence, 0 to 1
};

/// Numbers of the path's next decision at its vertex.
inline unit_pair numbers(const light_path& p, sample_pair pair)
{
    return vertex_numbers(p.point, p.vertex, pair);
}

/// Share of what meets the clear part of a surface that it mirrors, at a cosine of incidence.
double entering_fresnel(const ray& r, const surface& s, double cosine);

outside_ways ways_outside(const light_path& p, const met_surface& at);

/// How the path may bounce, and what guides it there.
diffuse_bounce bounce_from(const light_path& p, const outside_ways& ways, const met_surface& at);

/// Chooses one of the ways on with a probability that follows their shares, or the end of the path: a faint
/// way is taken seldom and counts more. Returns the way, or -1 for the end.
int choose_way(light_path& p, const branch* ways, int count, double& probability);

/// Turns the path into the chosen way; `bounce` as bounce_from gives it. False at the end of the path.
bool take_way(light_path& p, const met_surface& at, const outside_ways& ways, int way, double probability,
    const diffuse_bounce& bounce);

/// choose_way and take_way. False at the end of the path.
bool leave_outside(
    light_path& p, const met_surface& at, const outside_ways& ways, const diffuse_bounce& bounce);

/// The path goes on from a diffuse surface, on one of its sides by their chances. False where its direction
/// leads into the surface.
bool go_bounced(light_path& p, const surface& s, const specular_lobe& lobe, const diffuse_bounce& bounce);

/// Leaves a solid or is thrown back in it. False at the end of the path.
bool leave_inside(light_path& p, const met_surface& at);

} // namespace zr
