/// @file
/// Disks. The light's own operation spreads points over the square round the disk, in which callers place
/// those of the disc; `sample_disk` spreads them by the solid angle that the shading point sees. A disk is
/// seen as a spherical ellipse: Guillen, Urena, King, Fajardo, Georgiev, Lopez-Moreno and Jarabo,
/// "Area-preserving parameterizations for spherical ellipses" (2017). Radially the map is exact; round the
/// middle, where the paper inverts an elliptic integral, angles are even and the weight, which differs by a
/// factor of two at most, makes up for it.
#include <algorithm>
#include <cmath>

#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/lighting/light_emission.hpp"

using namespace zr;

namespace
{

constexpr double lift = 0.001; // metres, off the source's own surface

int32_t disk_sample_count(const light* l, const vector3* point)
{
    if (l->radius == 0.0) { return 1; }
    const vector3 to_point = *point - l->position;
    const double squared = dot(to_point, to_point);
    return squared < 25.0 * l->radius ? 17 : squared < 400.0 * l->radius ? 5 : 1;
}

vector3 place_on(const light& l, double u, double v)
{
    return l.position + 2.0 * (u - 0.5) * l.radius * l.axis_u + 2.0 * (v - 0.5) * l.radius * l.axis_v;
}

int32_t disk_sample(const light* l, const vector3* point, source_sample* samples, int32_t n)
{
    for (source_sample* s = samples; s < samples + n; ++s)
    {
        s->point = place_on(*l, s->u, s->v) + lift * l->normal;
        finish_sample(*l, *point, *s);
    }
    return 1;
}

/// The cone of directions to a disk: its section with the unit sphere, seen along `z`, is an ellipse.
struct spherical_ellipse
{
    vector3 x, y, z;
    double a, b; ///< half axes along x and y, sines of half angles
};

spherical_ellipse ellipse_from(const light& l, const vector3& to_middle)
{
    // In the plane of symmetry: `height` along the normal, `aside` in the plane of the disk.
    spherical_ellipse e;
    const double height = dot(to_middle, l.normal);
    const vector3 flat = to_middle - height * l.normal;
    const double aside = length(flat), r = l.radius;
    const vector3 y = aside > 1e-9 * r ? flat * (1.0 / aside) : l.axis_u;
    const double d0 = std::sqrt(height * height + (aside - r) * (aside - r)),
                 d1 = std::sqrt(height * height + (aside + r) * (aside + r));
    const double y0 = (aside - r) / d0, z0 = height / d0, y1 = (aside + r) / d1, z1 = height / d1;
    const double sum_y = y0 + y1, sum_z = z0 + z1, sum = std::sqrt(sum_y * sum_y + sum_z * sum_z);
    e.b = 0.5 * std::sqrt((y0 - y1) * (y0 - y1) + (z0 - z1) * (z0 - z1));
    e.z = (sum_y * y + sum_z * l.normal) * (1.0 / sum);
    e.x = cross(y, l.normal);
    e.y = cross(e.z, e.x);
    // Across: the chord of the disk where the middle of the cone meets it.
    const double at = height * sum_y / sum_z, off = at - aside,
                 half = std::sqrt(std::fmax(r * r - off * off, 0.0));
    e.a = half / std::sqrt(half * half + at * at + height * height);
    return e;
}

/// Share of the ellipse's solid angle per turn, from the square of its radius in one direction.
double solid_angle_by_turn(const spherical_ellipse& e, double squared)
{
    return 2.0 * M_PI * e.a * e.b / (1.0 + std::sqrt(std::fmax(1.0 - squared, 0.0)));
}

/// `x`, `y` on the unit disc; what the direction stands for in steradians in `weight`.
vector3 direction_in(const spherical_ellipse& e, double x, double y, double& weight)
{
    const double rr = std::fmin(x * x + y * y, 1.0);
    const double along_x = e.a * x, along_y = e.b * y;
    const double squared = rr > 0.0 ? (along_x * along_x + along_y * along_y) / rr : e.a * e.a;
    weight = solid_angle_by_turn(e, squared);
    const double z = 1.0 - rr * (1.0 - std::sqrt(std::fmax(1.0 - squared, 0.0)));
    const double scale = rr > 0.0 ? std::sqrt((1.0 - z * z) / (squared * rr)) : 0.0;
    return e.z * z + e.x * (along_x * scale) + e.y * (along_y * scale);
}

double weight_of(const spherical_ellipse& e, const vector3& direction)
{
    const double x = dot(direction, e.x) / e.a, y = dot(direction, e.y) / e.b, rr = x * x + y * y;
    const double squared = rr > 0.0 ? (e.a * e.a * x * x + e.b * e.b * y * y) / rr : e.a * e.a;
    return solid_angle_by_turn(e, squared);
}

} // namespace

void zr::sample_disk(const light& l, const vector3& shading_point, source_sample& s)
{
    const vector3 to_middle = l.position - shading_point;
    const double height = dot(to_middle, l.normal), d = length(to_middle);
    // Nearly in its plane, or far away, points spread by area are as good and keep more digits.
    if (!(std::fabs(height) > 1e-6 * (d + l.radius)) || d > 1000.0 * l.radius)
    {
        s.point = place_on(l, s.u, s.v);
        finish_sample(l, shading_point, s);
        return;
    }
    const spherical_ellipse e = ellipse_from(l, to_middle);
    double x = 2.0 * s.u - 1.0, y = 2.0 * s.v - 1.0, weight;
    const bool mixed = law_of(l, true) != emission_law::cosine;
    // One half of the disc for either way: turned twice as far it is the whole.
    const bool by_area = mixed && y < 0.0;
    if (mixed)
    {
        const double r = std::sqrt(x * x + y * y), doubled_x = r > 0.0 ? (x * x - y * y) / r : 0.0;
        y = r > 0.0 ? 2.0 * x * y / r : 0.0;
        x = doubled_x;
    }
    if (by_area)
    {
        s.point = l.position + l.radius * (x * l.axis_u + y * l.axis_v);
        weight = weight_of(e, normalized(s.point - shading_point));
    }
    else
    {
        const vector3 direction = direction_in(e, x, y, weight);
        s.point = shading_point + direction * (height / dot(direction, l.normal));
    }
    color_flat_sample(l, shading_point, l.normal, M_PI * l.radius * l.radius, 1.0 / weight, mixed, s);
}

void lt_disk_create(light* source)
{
    clamp_light_to_ranges(*source);
    square_axes(*source);
    source->sample_count = disk_sample_count;
    source->sample = disk_sample;
    derive_brightness(*source);
    zr_get_color_intensity(source);
}
