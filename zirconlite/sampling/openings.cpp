#include "zirconlite/sampling/openings.hpp"

#include <algorithm>
#include <cmath>

#include "zirconlite/geometry/ray.h"
#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/sampling/scene_survey.hpp"
#include "zirconlite/search/ray_search.hpp"

namespace zr
{

namespace
{

/// A panel between a room and the sky.
struct opening
{
    flat_panel panel;
    vector3 indoors; ///< unit normal into the room
};

struct
{
    opening items[max_openings];
    size_t count;
} openings = {};

/// Share of rays above the horizon, from a panel's middle to one side, that meet nothing.
double open_share(document& d, const flat_panel& panel, const vector3& side)
{
    constexpr int rays = 64;
    int asked = 0, escaped = 0;
    for (int i = 0; i < rays; ++i)
    {
        // Even directions on a spiral: Vogel's angle.
        const double z = (i + 0.5) / rays, turn = i * 2.399963229728653, s = std::sqrt(1.0 - z * z);
        const vector3 direction = { s * std::cos(turn), s * std::sin(turn), z };
        if (dot(direction, side) < 0.05) { continue; }
        ray r = {};
        r.document = &d;
        r.origin = panel.middle;
        r.direction = direction;
        r.inv_direction = ray_reciprocal(direction);
        r.t_min = std::fmax(0.02 * std::fmin(panel.half_u, panel.half_v), 20.0 * d.epsilon);
        r.t_max = r.hit_t = ZR_FAR;
        ++asked;
        escaped += !locate_nearest_hit(d, r);
    }
    return asked > 0 ? double(escaped) / asked : 0.0;
}

} // namespace

void prepare_openings(document& doc)
{
    constexpr double room = 0.25; // share of open directions at most
    openings.count = 0;
    size_t count;
    const flat_panel* panels = opening_panels(count);
    for (size_t i = 0; i < count; ++i)
    {
        const vector3& n = panels[i].normal;
        const double front = open_share(doc, panels[i], n), back = open_share(doc, panels[i], -n);
        const bool is_opening = std::fmin(front, back) <= room && std::fmax(front, back) > room;
        if (is_opening) { openings.items[openings.count++] = { panels[i], front < back ? n : -n }; }
    }
}

seen_openings openings_from(const vector3& point, const vector3& normal)
{
    seen_openings seen;
    seen.point = point;
    seen.sum = 0.0;
    for (size_t i = 0; i < openings.count; ++i)
    {
        seen.weight[i] = 0.0;
        const flat_panel& p = openings.items[i].panel;
        const vector3 to = p.middle - point;
        const double height = -dot(openings.items[i].indoors, to), d2 = dot(to, to);
        const double top =
            dot(normal, to) + p.half_u * std::fabs(dot(normal, p.u)) + p.half_v * std::fabs(dot(normal, p.v));
        if (!(height > 0.0) || !(top > 0.0)) { continue; }
        const double area = 4.0 * p.half_u * p.half_v;
        seen.weight[i] =
            area * height / ((d2 + area) * std::sqrt(d2 + area)) * std::fmin(top / std::sqrt(d2 + area), 1.0);
        seen.sum += seen.weight[i];
    }
    return seen;
}

vector3 aim_at_opening(const seen_openings& seen, double u, double v)
{
    double left = u * seen.sum;
    size_t i = 0;
    while (i + 1 < openings.count && left >= seen.weight[i]) { left -= seen.weight[i++]; }
    // The last one of all may weigh nothing.
    while (i > 0 && seen.weight[i] == 0.0) { --i; }
    const double within = std::clamp(left / seen.weight[i], 0.0, 1.0);
    const flat_panel& p = openings.items[i].panel;
    return normalized(
        p.middle + ((2.0 * within - 1.0) * p.half_u) * p.u + ((2.0 * v - 1.0) * p.half_v) * p.v - seen.point);
}

double opening_density(const seen_openings& seen, const vector3& direction)
{
    double density = 0.0;
    for (size_t i = 0; i < openings.count; ++i)
    {
        const flat_panel& p = openings.items[i].panel;
        double t;
        if (seen.weight[i] == 0.0 || !meets_panel(p, seen.point, direction, t)) { continue; }
        const double area = 4.0 * p.half_u * p.half_v;
        density += seen.weight[i] * t * t / (area * std::fabs(dot(p.normal, direction)));
    }
    return seen.sum > 0.0 ? density / seen.sum : 0.0;
}

} // namespace zr
