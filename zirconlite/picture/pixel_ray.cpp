// Rays through pixels, the lens, the clip planes, and the pictures of whole environments.
#include "zirconlite/picture/projection.h"

#include "zirconlite/frame/document.h"
#include "zirconlite/frame/render_view.h"
#include "zirconlite/geometry/ray.h"
#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/picture/projection.hpp"

namespace zr
{

namespace
{

bool aim(const render_view& view, const double position[2], ray& r);
bool parallel_ray(const render_view& view, const double p[2], ray& r);
bool cylinder_ray(const render_view& view, const double p[2], ray& r);
bool sphere_ray(const render_view& view, const double p[2], ray& r);
bool probe_ray(const render_view& view, const double p[2], ray& r);
void aim_along(ray& r, const vector3& direction);
bool two_point_ray(const render_view& view, const double p[2], ray& r);
bool perspective_ray(const render_view& view, const double p[2], ray& r);
void aim_at(ray& r, const vector3& point);
double plane_x(const render_view& view, double x);
double plane_y(const render_view& view, double y);
bool uses_lens(const document& doc, const render_view& view);
void apply_lens(const document& doc, const render_view& view, ray& r);
double near_distance(const render_view& view, const vector3& direction);
bool is_panorama(int32_t projection);

} // namespace

} // namespace zr

using namespace zr;

int32_t make_ray(const document* doc, render_view* view, const double position[2], ray* r)
{
    if (!aim(*view, position, *r)) { return 0; }
    if (uses_lens(*doc, *view)) { apply_lens(*doc, *view, *r); }
    r->inv_direction = ray_reciprocal(r->direction);
    r->pixel_size[0] = view->pixel_width;
    r->pixel_size[1] = view->pixel_height;
    r->t_min = near_distance(*view, r->direction);
    return 1;
}

void clip_ray(const render_view* view, ray* r)
{
    for (int32_t i = 0; i < view->clip_plane_count; ++i)
    {
        const view_clip_plane& plane = view->clip_planes[i];
        const vector3 n = { plane.a, plane.b, plane.c };
        const double dn = dot(n, r->direction), on = dot(n, r->origin);
        if (std::fabs(dn) >= geometry_zero)
        {
            const double t = -(on + plane.d) / dn;
            if (dn <= 0.0) { r->t_max = std::fmin(r->t_max, t); }
            else { r->t_min = std::fmax(r->t_min, t); }
        }
        else if (plane.d < -on) { r->t_max = 0.0; }
    }
}

int32_t zr_hdri_pixels_to_vector(
    float x, float width, float y, float height, vector3* direction, float* azimuth, float* altitude)
{
    const double u = 2.0 * x / (width - 1.0) - 1.0, v = 2.0 * y / (height - 1.0) - 1.0;
    const double r2 = u * u + v * v;
    if (!(r2 <= 1.001)) { return 0; }
    vector3 d = rotated({ 0, 1, 0 }, { 0, 0, 1 }, std::sqrt(r2) * pi);
    d = rotated(d, { 0, 1, 0 }, std::atan2(v, u));
    d.x = -d.x;
    *direction = d;
    if (altitude) { *altitude = float(std::asin(std::fmin(std::fmax(d.z, -1.0), 1.0))); }
    if (azimuth)
    {
        double a = std::atan2(d.y, d.x) + half_pi;
        if (a > pi) { a -= two_pi; }
        *azimuth = float(a);
    }
    return 1;
}

int32_t zr_hdri_vector_to_pixels(const vector3* direction, float width, float height, float* x, float* y)
{
    // Forward looks along +y, so the middle of the picture, which is at radius acos(y), is the direction +y.
    const vector3& d = *direction;
    const double s = d.x * d.x + d.z * d.z;
    if (s < geometry_zero)
    {
        *x = *y = 0.0f;
        return 1;
    }
    const double k = std::acos(std::fmin(std::fmax(d.y, -1.0), 1.0)) * inverse_pi / std::sqrt(s);
    *x = float((k * d.x + 1.0) * 0.5 * width);
    *y = float((k * d.z + 1.0) * 0.5 * height);
    return 1;
}

int32_t zr_equirectangular_vector_to_pixels(
    const vector3* direction, float width, float height, float* x, float* y)
{
    const vector3& d = *direction;
    const double latitude = std::asin(std::fmin(std::fmax(d.z, -1.0), 1.0));
    double longitude = std::atan2(d.y, d.x) + half_pi;
    if (longitude < 0.0) { longitude += two_pi; }
    // Seen from inside, x grows to the right: from the south over west and north, in the middle, to the east.
    *x = float((1.0 - longitude / two_pi) * width);
    *y = float((latitude + half_pi) / pi * height);
    return 1;
}

namespace zr
{

namespace
{

bool aim(const render_view& view, const double position[2], ray& r)
{
    switch (view.projection)
    {
    case PROJECTION_PARALLEL:
        return parallel_ray(view, position, r);
    case PROJECTION_CYLINDER:
        return cylinder_ray(view, position, r);
    case PROJECTION_SPHERE:
        return sphere_ray(view, position, r);
    case PROJECTION_PROBE:
        return probe_ray(view, position, r);
    default:
        return projection_state.two_point ? two_point_ray(view, position, r)
                                          : perspective_ray(view, position, r);
    }
}

bool parallel_ray(const render_view& view, const double p[2], ray& r)
{
    r.origin = view.position + plane_x(view, p[0]) * view.right + plane_y(view, p[1]) * view.up;
    aim_along(r, -view.back);
    return true;
}

bool cylinder_ray(const render_view& view, const double p[2], ray& r)
{
    r.origin = view.position;
    const double steps = view.width > 1 ? view.width - 1.0 : 1.0;
    const double angle = p[0] / steps * two_pi - pi;
    const vector3 level = rotated_about_z(-projection_state.pano_flat, -angle);
    aim_at(r, view.position + level + plane_y(view, p[1]) * view.up);
    return true;
}

bool sphere_ray(const render_view& view, const double p[2], ray& r)
{
    const projection_state_record& s = projection_state;
    r.origin = view.position;
    const double latitude = p[1] / view.height * pi - half_pi;
    const double longitude = (1.0 - p[0] / view.width) * two_pi - pi;
    const vector3 axis = rotated(s.pano_axis_a, s.pano_axis_b, longitude);
    const vector3 flat = rotated(s.pano_flat, s.pano_axis_b, longitude);
    aim_along(r, rotated(flat, axis, latitude));
    return true;
}

bool probe_ray(const render_view& view, const double p[2], ray& r)
{
    r.origin = view.position;
    vector3 d;
    if (!zr_hdri_pixels_to_vector(
            float(p[0]), float(view.width), float(p[1]), float(view.height), &d, nullptr, nullptr))
    {
        return false;
    }
    const auto& m = projection_state.probe_matrix;
    aim_along(
        r, { m[0][0] * d.x + m[0][1] * d.y + m[0][2] * d.z, m[1][0] * d.x + m[1][1] * d.y + m[1][2] * d.z,
               m[2][0] * d.x + m[2][1] * d.y + m[2][2] * d.z });
    return true;
}

void aim_along(ray& r, const vector3& direction)
{
    r.direction = r.raw_direction = direction;
    r.raw_length = 1.0;
    r.image_point = r.origin + direction;
}

bool two_point_ray(const render_view& view, const double p[2], ray& r)
{
    r.origin = view.position;
    const double w = view.up.z < 0.0 ? -1.0 : 1.0;
    const vector3 across = plane_x(view, p[0]) * view.right;
    aim_at(r, projection_state.two_point_target + across + vector3{ 0, 0, w * plane_y(view, p[1]) });
    return true;
}

bool perspective_ray(const render_view& view, const double p[2], ray& r)
{
    r.origin = view.position;
    const bool sub_frame = view.projection == PROJECTION_PERSPECTIVE && view.frame_aspect > 0.0f;
    const double sx = sub_frame ? view.frame_low[0] * view.image_width : 0.0;
    const double sy = sub_frame ? view.frame_low[1] * view.image_height : 0.0;
    aim_at(r, view.target + (sx + plane_x(view, p[0])) * view.right + (sy + plane_y(view, p[1])) * view.up);
    return true;
}

void aim_at(ray& r, const vector3& point)
{
    r.image_point = point;
    r.raw_direction = point - r.origin;
    r.raw_length = length(r.raw_direction);
    r.direction = r.raw_length > 0.0 ? r.raw_direction * (1.0 / r.raw_length) : r.raw_direction;
}

double plane_x(const render_view& view, double x) { return view.pixel_width * x - view.image_width / 2.0; }

double plane_y(const render_view& view, double y) { return view.pixel_height * y - view.image_height / 2.0; }

bool uses_lens(const document& doc, const render_view& view)
{
    return (doc.render_flags & RENDER_DEPTH_OF_FIELD) && !(doc.render_flags & RENDER_FAST) &&
           doc.quality > 2 && (view.projection == PROJECTION_PERSPECTIVE || projection_state.two_point);
}

/// Moves the origin over the lens; what lies in the focus stays where it is.
void apply_lens(const document& doc, const render_view& view, ray& r)
{
    constexpr double spread = 0.002; // the stratum spans half of -1 to 1, and lenses are in mm
    const vector3 focus = r.origin + r.direction * doc.focus_distance;
    vector3 u, v;
    zr_make_axes(&r.direction, &u, &v, 1e-4);
    const double radius = view.lens_length / doc.lens_f_stop * spread;
    r.origin += radius * r.stratum[0] * u + radius * r.stratum[1] * v;
    r.direction = focus - r.origin;
    r.raw_length = length(r.direction);
    r.direction = r.raw_length > 0.0 ? r.direction * (1.0 / r.raw_length) : r.direction;
}

double near_distance(const render_view& view, const vector3& direction)
{
    if (!(view.near >= 0.0) || is_panorama(view.projection)) { return 0.0; }
    if (view.projection == PROJECTION_PARALLEL) { return view.near; }
    if (projection_state.two_point)
    {
        const vector3 n = normalized({ -view.back.x, -view.back.y, 0.0 });
        return projection_state.two_point_near / dot(n, direction);
    }
    return view.near / dot(-view.back, direction);
}

bool is_panorama(int32_t projection)
{
    return projection == PROJECTION_CYLINDER || projection == PROJECTION_SPHERE ||
           projection == PROJECTION_PROBE;
}

} // namespace

} // namespace zr
