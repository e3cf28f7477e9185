#include "host/build/light_shapes.hpp"

#include "host/vectors.hpp"
#include "zirconlite/meshes/mesh_build.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace host
{

namespace
{

constexpr int turns = 48;              // corners round a disk, a tube or a ball
constexpr double back_distance = 1e-3; // metres from a flat source to its dark back

/// A surface as points and polygons, counter-clockwise from outside.
struct shape
{
    std::vector<vector3> points;
    std::vector<std::vector<int32_t>> polygons;
    bool is_dark = false;
    bool is_smooth = false;
};

vector3 along(const vector3& from, const vector3& a, double x, const vector3& b, double y)
{
    return { from.x + a.x * x + b.x * y, from.y + a.y * x + b.y * y, from.z + a.z * x + b.z * y };
}

/// A polygon that faces along `normal`.
shape flat(std::vector<vector3> points, const vector3& normal)
{
    const vector3 a = along(points[1], points[0], -1, {}, 0), b = along(points[2], points[1], -1, {}, 0);
    shape s;
    s.polygons.emplace_back();
    for (size_t i = 0; i < points.size(); ++i) { s.polygons[0].push_back(int32_t(i)); }
    if (dot(cross(a, b), normal) < 0) { std::reverse(s.polygons[0].begin(), s.polygons[0].end()); }
    s.points = std::move(points);
    return s;
}

std::vector<vector3> ring(const vector3& middle, const vector3& u, const vector3& v, double radius)
{
    std::vector<vector3> points;
    for (int i = 0; i < turns; ++i)
    {
        const double turn = 2 * pi * i / turns;
        points.push_back(along(middle, u, radius * std::cos(turn), v, radius * std::sin(turn)));
    }
    return points;
}

/// Faces between rings of points, of which the first and last may be poles.
void join_rings(shape& s, int rings)
{
    for (int r = 0; r + 1 < rings; ++r)
    {
        for (int i = 0; i < turns; ++i)
        {
            const int32_t a = r * turns + i, b = r * turns + (i + 1) % turns;
            s.polygons.push_back({ a, b, b + turns, a + turns });
        }
    }
}

std::vector<shape> ball_of(const light& l)
{
    constexpr int rows = turns / 2;
    shape s;
    s.is_smooth = true;
    for (int r = 0; r <= rows; ++r)
    {
        const double height = -pi / 2 + pi * r / rows;
        const vector3 middle = along(l.position, { 0, 0, 1 }, l.radius * std::sin(height), {}, 0);
        for (const vector3& p : ring(middle, { 1, 0, 0 }, { 0, 1, 0 }, l.radius * std::cos(height)))
        {
            s.points.push_back(p);
        }
    }
    join_rings(s, rows + 1);
    return { s };
}

/// A flat source, with a dark back where it shines on one side alone.
std::vector<shape> sheet_of(const light& l, std::vector<vector3> points)
{
    std::vector<shape> shapes = { flat(points, l.normal) };
    if (l.distribution == DISTRIBUTION_ISOTROPIC || l.distribution == DISTRIBUTION_GONIOMETRIC)
    {
        return shapes;
    }
    for (vector3& p : points) { p = along(p, l.normal, -back_distance, {}, 0); }
    shapes.push_back(flat(points, { -l.normal.x, -l.normal.y, -l.normal.z }));
    shapes.back().is_dark = true;
    return shapes;
}

std::vector<shape> rectangle_of(const light& l) { return sheet_of(l, { l.vertices, l.vertices + 4 }); }

std::vector<shape> disk_of(const light& l)
{
    return sheet_of(l, ring(l.position, l.axis_u, l.axis_v, l.radius));
}

std::vector<shape> tube_of(const light& l)
{
    const vector3 low = along(l.position, l.axis_u, -l.length / 2, {}, 0),
                  high = along(l.position, l.axis_u, l.length / 2, {}, 0);
    const vector3 v =
        unit(cross(l.axis_u, std::fabs(l.axis_u.x) < 0.9 ? vector3{ 1, 0, 0 } : vector3{ 0, 1, 0 }));
    const vector3 w = cross(l.axis_u, v);
    shape side;
    side.is_smooth = true;
    side.points = ring(low, v, w, l.radius);
    const std::vector<vector3> end = ring(high, v, w, l.radius);
    side.points.insert(side.points.end(), end.begin(), end.end());
    join_rings(side, 2);
    shape ends[] = { flat(ring(low, v, w, l.radius), { -l.axis_u.x, -l.axis_u.y, -l.axis_u.z }),
        flat(end, l.axis_u) };
    for (shape& e : ends) { e.is_dark = true; }
    return { side, ends[0], ends[1] };
}

struct shape_row
{
    int32_t type;
    std::vector<shape> (*make)(const light& l);
};
constexpr shape_row shape_rows[] = { { LIGHT_SPHERICAL, ball_of }, { LIGHT_AREA, rectangle_of },
    { LIGHT_CYLINDRICAL, tube_of }, { LIGHT_DISK, disk_of } };

void darken(const scene_object& head, const light& l)
{
    for (property_node* p = head.vft->get_properties(&head); p; p = p->next)
    {
        if (p->kind == PROPERTY_LIGHT_SHAPE && p->payload.light == &l) { p->factor = -1; }
    }
}

bool add_mesh(document* d, material_entry* look, light& l, const shape& s)
{
    std::vector<mesh_polygon> polygons;
    for (const auto& p : s.polygons) { polygons.push_back({ int32_t(p.size()), p.data() }); }
    mesh_geometry geometry{};
    geometry.vertex_count = int32_t(s.points.size());
    geometry.vertices = s.points.data();
    geometry.polygon_count = int32_t(polygons.size());
    geometry.polygons = polygons.data();
    object_descriptor descriptor{};
    descriptor.flags = OBJECT_LIGHT_SHAPE;
    descriptor.smooth_cosine = s.is_smooth ? 0.5 : 0.9999;
    mesh_build build{};
    zr_init_mesh_build(d, &build);
    build.descriptor = &descriptor;
    build.light = &l;
    build.material = look;
    build.geometry = &geometry;
    if (!zr_create_mesh(d, &build)) { return false; }
    if (s.is_dark && d->scene_objects.first) { darken(*d->scene_objects.first, l); }
    return true;
}

} // namespace

material_entry* add_shape_material(document* d)
{
    const float white[3] = { 0.8f, 0.8f, 0.8f };
    material* made = zr_build_matte_material(white);
    return made ? zr_add_material(d, u"visible shapes of light sources", made) : nullptr;
}

bool add_light_shape(document* d, material_entry* look, light& l)
{
    for (const shape_row& row : shape_rows)
    {
        if (row.type != l.type) { continue; }
        for (const shape& s : row.make(l))
        {
            if (!add_mesh(d, look, l, s)) { return false; }
        }
    }
    return true;
}

} // namespace host
