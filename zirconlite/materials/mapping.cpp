/// @file
/// The projections that give points of an object their pattern coordinates.
#include "zirconlite/materials/mapping.h"

#include <algorithm>

#include "zirconlite/geometry/ray.h"
#include "zirconlite/geometry/scene_object.h"
#include "zirconlite/geometry/vector.hpp"

using namespace zr;

namespace
{

constexpr double min_pattern = 1e-10;

double divided(double value, double by);
double angle_about_z(const vector3& p);
double angle_from_below(const vector3& p);

} // namespace

int32_t zr_planar_map(const vector3* point, const vector3*, vector3* uvw)
{
    *uvw = *point;
    return 1;
}

int32_t zr_box_map(const vector3* point, const vector3* normal, vector3* uvw)
{
    const vector3 p = *point;
    const double x = std::fabs(normal->x), y = std::fabs(normal->y), z = std::fabs(normal->z);
    if (x >= y && x >= z) { *uvw = { p.y, p.z, p.x }; }
    else { *uvw = y >= z ? vector3{ p.x, p.z, p.y } : p; }
    return 1;
}

int32_t zr_cylinder_map(const vector3* point, const vector3*, vector3* uvw)
{
    const vector3 p = *point;
    *uvw = { std::sqrt(p.x * p.x + p.y * p.y) * angle_about_z(p), p.z, 0.0 };
    return 1;
}

int32_t zr_sphere_map(const vector3* point, const vector3*, vector3* uvw)
{
    const vector3 p = *point;
    const double r = length(p);
    *uvw = { r * angle_about_z(p), r * angle_from_below(p), 0.0 };
    return 1;
}

int32_t zr_angular_cylinder_map(const vector3* point, const vector3*, double scale_u, double scale_v,
    const double pattern_scale[2], vector3* uvw)
{
    const double u = angle_about_z(*point) * scale_u;
    *uvw = { pattern_scale[0] > min_pattern ? u / pattern_scale[0] : u,
        divided(point->z * scale_v, pattern_scale[1]), 0.0 };
    return 1;
}

int32_t zr_angular_sphere_map(const vector3* point, const vector3*, const double scale_pair[2],
    const double pattern_scale[2], vector3* uvw)
{
    *uvw = { divided(angle_about_z(*point) * scale_pair[0], pattern_scale[0]),
        divided(angle_from_below(*point) * scale_pair[1], pattern_scale[1]), 0.0 };
    return 1;
}

int32_t zr_apply_mapping(apply_record* record)
{
    const mapping& m = *record->mapping;
    const vector3 point = *record->point_in, normal = *record->normal_in;
    if (m.kind == MAPPING_NONE)
    {
        *record->point_out = point;
        *record->normal_out = normal;
        zr_box_map(&point, &normal, record->uvw_out);
        return 0;
    }
    const vector3 p = transform_point(m.transform, point), n = transform_vector(m.transform, normal);
    vector3 uvw;
    switch (m.kind)
    {
    case MAPPING_CYLINDER:
        zr_cylinder_map(&p, &n, &uvw);
        break;
    case MAPPING_SPHERE:
        zr_sphere_map(&p, &n, &uvw);
        break;
    case MAPPING_PLANAR:
    case MAPPING_VERTEX:
        zr_planar_map(&p, &n, &uvw);
        break;
    case MAPPING_ANGULAR_CYLINDER:
        zr_angular_cylinder_map(&p, &n, m.angular_scale[0], m.angular_scale[2], record->pattern_scale, &uvw);
        break;
    case MAPPING_ANGULAR_SPHERE:
        zr_angular_sphere_map(&p, &n, m.angular_scale, record->pattern_scale, &uvw);
        break;
    default:
        zr_box_map(&p, &n, &uvw);
        break;
    }
    uvw = { uvw.x * m.scale[0], uvw.y * m.scale[1], uvw.z * m.scale[2] };
    *record->uvw_out = uvw;
    const bool replaces_point = m.kind >= MAPPING_CYLINDER && m.kind <= MAPPING_ANGULAR_SPHERE;
    *record->point_out = replaces_point ? uvw : p;
    *record->normal_out = n;
    return 1;
}

int32_t zr_get_uv_from_vertices(const ray* r, int32_t set, float uv_out[2])
{
    const scene_object* object = r->hit_object;
    if (!object || !object->vft->get_vertex_uv) { return 0; }
    const double weights[3] = { r->element_coords[2], r->element_coords[1], r->element_coords[0] };
    return object->vft->get_vertex_uv(object, set, weights, uv_out);
}

namespace
{

double divided(double value, double by) { return by != 0.0 ? value / by : value; }

/// The angle about z, 0 to two pi; pi on the positive x axis.
double angle_about_z(const vector3& p) { return std::atan2(p.y, p.x) + pi; }

/// The angle of the point above the negative z axis, 0 to pi.
double angle_from_below(const vector3& p)
{
    const double r = length(p);
    return pi - std::acos(std::clamp(r != 0.0 ? p.z / r : p.z, -1.0, 1.0));
}

} // namespace
