#include "zirconlite/raytrace/direct_sun.hpp"

#include <algorithm>

#include "zirconlite/frame/jitter.hpp"
#include "zirconlite/frame/job_state.hpp"
#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/lighting/light_model.hpp"
#include "zirconlite/lighting/sun_light.hpp"
#include "zirconlite/raytrace/sample_pattern.hpp"

namespace zr
{

namespace
{

constexpr double further_jitter = 0.25;           // of the fast model's shadow rays after the first
constexpr double min_sky = 0.1;                   // of the sky's even share, times what the surface reflects
constexpr double direct_sky_share = 0.01;         // of it with SUN_SKY_DIRECT_SKY
constexpr double reflected_sun = 0.0159154943092; // 1 / (20 pi): sunlight that the ground returns

void place_on_disc(const ray& r, light_candidate& c, int32_t i);
void place_by_stratum(const ray& r, light_candidate& c, int32_t i);
bool is_soft(const document& doc);
void add_potential(const surface& s, double w, const float color[3], light_candidate& c);
void add_sun_highlight(const surface& s, const vector3* mirror, const sun_sky& sky, light_candidate& c);
double sun_exponent(double highlight);
void add_even_sky(
    const document& doc, const surface& s, const ray& r, const sun_sky& sky, light_candidate& c);

} // namespace

bool daylight_takes_part(const document& doc)
{
    return (doc.sun_sky_flags & SUN_SKY_SUN_MASK) && current_sun_sky && current_sun_sky == doc.sun_sky;
}

void place_sun_sample(const document& doc, const ray& r, light_candidate& c, int32_t i)
{
    c.sample.u = c.sample.v = 0.5;
    if (is_soft(doc))
    {
        if (is_exact()) { place_on_disc(r, c, i); }
        else { place_by_stratum(r, c, i); }
    }
    sun_light.sample(&sun_light, &r.hit_point, &c.sample, 1);
}

void measure_sun(
    const document& doc, const surface& s, const ray& r, const vector3* mirror, light_candidate& c)
{
    const sun_sky& sky = *current_sun_sky;
    c.source = &sun_light;
    c.samples = is_soft(doc) ? sun_light.shadow_samples : 1;
    c.sample.flags = SAMPLE_SKIPPED;
    for (int i = 0; i < 3; ++i) { c.potential[i] = c.ambient_color[i] = 0.0f; }
    place_sun_sample(doc, r, c, 0);
    if (sky.sun_strength != 0.0)
    {
        const double cosine = dot(sky.sun_direction, r.shading_normal);
        if (cosine <= 0.0)
        {
            add_potential(s, s.diffuse * sky.sun_strength * -cosine * inverse_pi, sky.sun_color, c);
            add_sun_highlight(s, mirror, sky, c);
        }
        else if (s.translucent != 0.0f)
        {
            c.sample.flags |= SAMPLE_BACK_SIDE;
            add_potential(s, s.translucent * sky.sun_strength * cosine * inverse_pi, sky.sun_color, c);
        }
    }
    add_even_sky(doc, s, r, sky, c);
    c.luminance = float(luminance(c.potential));
    c.ambient_luminance = float(luminance(c.ambient_color));
}

namespace
{

/// Strata over the whole disc.
void place_on_disc(const ray& r, light_candidate& c, int32_t i)
{
    const square_point p = square_to_disc(pattern_point(pattern_start(r, pattern_sun), i, c.samples));
    c.sample.u = p.u;
    c.sample.v = p.v;
}

/// The fast model's: the first covers half of the disc over a pixel's strata, the others its whole.
void place_by_stratum(const ray& r, light_candidate& c, int32_t i)
{
    const bool first = i == 0;
    const double key[2] = { first ? r.pixel[0] : i * r.pixel[0] + 2.0,
        first ? r.pixel[1] : i * r.pixel[1] + 2.0 };
    const double size = first ? double(sun_light.sample_jitter) : further_jitter;
    const double amplitude[2] = { size, size };
    double j[2];
    table_jitter(key, amplitude, j);
    c.sample.u = clamp_to_unit((first ? (r.stratum[0] + 1.0) / 2.0 : r.stratum[0] + 0.5) + j[0]);
    c.sample.v = clamp_to_unit((first ? (r.stratum[1] + 1.0) / 2.0 : r.stratum[1] + 0.5) + j[1]);
}

bool is_soft(const document& doc) { return soft_shadows(doc) && sun_light.disc_size != 0.0f; }

void add_potential(const surface& s, double w, const float color[3], light_candidate& c)
{
    for (int i = 0; i < 3; ++i) { c.potential[i] += float(color[i] * w * s.color[i]); }
}

void add_sun_highlight(const surface& s, const vector3* mirror, const sun_sky& sky, light_candidate& c)
{
    if (!mirror || !(mirror->z > 0.0) || !(s.highlight > 1.0f)) { return; }
    const double m = std::fmin(-dot(sky.sun_direction, *mirror), 1.0);
    if (!(m > 0.0)) { return; }
    const double share = clamp_to_unit(s.highlight * 0.0033222591362126247);
    const double h = std::pow(m, sun_exponent(s.highlight)) * share * share * sky.sun_strength * 10.0;
    for (int i = 0; i < 3; ++i)
    {
        c.potential[i] += float(sky.sun_color[i] * s.highlight_color[i] * h * s.highlight_strength);
    }
}

double sun_exponent(double highlight)
{
    const double polished = (highlight - 100.0) * 0.01, matte = highlight * 0.01;
    return highlight >= 100.0 ? polished * polished * polished * 201.0 + 100.0 : matte * matte * 100.0;
}

/// Sky light without a shadow test: the fast model's stand-in for rays over the sky.
void add_even_sky(const document& doc, const surface& s, const ray& r, const sun_sky& sky, light_candidate& c)
{
    const uint32_t mode = doc.sun_sky_flags;
    const bool direct = mode & SUN_SKY_DIRECT_SKY;
    const bool night = sky.sun_strength == 0.0 && sky.sky_strength == 0.0;
    if (is_exact() || night || !(direct || !(mode & SUN_SKY_INDIRECT))) { return; }
    const double least = (s.translucent + s.diffuse) * min_sky;
    double a = least;
    if (sky.sky_strength != 0.0)
    {
        a = sky_luminance(sky, r.shading_normal) * s.diffuse;
        if (s.translucent != 0.0f) { a += sky_luminance(sky, -r.shading_normal) * s.translucent; }
        a = std::fmax(a * sky.sky_strength, least);
    }
    if (direct) { a *= direct_sky_share; }
    else
    {
        const double d = sky.sun_strength * reflected_sun * s.diffuse;
        a += std::fabs(dot(sky.sun_direction, r.shading_normal)) * 0.5 * d +
             (1.0 - std::fabs(r.shading_normal.z)) * d;
    }
    a *= doc.sky_scale;
    for (int i = 0; i < 3; ++i) { c.ambient_color[i] = float(sky.sky_color[i] * a * s.color[i]); }
}

} // namespace

} // namespace zr
