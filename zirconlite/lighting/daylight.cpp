/// @file
/// Windows: the sky seen through a pane as an area of light, and the shaft of sunlight behind it.
#include "zirconlite/lighting/daylight.hpp"

#include <algorithm>
#include <cmath>

#include "zirconlite/frame/job_state.hpp"
#include "zirconlite/lighting/light_emission.hpp"
#include "zirconlite/lighting/light_model.hpp"
#include "zirconlite/lighting/sun_light.hpp"

using namespace zr;

namespace
{

constexpr double near_pane = 0.333333; // metres behind the pane where the near mode begins
constexpr double nearest_pane = 0.1;   // least size and distance of its patch
constexpr int32_t sky_rows = 256;

/// Where the samples of a window lie for one shading point.
struct sampled_pane
{
    vector3 base, e1, e2;
    double near_distance; ///< of the patch in front of a point at the glass; 0 for the whole pane
};

int32_t window_sample_count(const light* l, const vector3* point);
int32_t window_sample(const light* l, const vector3* point, source_sample* samples, int32_t n);
sampled_pane pane_for(const light& l, const vector3& point);
void place_sample(const sampled_pane& pane, const vector3& point, source_sample& s);
double sine_above_horizon(void*, double, double altitude);
double one(void*, double, double);
double sky_integral(const sun_sky& s);
double sky_at_angles(void* sky, double azimuth, double altitude);
void update_window(light& l, const sun_sky& s, double integral);
void set_shaft(light& l, const sun_sky& s);
double twice_area_toward(const light& l, const vector3& direction);

} // namespace

void lt_daylight_create(light* source, const sun_sky* sky)
{
    clamp_light_to_ranges(*source);
    source->vertex_count = std::max(source->vertex_count, 0);
    source->falloff = 2.0;
    source->sun_sky = const_cast<struct sun_sky*>(sky);
    source->sample_count = window_sample_count;
    source->sample = window_sample;
    zr_lt_daylight_update(source, sky);
}

void zr_lt_daylight_update(light* source, const sun_sky* sky)
{
    update_window(*source, *sky, sky_integral(*sky));
}

int32_t lt_daylight_test(void)
{
    const double off[] = { get_distribution_factor(sky_rows, sine_above_horizon, nullptr) / M_PI - 1.0,
        get_distribution_factor(sky_rows, one, nullptr) / (4.0 * M_PI) - 1.0 };
    return std::fabs(off[0]) < 0.001 && std::fabs(off[1]) < 0.001;
}

namespace zr
{

void update_windows(document& doc)
{
    double integral = -1.0;
    for (light* l = first_leaf(doc.lights); l; l = next_leaf(l))
    {
        if (l->type != LIGHT_DAYLIGHT) { continue; }
        if (integral < 0.0) { integral = sky_integral(*doc.sun_sky); }
        update_window(*l, *doc.sun_sky, integral);
    }
}

} // namespace zr

namespace
{

int32_t window_sample_count(const light* l, const vector3* point)
{
    const vector3 w = *point - l->position;
    return 16.0 * l->area > dot(w, w) ? 17 : 5;
}

int32_t window_sample(const light* l, const vector3* point, source_sample* samples, int32_t n)
{
    const sampled_pane pane = pane_for(*l, *point);
    const float* base = job.simple_colors ? l->simple_color : l->intensity_color;
    const bool exact = is_exact();
    for (source_sample* s = samples; s < samples + n; ++s)
    {
        place_sample(pane, *point, *s);
        std::fill_n(s->color, 3, 0.0);
        const double toward_room = dot(l->normal, s->direction);
        double sky;
        if (toward_room > 0.0 || !l->sun_sky || !zr_get_sky_ground_intensity(&s->direction, l->sun_sky, &sky))
        {
            continue;
        }
        sky *= 1.0 - l->opacity;
        if (exact) { sky *= -toward_room; } // Lambert's cosine at the pane
        for (int i = 0; i < 3; ++i) { s->color[i] = base[i] * sky; }
    }
    return 1;
}

sampled_pane pane_for(const light& l, const vector3& point)
{
    sampled_pane pane = { l.vertices[0], l.vertices[1] - l.vertices[0], l.vertices[2] - l.vertices[1], 0.0 };
    const vector3 w = point - l.position;
    const double behind = dot(w, l.normal), a = dot(w, l.axis_u), b = dot(w, l.axis_v);
    // The exact model takes the pane as it is.
    if (is_exact() || !(behind > 0.0 && behind < near_pane) ||
        !(std::fabs(a) < l.length / 2.0 && std::fabs(b) < l.height / 2.0))
    {
        return pane;
    }
    // A point at the glass sees a small patch in front of it, and not the far corners of the pane.
    pane.near_distance = std::max(behind, nearest_pane);
    pane.e1 = pane.near_distance * pane.e1;
    pane.e2 = pane.near_distance * pane.e2;
    pane.base = l.position + a * l.axis_u + b * l.axis_v - 0.5 * pane.e1 - 0.4 * pane.e2;
    return pane;
}

void place_sample(const sampled_pane& pane, const vector3& point, source_sample& s)
{
    const double d = pane.near_distance;
    const double u = d > 0.0 ? (0.5 - s.u) * d + 0.5 : s.u, v = d > 0.0 ? (0.5 - s.v) * d + 0.5 : s.v;
    s.point = pane.base + u * pane.e1 + v * pane.e2;
    const vector3 w = s.point - point;
    s.distance = length(w);
    if (s.distance != 0.0) { s.direction = (1.0 / s.distance) * w; }
    if (d > 0.0) { s.distance = d; }
}

double sine_above_horizon(void*, double, double altitude)
{
    return altitude > 0.0 ? std::sin(altitude) : 0.0;
}

double one(void*, double, double) { return 1.0; }

double sky_integral(const sun_sky& s)
{
    return get_distribution_factor(sky_rows, sky_at_angles, const_cast<sun_sky*>(&s));
}

double sky_at_angles(void* sky, double azimuth, double altitude)
{
    vector3 direction;
    zr_sun_angles_to_vector(azimuth, altitude, 0.0, &direction);
    return sky_luminance(*static_cast<const sun_sky*>(sky), direction);
}

/// `integral` is that of the sky's luminance over the sphere.
void update_window(light& l, const sun_sky& s, double integral)
{
    const double strength = l.area * s.sky_strength;
    l.candela = float(strength);
    l.lumens = float(integral * integral * s.sky_strength * 0.1591549430919 * l.area * (1.0 - l.opacity));
    for (int i = 0; i < 3; ++i)
    {
        l.plain_color[i] = s.sky_color[i];
        l.simple_color[i] = s.sky_color[i] * l.simple_brightness;
        l.intensity_color[i] = float(s.sky_color[i] * strength);
        l.flux_color[i] = s.sky_color[i] * l.lumens;
    }
    set_shaft(l, s);
}

void set_shaft(light& l, const sun_sky& s)
{
    l.flags &= ~uint32_t(LIGHT_SUN_SHINES);
    std::fill_n(l.sun_flux, 3, 0.0f);
    if (dot(s.sun_direction, l.normal) <= geometry_zero) { return; }
    l.flags |= LIGHT_SUN_SHINES;
    for (int32_t i = 0; i < l.vertex_count; ++i)
    {
        const vector3 edge = l.vertices[(i + 1) % l.vertex_count] - l.vertices[i];
        l.edge_normals[i] = normalized(cross(s.sun_direction, edge));
        l.edge_offsets[i] = dot(l.edge_normals[i], l.vertices[i]);
    }
    const double flux = twice_area_toward(l, s.sun_direction) * 0.5 * s.sun_strength;
    for (int i = 0; i < 3; ++i) { l.sun_flux[i] = float(s.sun_color[i] * flux); }
}

/// Twice the area of the window as the sun sees it.
double twice_area_toward(const light& l, const vector3& direction)
{
    vector3 a, b;
    zr_make_axes(&direction, &a, &b, 1e-5);
    double sum = 0.0;
    for (int32_t i = 0; i < l.vertex_count; ++i)
    {
        const vector3 &p = l.vertices[i], &q = l.vertices[(i + 1) % l.vertex_count];
        sum += dot(a, p) * dot(b, q) - dot(b, p) * dot(a, q);
    }
    return sum;
}

} // namespace
