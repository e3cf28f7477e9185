#include "zirconlite/materials/blend_functions.hpp"

#include <algorithm>

#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/imagefiles/bitmap_store.h"
#include "zirconlite/materials/image_sampling.hpp"
#include "zirconlite/materials/mat_image.h"
#include "zirconlite/materials/noise.h"
#include "zirconlite/materials/noise.hpp"
#include "zirconlite/materials/surface_evaluation.hpp"

namespace zr
{

namespace
{

constexpr double min_cosine = 1e-8;
constexpr double neutral_cosine = 0.7; ///< of an angular blend that nobody looks at
constexpr double min_band = 4.0;       ///< in footprints; thinner bands fade to the mean
constexpr double dither_frequency = 10000.0;

int32_t octaves_of(const complex_material& m, int32_t least);
double bands(const complex_material& m, double x);
double brightness_of(const bitmap& b, const double sample[3]);
double facing_cosine(const ray& r);
double thinner_band(double scale, double ratio);
void screen_ratio(const ray& r, const double extent[2], double ratio[2]);
double fade_of(double ratio);
double unit(double value);
double row_shift(const complex_material& m, double y);

} // namespace

double soft_pulse(double x, double ratio, double softness)
{
    x = unit(x);
    if (!(softness > 0.0)) { return x <= ratio ? 1.0 : 0.0; }
    const double width = softness * (ratio <= 0.5 ? ratio : 1.0 - ratio), h = 0.5 * width;
    if (!(width > 0.0)) { return x <= ratio ? 1.0 : 0.0; }
    if (x > ratio - h && x < ratio + h) { return unit(1.0 - (x - (ratio - h)) / width); }
    if (x <= 1.0 - h && x >= h) { return x > ratio - h ? 0.0 : 1.0; }
    const double wrapped = x < 1.0 - h ? x + 1.0 : x;
    return unit((wrapped - (1.0 - h)) / width);
}

double blend_marble(const complex_material* m, ray*, const vector3* point, child_context*)
{
    if (!point) { return m->params.ratio[0]; }
    double x = point->x;
    if (m->params.turbulence[0] != 0.0f)
    {
        double t;
        turb1(point, &t, octaves_of(*m, 1));
        x += 2.0 * m->params.turbulence[0] * t;
    }
    return bands(*m, x);
}

double blend_granite(const complex_material* m, ray*, const vector3* point, child_context*)
{
    if (!point) { return m->params.ratio[0]; }
    const int32_t octaves = octaves_of(*m, 2);
    double t;
    turb1(point, &t, octaves);
    const double range = 1.0 - std::ldexp(1.0, 1 - octaves); // 1/2 + 1/4 + ... of one octave less
    return soft_pulse((t / range + 1.0) * 0.5, m->params.ratio[0], m->params.softness[0]);
}

double blend_wood(const complex_material* m, ray*, const vector3* point, child_context*)
{
    if (!point) { return m->params.ratio[0]; }
    double x = point->x, z = point->z;
    if (m->params.turbulence[0] != 0.0f)
    {
        double t[3];
        turb3(point, t, octaves_of(*m, 1));
        x += m->params.turbulence[0] * t[0];
        z += m->params.turbulence[0] * t[2];
    }
    return bands(*m, 2.0 * std::sqrt(x * x + z * z));
}

double blend_even(const complex_material* m, ray*, const vector3*, child_context*)
{
    return m->params.ratio[0];
}

double blend_mask(const complex_material* m, ray* r, const vector3* point, child_context* children)
{
    const bitmap* b = m->params.mask ? m->params.mask->bitmap : nullptr;
    if (!b) { return 1.0; }
    if (!point || !r)
    {
        const double average[3] = { b->average[0], b->average[1], b->average[2] };
        return brightness_of(*b, average);
    }
    const double uv[2] = { fraction_of(point->x), fraction_of(point->y) };
    double scale[2] = { m->scale.x, m->scale.y };
    const bool mapped = m->blend_flags & BLEND_MAPPED;
    if (mapped && children && children[0].points) { vertex_scale(*children[0].points, scale); }
    const mip_level level = choose_level(footprint_measure(*r, scale, *b), b->level_count);
    double sample[4];
    zr_sample_mipmap(b, uv, level.level, level.fraction, sample);
    return brightness_of(*b, sample);
}

double blend_clear_finish(const complex_material*, ray* r, const vector3*, child_context* children)
{
    surface &under = *children[0].child_surface, &coat = *children[1].child_surface;
    const double c = coat.transparent;
    coat.reflect += coat.transparent;
    coat.transparent = 0.0f;
    const float opaque = coat.diffuse + coat.reflect;
    under.highlight = coat.highlight = (opaque > 0.0f ? coat.reflect / opaque : 0.0f) * 300.0f + 1.0f;
    if (!r) { return 1.0; }
    // With an index of exactly 1 the exponent is infinite: nothing shows but at the very edge.
    double shown = unit(std::pow(1.0 - facing_cosine(*r), 2.0 / (coat.ior - 1.0)));
    const double base = (1.0 - c) * (1.0 - c);
    shown = unit(shown * (1.0 - base) + base);
    return 1.0 - shown;
}

double blend_angular(const complex_material* m, ray* r, const vector3*, child_context*)
{
    const double c = r ? facing_cosine(*r) : neutral_cosine;
    const double a = m->params.ratio[0], b = m->params.ratio[1];
    if (c >= a) { return 1.0; }
    if (!(c > b)) { return 0.0; }
    const double facing = std::acos(std::clamp(a, -1.0, 1.0)), grazing = std::acos(std::clamp(b, -1.0, 1.0));
    return unit(1.0 - (std::acos(c) - facing) / (grazing - facing));
}

double blend_tile(const complex_material* m, ray* r, const vector3* point, child_context*)
{
    const float *ratio = m->params.ratio, *softness = m->params.softness;
    const double mean = 0.5 * (double(ratio[0]) + ratio[1]);
    if (!point || !r) { return mean; }
    const double u = fraction_of(fraction_of(point->x) + row_shift(*m, point->y)), v = fraction_of(point->y);
    const double band[2] = { thinner_band(m->scale.x, ratio[0]), thinner_band(m->scale.y, ratio[1]) };
    double seen[2];
    screen_ratio(*r, band, seen);
    const double fade = std::min(fade_of(seen[0]), fade_of(seen[1]));

    const double a = soft_pulse(u, ratio[0], softness[0]), b = soft_pulse(v, ratio[1], softness[1]);
    double share = 0.5 * (a + b);
    if (a == 0.0 || b == 0.0) { share = 0.0; }
    else if (a == 1.0) { share = b; }
    else if (b == 1.0) { share = a; }
    share = fade * mean + (1.0 - fade) * share;
    if (fade > 0.0)
    {
        // A pattern too fine to see turns into its mean, and the mean is dithered so that no moire is left.
        const vector3 q = { dither_frequency * point->x, dither_frequency * point->y, band[0] };
        double n;
        zr_noise(&q, &n, 1);
        share += std::min(0.5, fade) * n * 0.25;
    }
    return unit(share);
}

void prepare_tile(const complex_material* m, ray*, const vector3* point, child_context* children)
{
    if (!(m->blend_flags & (BLEND_JITTER_COLOR | BLEND_JITTER_COORDINATES))) { return; }
    // Tiles are numbered as they lie, row shift included, so that each keeps one colour all over.
    const int32_t number[3] = {
        int32_t(lattice_coordinate(
            std::floor(point->x) + std::floor(fraction_of(point->x) + row_shift(*m, point->y)))),
        int32_t(lattice_coordinate(point->y)), 0
    };
    double entry[3];
    zr_integer_noise(number, entry);
    child_context& tile = children[0];
    if (m->blend_flags & BLEND_JITTER_COLOR)
    {
        const vector3& by = m->params.color_jitter;
        tile.flags |= CHILD_COLOR_OFFSET;
        for (int i = 0; i < 3; ++i) { tile.color_offset[i] = float(entry[i] * component(by, i)); }
    }
    if (m->blend_flags & BLEND_JITTER_COORDINATES)
    {
        const vector3& by = m->params.coordinate_jitter;
        tile.flags |= CHILD_COORDINATE_OFFSET;
        tile.coordinate_offset = { entry[0] * by.x, entry[1] * by.y, entry[2] * by.z };
    }
}

namespace
{

int32_t octaves_of(const complex_material& m, int32_t least)
{
    return std::clamp(m.params.octaves, least, pattern_max_octaves);
}

/// Bands across `x`, one to a unit.
double bands(const complex_material& m, double x)
{
    return soft_pulse(fraction_of(x), m.params.ratio[0], m.params.softness[0]);
}

double brightness_of(const bitmap& b, const double sample[3])
{
    return b.bits_per_pixel == 8 ? sample[0] : std::max({ sample[0], sample[1], sample[2] });
}

double facing_cosine(const ray& r) { return std::min(std::fabs(dot(r.facing_normal, r.direction)), 1.0); }

/// Size of the thinner of the two bands along an axis, with a margin.
double thinner_band(double scale, double ratio)
{
    double size = std::fabs(1.0 / scale);
    if (ratio > 0.5) { size *= 1.0 - ratio; }
    else if (ratio > 0.0) { size *= ratio; }
    return size * 2.5;
}

/// How many footprints of the ray a length of `extent` on the surface covers, for each axis.
void screen_ratio(const ray& r, const double extent[2], double ratio[2])
{
    if (r.footprint[0] == 0.0 || r.footprint[1] == 0.0)
    {
        ratio[0] = ratio[1] = 5.0; // no footprint: nothing fades
        return;
    }
    const double k = std::max(std::fabs(dot(r.interpolated_normal, r.direction)), min_cosine);
    const double distance = r.footprint_slope[0] == 0.0 ? 1.0 : r.raw_length / (r.hit_t + r.path_length);
    for (int i = 0; i < 2; ++i) { ratio[i] = k * extent[i] * distance / r.footprint[i]; }
}

double fade_of(double ratio)
{
    if (!(ratio < min_band)) { return 0.0; }
    const double part = ratio / min_band;
    return std::min(0.9, 1.0 - part * part);
}

/// A value clamped to 0 to 1; NaN gives 0.
double unit(double value) { return value > 0.0 ? std::min(value, 1.0) : 0.0; }

/// By how much the row below `y` is pushed along x.
double row_shift(const complex_material& m, double y)
{
    return fraction_of(std::floor(y) * m.params.tile_offset.x);
}

} // namespace

} // namespace zr
