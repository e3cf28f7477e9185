/// @file
/// Making, sharing, freeing, lookup and integral of photometric tables.
#include "zirconlite/lighting/goniometry.hpp"

#include <algorithm>
#include <cmath>

#include "zirconlite/frame/memory.h"
#include "zirconlite/geometry/vector.hpp"

namespace
{

/// A quarter turn, short of it by 5e-11: the axis itself then lies just inside a table that begins at 0.
constexpr double quarter_turn = 1.57079632675;
constexpr double three_pi = 3.0 * zr::pi;
constexpr double slack = 1e-4; // radians, for angles that were rounded

double fold(const goniometry& g, double azimuth);
int32_t segment_at(const float* angles, int32_t count, double angle);
double integral_over_polar(const goniometry& g, const float* row);
bool rises(const float* angles, int32_t count, double from, double to);

} // namespace

goniometry* zr_new_goniometry(void) { return static_cast<goniometry*>(zr_calloc(1, sizeof(goniometry))); }

goniometry* zr_share_goniometry(goniometry* from)
{
    if (!from) { return nullptr; }
    if (!from->sharers)
    {
        from->sharers = static_cast<int32_t*>(zr_malloc(sizeof(int32_t)));
        if (!from->sharers) { return nullptr; }
        *from->sharers = 1;
    }
    auto* made = static_cast<goniometry*>(zr_malloc(sizeof(goniometry)));
    if (!made) { return nullptr; }
    *made = *from;
    ++*made->sharers;
    return made;
}

void zr_free_goniometry(goniometry* g)
{
    if (!g) { return; }
    zr::clear_goniometry(*g);
    zr_free(g);
}

double zr_goniometry_value(const goniometry* g, double azimuth, double polar)
{
    if (!g || !(std::fabs(azimuth) <= zr::two_pi) || !std::isfinite(polar)) { return 0.0; }
    return zr::goniometry_value(*g, azimuth, polar);
}

namespace zr
{

bool is_usable(const goniometry& g)
{
    if (g.vertical_count < 1 || g.horizontal_count < 1) { return false; }
    if (!g.vertical_angles || !g.horizontal_angles || !g.rows) { return false; }
    const bool is_on_sphere = rises(g.vertical_angles, g.vertical_count, 0.0, pi + slack) &&
                              rises(g.horizontal_angles, g.horizontal_count, -two_pi - slack, two_pi + slack);
    if (!is_on_sphere) { return false; }
    for (int32_t i = 0; i < g.horizontal_count; ++i)
    {
        const float* row = g.rows[i];
        if (!row) { return false; }
        for (int32_t j = 0; j < g.vertical_count; ++j)
        {
            if (!(row[j] >= 0.0f) || !std::isfinite(row[j])) { return false; }
        }
    }
    return true;
}

double goniometry_value(const goniometry& g, double azimuth, double polar)
{
    const int32_t last = g.vertical_count - 1;
    const double p = std::fabs(polar);
    if (p <= g.vertical_angles[0] || p >= g.vertical_angles[last]) { return 0.0; }
    const int32_t j = segment_at(g.vertical_angles, g.vertical_count, p);
    const double low = g.vertical_angles[j];
    const double t = (p - low) / (g.vertical_angles[j + 1] - low);
    const auto along = [&](int32_t i) { return g.rows[i][j] * (1.0 - t) + g.rows[i][j + 1] * t; };

    const double a = fold(g, azimuth);
    const int32_t last_row = g.horizontal_count - 1;
    if (a <= g.horizontal_angles[0]) { return along(0); }
    if (a >= g.horizontal_angles[last_row]) { return along(last_row); }
    const int32_t i = segment_at(g.horizontal_angles, g.horizontal_count, a);
    const double from = g.horizontal_angles[i];
    const double s = (a - from) / (g.horizontal_angles[i + 1] - from);
    return along(i) * (1.0 - s) + along(i + 1) * s;
}

double goniometric_factor(const light& l, const vector3& direction)
{
    if (!l.goniometry) { return 1.0; }
    const double c = std::clamp(dot(direction, l.normal), -1.0, 1.0);
    const double polar = quarter_turn - std::asin(-c);
    // Most spots and downlights are the same all round: no azimuth is needed.
    const bool is_round = l.goniometry->horizontal_count == 1;
    const double azimuth = is_round ? 0.0 : std::atan2(-dot(direction, l.axis_v), -dot(direction, l.axis_u));
    return goniometry_value(*l.goniometry, azimuth, polar);
}

double goniometry_integral(const goniometry& g)
{
    // The part of the circle that the fold leads to, and how often it occurs. Before the first angle and
    // behind the last that row holds.
    const double first = g.horizontal_angles[0];
    struct
    {
        double from, to, times;
    } const part = g.symmetry == 2   ? decltype(part){ 0.0, half_pi, 4.0 }
                   : g.symmetry == 3 ? decltype(part){ 0.0, pi, 2.0 }
                   : g.symmetry == 4
                       ? decltype(part){ half_pi, 3.0 * half_pi, 2.0 }
                       : decltype(part){ std::fmin(first, 0.0), std::fmin(first, 0.0) + two_pi, 1.0 };
    if (g.symmetry == 1 || g.horizontal_count == 1) { return two_pi * integral_over_polar(g, g.rows[0]); }

    double sum = 0.0, at = part.from, before = integral_over_polar(g, g.rows[0]);
    for (int32_t i = 0; i < g.horizontal_count; ++i)
    {
        const double angle = std::clamp(double(g.horizontal_angles[i]), at, part.to);
        const double here = integral_over_polar(g, g.rows[i]);
        sum += (angle - at) * 0.5 * (before + here);
        at = angle;
        before = here;
    }
    return part.times * (sum + (part.to - at) * before);
}

void clear_goniometry(goniometry& g)
{
    if (!g.sharers || --*g.sharers == 0)
    {
        for (int32_t i = 0; g.rows && i < g.horizontal_count; ++i) { zr_free(g.rows[i]); }
        zr_free(g.rows);
        zr_free(g.vertical_angles);
        zr_free(g.horizontal_angles);
        zr_free(g.sharers);
    }
    g = {};
}

bool make_goniometry_tables(goniometry& g, int32_t vertical_count, int32_t horizontal_count)
{
    g.vertical_count = vertical_count;
    g.horizontal_count = horizontal_count;
    g.vertical_angles = static_cast<float*>(zr_calloc(size_t(vertical_count), sizeof(float)));
    g.horizontal_angles = static_cast<float*>(zr_calloc(size_t(horizontal_count), sizeof(float)));
    g.rows = static_cast<float**>(zr_calloc(size_t(horizontal_count), sizeof(float*)));
    bool is_whole = g.vertical_angles && g.horizontal_angles && g.rows;
    for (int32_t i = 0; is_whole && i < horizontal_count; ++i)
    {
        g.rows[i] = static_cast<float*>(zr_calloc(size_t(vertical_count), sizeof(float)));
        is_whole = g.rows[i] != nullptr;
    }
    if (!is_whole) { clear_goniometry(g); }
    return is_whole;
}

} // namespace zr

namespace
{

/// The azimuth within the part of the circle that the table describes.
double fold(const goniometry& g, double azimuth)
{
    double a = azimuth > zr::pi ? azimuth - zr::two_pi : azimuth < -zr::pi ? azimuth + zr::two_pi : azimuth;
    switch (g.symmetry)
    {
    case 1:
        return 0.0;
    case 2:
        a = std::fabs(a);
        return a > zr::half_pi ? zr::pi - a : a;
    case 3:
        return std::fabs(a);
    case 4:
        if (a < 0.0) { a += zr::two_pi; }
        if (a < zr::half_pi) { return zr::pi - a; }
        return a > 3.0 * zr::half_pi ? three_pi - a : a;
    default:
        return a < 0.0 && a < g.horizontal_angles[0] ? a + zr::two_pi : a;
    }
}

/// The segment of rising angles that holds `angle`, which lies strictly between the first and the last.
/// Nearly all tables have even steps, so the first guess is nearly always right.
int32_t segment_at(const float* angles, int32_t count, double angle)
{
    const double share = (angle - angles[0]) / (double(angles[count - 1]) - angles[0]);
    const int32_t guess = std::min(int32_t(share * (count - 1)), count - 2);
    if (angles[guess] <= angle && angle <= angles[guess + 1]) { return guess; }
    const auto behind = int32_t(std::upper_bound(angles, angles + count, angle) - angles);
    return std::clamp(behind - 1, 0, count - 2); // a host's table may not rise
}

/// The integral of one row times the sine of the polar angle.
double integral_over_polar(const goniometry& g, const float* row)
{
    double sum = 0.0;
    for (int32_t j = 0; j + 1 < g.vertical_count; ++j)
    {
        const double p0 = g.vertical_angles[j], p1 = g.vertical_angles[j + 1];
        const double slope = (double(row[j + 1]) - row[j]) / (p1 - p0);
        const double cell =
            row[j] * std::cos(p0) - row[j + 1] * std::cos(p1) + slope * (std::sin(p1) - std::sin(p0));
        sum += std::fmax(cell, 0.0); // the terms of a tiny cell cancel
    }
    return sum;
}

bool rises(const float* angles, int32_t count, double from, double to)
{
    for (int32_t i = 0; i < count; ++i)
    {
        const bool is_within = angles[i] >= from && angles[i] <= to; // false for what is not a number
        if (!is_within || (i > 0 && !(angles[i] > angles[i - 1]))) { return false; }
    }
    return true;
}

} // namespace
