/// @file
/// Shadow rays in two sets. The first is cosine sampled over the hemisphere: right for smooth
/// skies. Where the environment has bright spots half of the rays are importance sampled by their
/// luminance, and both sets are weighed by the balance heuristic: Veach and Guibas, "Optimally combining
/// sampling techniques for Monte Carlo rendering" (1995). No ray then counts more than the whole light of the
/// environment shared by the rays.
///
/// Below the horizon is what the environment shows there; where there is a ground plane, its reflected
/// light.
#include "zirconlite/raytrace/sky_light_rays.hpp"

#include <algorithm>
#include <cmath>

#include "zirconlite/environment/ground.hpp"
#include "zirconlite/environment/sky_light.hpp"
#include "zirconlite/frame/job_state.hpp"
#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/lighting/sun_light.hpp"
#include "zirconlite/raytrace/direct_light.hpp"
#include "zirconlite/raytrace/direct_sun.hpp"
#include "zirconlite/raytrace/sample_pattern.hpp"
#include "zirconlite/raytrace/shadow_rays.hpp"

namespace zr
{

namespace
{

constexpr int32_t draft_share = 4; // of the rays: coarse passes are painted over
constexpr int32_t min_rays = 4;    // of a faint branch

/// One side of the surface.
struct hemisphere
{
    document& doc;
    const ray start; ///< of all shadow rays
    vector3 normal;
    int32_t cosine_rays, importance_rays;
};

/// What the rays of a side have brought.
struct sky_gathering
{
    double irradiance[3];
    int32_t met, blocked; ///< rays towards light, and those of them that found no way
    double squares;       ///< of what each would bring unhindered

    /// Variance of the irradiance's luminance: each ray is a throw of whether the sky is open. Laplace's rule
    /// keeps a side whose rays were all blocked from being sure that it is dark.
    double variance() const
    {
        const double open = (met - blocked + 1.0) / (met + 2.0);
        return open * (1.0 - open) * squares;
    }
};

void take_ground(document& d, const ray& to_ground, double radiance[3]);
void add_side(document& d, const surface& s, ray& r, bool back, double share, float out[3]);
int32_t rays_for(const document& d, const ray& r, double share);
void follow_ray(const hemisphere& h, sky_sample from, sky_gathering& g);
void aim(ray& shadow, const vector3& direction);

} // namespace

vector3 cosine_direction(const vector3& normal, const square_point& p)
{
    vector3 across, along;
    zr_make_axes(&normal, &across, &along, 1e-6);
    const double radius = std::sqrt(p.u);
    double cosine, sine;
    turned(p.v, cosine, sine);
    return normal * std::sqrt(std::fmax(1.0 - p.u, 0.0)) + across * (radius * cosine) +
           along * (radius * sine);
}

void meet_ground(document& doc, ray& shadow, double radiance[3])
{
    if (!(shadow.direction.z < 0.0) || !ground_test(doc, shadow)) { return; }
    take_ground(doc, shadow, radiance);
    shadow.t_max = shadow.hit_t - 10.0 * doc.epsilon;
}

void add_sky_light(document& doc, const surface& s, ray& r, float out[3])
{
    if (!sky_light_shines() || (r.hit_object->vft->get_flags(r.hit_object) & OBJECT_NO_DIRECT_LIGHT))
    {
        return;
    }
    if (s.diffuse > 0.0f) { add_side(doc, s, r, false, s.diffuse, out); }
    if (s.translucent > 0.0f) { add_side(doc, s, r, true, s.translucent, out); }
}

namespace
{

/// What the ground plane, which the ray has met, sends back: of the sun where that reaches it, and of the sky
/// as if nothing were near.
void take_ground(document& d, const ray& to_ground, double radiance[3])
{
    double lux[3];
    level_ground_lux(lux);
    const double height = daylight_takes_part(d) ? -current_sun_sky->sun_direction.z : 0.0;
    if (height > 0.0 && current_sun_sky->sun_strength > 0.0)
    {
        ray to_sun = to_ground;
        to_sun.hit_t = ZR_FAR;
        to_sun.hit_ground = 0;
        to_sun.origin = to_ground.hit_point;
        aim(to_sun, -current_sun_sky->sun_direction);
        const double level = shadow_test(d, nullptr, to_sun) ? 0.0 : current_sun_sky->sun_strength * height;
        for (int c = 0; c < 3; ++c)
        {
            lux[c] += level * current_sun_sky->sun_color[c] * to_sun.simple_color[c];
        }
    }
    surface ground;
    zr_resolve_surface(to_ground.hit_object->vft->get_material(to_ground.hit_object), nullptr, &ground);
    for (int c = 0; c < 3; ++c) { radiance[c] = lux[c] * ground.color[c] * ground.diffuse * inverse_pi; }
}

void add_side(document& d, const surface& s, ray& r, bool back, double share, float out[3])
{
    const int32_t count = rays_for(d, r, share);
    const int32_t drawn = sky_light_has_bright_spots() ? count / 2 : 0;
    const hemisphere h = { d, make_shadow_ray(d, r, s, { 0.01, 0.003333, back }),
        back ? -r.shading_normal : r.shading_normal, count - drawn, drawn };
    const square_point start = pattern_start(r, back ? pattern_sky_behind : pattern_sky);
    sky_gathering g = {};
    for (int32_t i = 0; i < h.cosine_rays; ++i)
    {
        follow_ray(h, sky_light_from(cosine_direction(h.normal, pattern_point(start, i, h.cosine_rays))), g);
    }
    for (int32_t i = 0; i < h.importance_rays; ++i)
    {
        const square_point p = pattern_point(start, i, h.importance_rays);
        follow_ray(h, draw_sky_sample(p.u, p.v), g);
    }
    for (int c = 0; c < 3; ++c)
    {
        const double v = g.irradiance[c] * share * inverse_pi * s.color[c];
        out[c] += float(v);
        r.light_radiance[c] += float(v * r.weight[c]);
    }
    const double seen[3] = { s.color[0] * r.weight[0], s.color[1] * r.weight[1], s.color[2] * r.weight[2] };
    const double factor = share * inverse_pi * luminance(seen);
    r.sky_variance += float(g.variance() * factor * factor);
}

/// Rays for a side that reflects `share` of its light; few where the eye sees little of it.
int32_t rays_for(const document& d, const ray& r, double share)
{
    const bool draft = d.render_pass == 1 || d.render_pass == 2;
    const int32_t wanted = draft ? std::max(job.sky_light_samples / draft_share, 1) : job.sky_light_samples;
    const double seen = std::max({ r.weight[0], r.weight[1], r.weight[2] }) * share;
    const auto needed = int32_t(std::ceil(wanted * std::clamp(seen, 0.0, 1.0)));
    return std::min(std::max(needed, min_rays), wanted);
}

/// Adds what one ray brings.
void follow_ray(const hemisphere& h, sky_sample from, sky_gathering& g)
{
    const double cosine = dot(h.normal, from.direction);
    if (!(cosine > 0.0)) { return; }
    ray shadow = h.start;
    aim(shadow, from.direction);
    meet_ground(h.doc, shadow, from.radiance);
    if (from.radiance[0] <= 0.0 && from.radiance[1] <= 0.0 && from.radiance[2] <= 0.0) { return; }
    const double w = cosine / (h.cosine_rays * cosine * inverse_pi + h.importance_rays * from.density);
    const double unhindered = w * luminance(from.radiance);
    g.squares += unhindered * unhindered;
    ++g.met;
    if (shadow_test(h.doc, nullptr, shadow))
    {
        ++g.blocked;
        return;
    }
    for (int c = 0; c < 3; ++c) { g.irradiance[c] += w * from.radiance[c] * shadow.simple_color[c]; }
}

void aim(ray& shadow, const vector3& direction)
{
    shadow.direction = direction;
    shadow.inv_direction = ray_reciprocal(direction);
    shadow.t_max = ZR_FAR;
}

} // namespace

} // namespace zr
