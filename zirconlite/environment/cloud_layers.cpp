/// @file
/// Clouds as a ray sees them: a walk through the columns of the cumulus, then the layer of cirrus. Turbulent
/// opacity of ellipsoids after Gardner, "Visual simulation of clouds", SIGGRAPH 1985.
#include <algorithm>
#include <cmath>

#include "zirconlite/environment/clouds.hpp"
#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/lighting/sun_sky.h"
#include "zirconlite/materials/noise.h"

namespace zr
{

namespace
{

constexpr int hits_kept = 32; ///< of one column
constexpr double noise_scale = 0.005;

/// The ray in the clouds' frame, with what has come together along it.
struct cloud_ray
{
    const environment& record;
    const prepared_environment& made;
    const sun_sky* sun; ///< null where no sun takes part
    vector3 origin, direction, inverse;
    vector3 squares; ///< of the direction's components
    double t_min, t_max;
    double radiance[3];
    double transmission;
};

struct cloud_hit
{
    double t;
    const cloud_ellipsoid* ellipsoid;
};

/// One axis of the walk through the columns.
struct walk_axis
{
    int32_t cell;
    int32_t sign; ///< 1, or -1
    double next;  ///< t at which the ray leaves the cell
    double step;
};

void cumulus(cloud_ray& r);
bool start_axis(const cloud_ray& r, double t, int axis, walk_axis& w);
bool cumulus_cell(cloud_ray& r, const cloud_cell_node* list, double t0, double t1);
bool near_root(const cloud_ellipsoid& e, const cloud_ray& r, double t0, double t1, double& t);
void shade_hit(cloud_ray& r, const cloud_hit& hit);
vector3 center_of(const cloud_ellipsoid& e);
double thickness_at(const cloud_ellipsoid& e, double z);
vector3 turned_back(const prepared_environment& e, const vector3& v);
double opacity_of(double smooth, const vector3& at);
void cumulus_color(const cloud_ray& r, const vector3& n, double color[3]);
vector3 bent(const vector3& n, const vector3& at);
void cirrus(cloud_ray& r);
double cirrus_pattern(const cloud_ray& r);
double folded(double v);
void add_layer(cloud_ray& r, const double color[3], const float tint[3], double a);

} // namespace

double clouds(const document& doc, const environment& record, const prepared_environment& made,
    const ray& seen, float rgb[3])
{
    if (!clouds_are_active(doc)) { return 0.0; }
    const vector3 shift = { made.cloud_world_offset[0], made.cloud_world_offset[1],
        made.cloud_world_offset[2] };
    const bool has_sun = doc.sun_sky && (doc.sun_sky_flags & SUN_SKY_SUN_MASK);
    const vector3 direction = transform_vector(made.cloud_matrix, seen.direction);
    cloud_ray r = { record, made, has_sun ? doc.sun_sky : nullptr,
        transform_vector(made.cloud_matrix, seen.origin - shift), direction, ray_reciprocal(direction),
        { direction.x * direction.x, direction.y * direction.y, direction.z * direction.z }, seen.t_min,
        seen.t_max, {}, 1.0 };
    if (record.cloud_flags & CLOUDS_CUMULUS) { cumulus(r); }
    if ((record.cloud_flags & CLOUDS_CIRRUS) && r.transmission != 0.0) { cirrus(r); }
    for (int i = 0; i < 3; ++i) { rgb[i] = float(r.radiance[i]); }
    return 1.0 - r.transmission;
}

namespace
{

void cumulus(cloud_ray& r)
{
    const prepared_environment& e = r.made;
    if (!e.ellipsoids) { return; }
    double t = (e.cloud_box_min[2] - r.origin.z) * r.inverse.z;
    // No ellipsoid reaches above the box; the margin keeps roots that rounding lifts over its top.
    const double top = r.direction.z > 0.0 ? (e.cloud_box_max[2] + 1.0 - r.origin.z) * r.inverse.z : ZR_FAR;
    walk_axis axes[2];
    for (int i = 0; i < 2; ++i)
    {
        if (!start_axis(r, t, i, axes[i])) { return; }
    }
    while (t <= top)
    {
        walk_axis& w = axes[axes[0].next < axes[1].next ? 0 : 1];
        const cloud_cell_node* list = e.cells[axes[0].cell * cloud_cells + axes[1].cell];
        if (list && w.next >= r.t_min && cumulus_cell(r, list, t, w.next) && r.transmission == 0.0)
        {
            return;
        }
        w.cell += w.sign;
        if (w.cell < 0 || w.cell >= cloud_cells) { return; }
        t = w.next;
        w.next += w.step;
    }
}

/// False where the walk starts outside.
bool start_axis(const cloud_ray& r, double t, int axis, walk_axis& w)
{
    const prepared_environment& e = r.made;
    const double o = component(r.origin, axis), d = component(r.direction, axis);
    const double at = (o + t * d - e.cloud_box_min[axis]) * e.inverse_cell_size[axis];
    if (!(at > -1.0 && at < cloud_cells)) { return false; }
    w.cell = int32_t(at);
    w.sign = d < 0.0 ? -1 : 1;
    const double side = e.cloud_box_min[axis] + (w.cell + (w.sign > 0)) * e.cell_size[axis];
    w.next = (side - o) * component(r.inverse, axis);
    w.step = std::fabs(e.cell_size[axis] * component(r.inverse, axis));
    return true;
}

/// Whether the column had any hits between t0 and t1.
bool cumulus_cell(cloud_ray& r, const cloud_cell_node* list, double t0, double t1)
{
    cloud_hit hits[hits_kept];
    int n = 0;
    for (const cloud_cell_node* node = list; node && n < hits_kept; node = node->next)
    {
        if (near_root(*node->ellipsoid, r, t0, t1, hits[n].t)) { hits[n++].ellipsoid = node->ellipsoid; }
    }
    const bool any = n > 0;
    // Most columns are opaque after a few: the nearest is looked for each time instead of sorting all.
    for (; n > 0 && r.transmission != 0.0; --n)
    {
        int nearest = 0;
        for (int i = 1; i < n; ++i)
        {
            if (hits[i].t < hits[nearest].t) { nearest = i; }
        }
        const cloud_hit hit = hits[nearest];
        std::copy(hits + nearest + 1, hits + n, hits + nearest); // keeps the order of those at one distance
        shade_hit(r, hit);
    }
    return any;
}

/// The near root of the ray with an ellipsoid; false when it lies outside [t0, t1] and the ray's own limits.
bool near_root(const cloud_ellipsoid& e, const cloud_ray& r, double t0, double t1, double& t)
{
    const vector3 o = r.origin - center_of(e), d = r.direction;
    const double A = e.inverse_rx2, B = e.inverse_ry2, C = e.inverse_rz2;
    const double a = A * r.squares.x + B * r.squares.y + C * r.squares.z;
    if (std::fabs(a) < geometry_zero) { return false; }
    const double half_b = A * o.x * d.x + B * o.y * d.y + C * o.z * d.z;
    // The near root lies before the middle of the chord, by less than the longest half chord there is. Most
    // ellipsoids of a column are entered in another one; these two tests, with room for rounding, find them.
    const double before = -half_b - t0 * a, behind = -half_b - t1 * a, room = 1e-9 * std::fabs(half_b);
    if (before < -room || (behind > room && (behind - room) * (behind - room) > a * (1.0 + 1e-9)))
    {
        return false;
    }
    const double b = 2.0 * half_b;
    const double c = A * o.x * o.x + B * o.y * o.y + C * o.z * o.z - 1.0;
    const double root = b * b - 4.0 * a * c;
    if (!(root >= 0.0)) { return false; }
    t = (-b - std::sqrt(root)) / (2.0 * a);
    return t >= t0 && t <= t1 && t <= r.t_max && t >= r.t_min;
}

void shade_hit(cloud_ray& r, const cloud_hit& hit)
{
    const cloud_ellipsoid& e = *hit.ellipsoid;
    const vector3 p = r.origin + hit.t * r.direction - center_of(e);
    const double thickness = thickness_at(e, p.z);
    if (thickness == 0.0) { return; }
    const vector3 normal =
        turned_back(r.made, normalized({ e.inverse_rx2 * p.x, e.inverse_ry2 * p.y, e.inverse_rz2 * p.z }));
    const double facing = dot(normal, turned_back(r.made, r.direction));
    const vector3 at = noise_scale * p;
    const double a = opacity_of(facing * facing * thickness, at);
    if (a == 0.0) { return; }
    double color[3];
    cumulus_color(r, bent(normal, at), color);
    add_layer(r, color, r.record.cu_color, a);
}

vector3 center_of(const cloud_ellipsoid& e) { return { e.center[0], e.center[1], e.center[2] }; }

/// How thick the cloud is at a point relative to its centre: thin at the flat underside.
double thickness_at(const cloud_ellipsoid& e, double z)
{
    const double above = double(e.center[2]) - e.base;
    double s = (z + above) / (above * 6.0);
    if (s < -0.2) { s = std::pow(-s, 0.2); }
    else if (s < 0.0) { s = std::pow(-s, 0.33); }
    return 1.0 - s;
}

/// The turn back out of the clouds' frame.
vector3 turned_back(const prepared_environment& e, const vector3& v)
{
    const auto& m = e.cloud_matrix.m;
    return { m[0][0] * v.x + m[1][0] * v.y + m[2][0] * v.z, m[0][1] * v.x + m[1][1] * v.y + m[2][1] * v.z,
        m[0][2] * v.x + m[1][2] * v.y + m[2][2] * v.z };
}

/// The opacity of a density of `smooth` and half the turbulence of 5 octaves at a point: thin edges vanish,
/// the rest is solid. Ends as soon as the octaves that are left, each between plus and minus half its weight,
/// change nothing.
double opacity_of(double smooth, const vector3& at)
{
    constexpr int octaves = 5;
    constexpr double empty = 0.4, solid = 0.6, room = 1e-9;
    double density = smooth, sum = 0.0, weight = 1.0, left = 0.96875;
    vector3 q = at;
    for (int n = 0; n < octaves; ++n)
    {
        double value;
        zr_noise(&q, &value, 1);
        sum += value * weight;
        left -= 0.5 * weight;
        weight *= 0.5;
        q = { q.x * 2.0, q.y * 2.0, q.z * 2.0 };
        density = smooth + 0.5 * sum;
        if (density + 0.5 * left < empty - room) { return 0.0; }
        if (density - 0.5 * left > solid + room) { return 1.0; }
    }
    if (density >= solid) { return 1.0; }
    if (!(density >= empty)) { return 0.0; }
    const double s = (density - empty) * 5.0;
    return s * s * s;
}

void cumulus_color(const cloud_ray& r, const vector3& n, double color[3])
{
    constexpr vector3 without_sun = { 0.37139, -0.74278, -0.55709 };
    if (r.sun && r.sun->sun_strength == 0.0)
    {
        std::fill_n(color, 3, 0.15);
        return;
    }
    const vector3& travel = r.sun ? r.sun->sun_direction : without_sun;
    const double l = (dot(n, travel) - 1.0) * -0.5 * 0.4 + 0.6;
    for (int i = 0; i < 3; ++i) { color[i] = r.sun ? l * r.sun->sun_color[i] : l; }
}

/// The normal, roughened half way.
vector3 bent(const vector3& n, const vector3& at)
{
    double g[3];
    turb3(&at, g, 4);
    const vector3 rough = normalized(vector3{ 0.75 * g[0], 0.75 * g[1], 0.75 * g[2] } + n);
    return normalized(0.5 * n + 0.5 * rough);
}

void cirrus(cloud_ray& r)
{
    const environment& e = r.record;
    const double z = r.direction.z, h = 0.1 * e.ci_horizon;
    const double closed = e.cloud_flags & CLOUDS_CIRRUS_HORIZON ? 1.0 : 0.0;
    double v = closed;
    if (z >= h)
    {
        const double f = z < 4.0 * h && h > 0.0 ? (3.0 * h - (z - h)) / (3.0 * h) : 0.0;
        v = cirrus_pattern(r);
        if (f > 0.0) { v = (1.0 - f) * v + f * closed; }
    }
    const double a = std::pow(std::clamp(1.0 - double(e.ci_transparency), 0.0, 1.0), 0.2) * v;
    if (!(a > 0.0)) { return; }
    double color[3] = { 0.9, 0.9, 0.9 };
    if (r.sun && r.sun->sun_strength == 0.0) { std::fill_n(color, 3, 0.4); }
    else if (r.sun)
    {
        const double s = (r.sun->sun_direction.z - 1.0) * -0.5;
        for (int i = 0; i < 3; ++i) { color[i] = (s * s + 1.0) * 0.5 * r.sun->sun_color[i]; }
    }
    add_layer(r, color, e.ci_color, std::min(a, 1.0));
}

/// The pattern of the layer at a height of 5000 where the ray meets it.
double cirrus_pattern(const cloud_ray& r)
{
    constexpr double height = 5000.0;
    const environment& e = r.record;
    const vector3 p = r.origin + height * r.inverse.z * r.direction;
    const vector3 q = { 0.0002 * p.x / e.ci_scale[0], 0.0002 * p.y / e.ci_scale[1], 0.001 * p.z };
    if (!is_finite(q)) { return 0.0; }
    double g[3];
    turb3(&q, g, 4);
    return std::pow((folded(std::fabs(g[0])) + folded(g[1])) * 0.5, 1.0 - e.ci_density);
}

/// The part of a number behind the point, folded to a ramp up and down.
double folded(double v)
{
    const double f = v - std::floor(v);
    return f >= 0.5 ? 2.0 * (1.0 - f) : 2.0 * f;
}

void add_layer(cloud_ray& r, const double color[3], const float tint[3], double a)
{
    for (int i = 0; i < 3; ++i) { r.radiance[i] += color[i] * a * r.transmission * tint[i]; }
    r.transmission *= 1.0 - a;
}

} // namespace

} // namespace zr
