/// @file
/// Rectangles and parallelograms. The light's own operation spreads points by area; `sample_rectangle`
/// spreads them by the solid angle that the shading point sees: Urena, Fajardo and King, "An area-preserving
/// parametrization for spherical rectangles" (2013).
#include <algorithm>
#include <cmath>

#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/lighting/light_emission.hpp"

using namespace zr;

namespace
{

constexpr double lift = 0.001;           // metres, off the source's own surface
constexpr double min_solid_angle = 1e-4; // sr; smaller ones are even enough by area, and lose digits

vector3 side_of(const light& l) { return l.vertices[1] - l.vertices[0]; }
vector3 other_side_of(const light& l) { return l.vertices[2] - l.vertices[1]; }

int32_t area_sample_count(const light* l, const vector3* point)
{
    const vector3 to_point = *point - l->position;
    return 25.0 * l->length > dot(to_point, to_point) ? 17 : 5;
}

int32_t area_sample(const light* l, const vector3* point, source_sample* samples, int32_t n)
{
    const vector3 e1 = side_of(*l), e2 = other_side_of(*l), base = l->vertices[0] + lift * l->normal;
    for (source_sample* s = samples; s < samples + n; ++s)
    {
        s->point = base + s->u * e1 + s->v * e2;
        finish_sample(*l, *point, *s);
    }
    return 1;
}

/// Corners about the middle where the host gave none, and a normal that is square to them.
void complete_shape(light& l)
{
    if (l.vertex_count < 3)
    {
        square_axes(l);
        const vector3 u = 0.5 * l.length * l.axis_u, v = 0.5 * l.height * l.axis_v;
        const vector3 corners[] = { l.position - u - v, l.position + u - v, l.position + u + v,
            l.position - u + v };
        std::copy_n(corners, 4, l.vertices);
        l.vertex_count = 4;
    }
    const vector3 n = normalized(cross(side_of(l), other_side_of(l)));
    if (dot(n, n) > 0.0) { l.normal = dot(n, l.normal) < 0.0 ? -n : n; }
}

/// A rectangle in the frame of a shading point, as its angles on the sphere round it.
struct spherical_rectangle
{
    vector3 x, y, z;
    double x0, y0, z0, x1, y1;
    double b0, b1, k, solid_angle;
};

spherical_rectangle rectangle_from(const light& l, const vector3& point)
{
    spherical_rectangle r;
    const vector3 e1 = side_of(l), e2 = other_side_of(l), to_corner = l.vertices[0] - point;
    const double width = length(e1), height = length(e2);
    r.x = e1 * (1.0 / width);
    r.y = e2 * (1.0 / height);
    r.z = cross(r.x, r.y);
    r.z0 = dot(to_corner, r.z);
    if (r.z0 > 0.0)
    {
        r.z = -r.z;
        r.z0 = -r.z0;
    }
    r.x0 = dot(to_corner, r.x);
    r.y0 = dot(to_corner, r.y);
    r.x1 = r.x0 + width;
    r.y1 = r.y0 + height;
    // The heights of the unit normals of the four planes through the point and a side, and the angles between
    // them.
    const double a[4] = { -r.y0, -r.x1, r.y1, r.x0 };
    double n[4], angle[4];
    for (int i = 0; i < 4; ++i) { n[i] = a[i] / std::sqrt(r.z0 * r.z0 + a[i] * a[i]); }
    for (int i = 0; i < 4; ++i) { angle[i] = std::acos(std::clamp(-n[i] * n[(i + 1) % 4], -1.0, 1.0)); }
    r.b0 = n[0];
    r.b1 = n[2];
    r.k = 2.0 * M_PI - angle[2] - angle[3];
    r.solid_angle = angle[0] + angle[1] - r.k;
    return r;
}

vector3 point_on(const spherical_rectangle& r, double u, double v)
{
    const double turn = u * r.solid_angle + r.k;
    const double f = (std::cos(turn) * r.b0 - r.b1) / std::sin(turn);
    const double c = std::clamp(std::copysign(1.0, f) / std::sqrt(f * f + r.b0 * r.b0), -1.0, 1.0);
    const double x = std::clamp(-c * r.z0 / std::fmax(std::sqrt(1.0 - c * c), 1e-9), r.x0, r.x1);
    const double d = std::sqrt(x * x + r.z0 * r.z0);
    const double h0 = r.y0 / std::sqrt(d * d + r.y0 * r.y0), h1 = r.y1 / std::sqrt(d * d + r.y1 * r.y1);
    const double h = h0 + v * (h1 - h0), hh = h * h;
    const double y = hh < 1.0 - 1e-12 ? std::clamp(h * d / std::sqrt(1.0 - hh), r.y0, r.y1) : r.y1;
    return r.x * x + r.y * y + r.z * r.z0;
}

} // namespace

void zr::sample_rectangle(const light& l, const vector3& shading_point, source_sample& s)
{
    const vector3 e1 = side_of(l), e2 = other_side_of(l), across = cross(e1, e2);
    const double area = length(across), sides = std::sqrt(dot(e1, e1) * dot(e2, e2));
    const vector3 n = area > 0.0 ? across * (1.0 / area) : l.normal;
    const double height = dot(n, shading_point - l.vertices[0]);
    const bool is_rectangle = area > 0.0 && std::fabs(dot(e1, e2)) <= 1e-6 * sides;
    spherical_rectangle r = {};
    if (is_rectangle && std::fabs(height) > 1e-6 * std::sqrt(area)) { r = rectangle_from(l, shading_point); }
    if (!(r.solid_angle > min_solid_angle))
    {
        s.point = l.vertices[0] + s.u * e1 + s.v * e2;
        finish_sample(l, shading_point, s);
        return;
    }
    const bool mixed = law_of(l, true) != emission_law::cosine;
    const bool by_area = mixed && s.u < 0.5;
    const double u = mixed ? 2.0 * s.u - (by_area ? 0.0 : 1.0) : s.u;
    s.point = by_area ? l.vertices[0] + u * e1 + s.v * e2 : shading_point + point_on(r, u, s.v);
    color_flat_sample(l, shading_point, n, area, 1.0 / r.solid_angle, mixed, s);
}

void lt_area_create(light* source)
{
    clamp_light_to_ranges(*source);
    complete_shape(*source);
    source->sample_count = area_sample_count;
    source->sample = area_sample;
    derive_brightness(*source);
    zr_get_color_intensity(source);
}
