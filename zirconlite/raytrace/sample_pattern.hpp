/// @file
/// Evenly spread points of the unit square for the shadow rays of a hit. The pattern follows from the place
/// in the picture alone, so a picture is the same on every run.
#pragma once

#include <cmath>
#include <cstdint>

#include "zirconlite/geometry/ray.h"

namespace zr
{

/// A point of the unit square; also where a pattern starts.
struct square_point
{
    double u, v;
};

namespace pattern_detail
{

inline constexpr double golden = 0.6180339887498949;
inline constexpr double samples_of_pixel = 25.0; ///< keeps the turns of depths apart

inline double fraction(double x) { return x - std::floor(x); }

/// An integer hash of full avalanche.
inline uint32_t mixed(uint32_t x)
{
    x = (x ^ (x >> 16)) * 0x7feb352du;
    x = (x ^ (x >> 15)) * 0x846ca68bu;
    return x ^ (x >> 16);
}

inline double unit(uint32_t x) { return x * 0x1p-32; }

} // namespace pattern_detail

/// Patterns of one hit that must not move together: the sky's two sides, the sun, the order of lights, and
/// the lights from `pattern_first_light` on.
enum : uint32_t
{
    pattern_sky = 0,
    pattern_sky_behind = 1,
    pattern_sun = 2,
    pattern_first_light = 3,
    pattern_light_order = 0xffffffffu
};

/// Where the pattern of a hit starts: a hash of the pixel, so that pixels share no order that the eye could
/// find, and within a pixel a turn by the golden ratio from sample to sample, so that its samples together
/// fill the square.
inline square_point pattern_start(const ray& r, uint32_t which)
{
    using namespace pattern_detail;
    const auto x = uint32_t(int64_t(std::floor(r.pixel[0])));
    const auto y = uint32_t(int64_t(std::floor(r.pixel[1])));
    const uint32_t h = mixed(x + mixed(y + mixed(which)));
    const double turn =
        golden * (r.sample_index + samples_of_pixel * (r.reflect_depth + 3.0 * r.refract_depth));
    return { fraction(unit(h) + turn), fraction(unit(mixed(h + 1)) + golden * turn) };
}

/// Point `i` of `count`.
inline square_point pattern_point(const square_point& start, int32_t i, int32_t count)
{
    using namespace pattern_detail;
    return { fraction((i + start.u) / count), fraction(i * golden + start.v) };
}

/// Cosine and sine of an angle in quarter turns, of at most half of one, to thirteen digits.
inline void quarter_circle(double quarters, double& cosine, double& sine)
{
    constexpr double of_sine[] = { 1.0 / 6227020800.0, -1.0 / 39916800.0, 1.0 / 362880.0, -1.0 / 5040.0,
        1.0 / 120.0, -1.0 / 6.0, 1.0 };
    constexpr double of_cosine[] = { -1.0 / 87178291200.0, 1.0 / 479001600.0, -1.0 / 3628800.0, 1.0 / 40320.0,
        -1.0 / 720.0, 1.0 / 24.0, -0.5, 1.0 };
    const double angle = 0.5 * M_PI * quarters, square = angle * angle;
    sine = cosine = 0.0;
    for (const double c : of_sine) { sine = sine * square + c; }
    for (const double c : of_cosine) { cosine = cosine * square + c; }
    sine *= angle;
}

/// Cosine and sine of a share of a whole turn, 0 to 1, to thirteen digits; many times faster than the C
/// library.
inline void turned(double share, double& cosine, double& sine)
{
    const int quarter = int(4.0 * share + 0.5);
    double c, s;
    quarter_circle(4.0 * share - quarter, c, s);
    const bool swaps = quarter & 1;
    cosine = swaps ? s : c;
    sine = swaps ? c : s;
    if (((quarter + 1) & 3) >= 2) { cosine = -cosine; }
    if ((quarter & 3) >= 2) { sine = -sine; }
}

/// A point of the unit square as one of the disc within it, areas in proportion: Shirley and Chiu, "A low
/// distortion map between disk and square" (1997).
inline square_point square_to_disc(const square_point& p)
{
    const double x = 2.0 * p.u - 1.0, y = 2.0 * p.v - 1.0;
    if (x == 0.0 && y == 0.0) { return p; }
    const bool wide = std::fabs(x) > std::fabs(y);
    const double radius = wide ? x : y;
    const double angle = wide ? M_PI / 4.0 * (y / x) : M_PI / 2.0 - M_PI / 4.0 * (x / y);
    return { 0.5 + 0.5 * radius * std::cos(angle), 0.5 + 0.5 * radius * std::sin(angle) };
}

} // namespace zr
