// Preparation of a view's projection.
#include "zirconlite/picture/projection.h"

#include "zirconlite/frame/render_view.h"
#include "zirconlite/frame/status.hpp"
#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/picture/projection.hpp"

namespace zr
{

projection_state_record projection_state = {};

namespace
{

constexpr double half_film = 18.0; ///< mm: the film is 36 mm wide

using prepare_projection = void (*)(render_view&);

prepare_projection preparation_of(int32_t projection);
void prepare_parallel(render_view&);
void prepare_cylinder(render_view& view);
void prepare_sphere(render_view& view);
void prepare_probe(render_view& view);
vector3 level_direction(const vector3& v, const vector3& fallback);
bool check_view(const render_view& view, prepare_projection prepare);
void prepare_perspective(render_view& view);
bool has_sub_frame(const render_view& view);

} // namespace

} // namespace zr

using namespace zr;

int32_t zr_init_projection(render_view* view)
{
    const prepare_projection prepare = preparation_of(view->projection);
    projection_state = {};
    if (!check_view(*view, prepare)) { return 0; }
    prepare(*view);
    view->pixel_width = view->image_width / view->width;
    view->pixel_height = view->image_height / view->height;
    if (has_sub_frame(*view))
    {
        view->pixel_width *= double(view->frame_high[0]) - view->frame_low[0];
        view->pixel_height *= double(view->frame_high[1]) - view->frame_low[1];
    }
    return 1;
}

namespace zr
{

namespace
{

prepare_projection preparation_of(int32_t projection)
{
    switch (projection)
    {
    case PROJECTION_PARALLEL:
        return prepare_parallel;
    case PROJECTION_CYLINDER:
        return prepare_cylinder;
    case PROJECTION_SPHERE:
        return prepare_sphere;
    case PROJECTION_PROBE:
        return prepare_probe;
    default:
        return prepare_perspective;
    }
}

void prepare_parallel(render_view&) {} // the host has set the image size

void prepare_cylinder(render_view& view)
{
    projection_state.pano_flat = level_direction(view.back, { 1, 0, 0 });
    view.image_height = 2.0 * std::tan(view.pano_fov / 2.0);
    view.image_width = view.pano_angle;
}

void prepare_sphere(render_view& view)
{
    projection_state_record& s = projection_state;
    s.pano_flat = level_direction(view.back, { 1, 0, 0 });
    zr_make_axes(&s.pano_flat, &s.pano_axis_a, &s.pano_axis_b, 1e-6);
    s.pano_flat = -s.pano_flat;
    view.image_height = pi;
    view.image_width = two_pi;
}

void prepare_probe(render_view& view)
{
    const vector3 b = level_direction(-view.back, { 0, 0.1, 0 });
    const vector3 a = cross(b, { 0, 0, 1 });
    const vector3 c = cross(a, b);
    for (int i = 0; i < 3; ++i)
    {
        projection_state.probe_matrix[i][0] = component(a, i);
        projection_state.probe_matrix[i][1] = component(b, i);
        projection_state.probe_matrix[i][2] = component(c, i);
    }
    view.image_width = two_pi;
    view.image_height = pi;
}

/// The level part of `v` at unit length, `fallback` where there is none.
vector3 level_direction(const vector3& v, const vector3& fallback)
{
    if (std::fabs(v.x) < geometry_zero && std::fabs(v.y) < geometry_zero) { return fallback; }
    return normalized({ v.x, v.y, 0.0 });
}

bool check_view(const render_view& view, prepare_projection prepare)
{
    if (view.width < 1 || view.height < 1)
    {
        return report_failure(
            ZR_ERROR_ARGUMENT, "view: the picture is %d by %d pixels", view.width, view.height);
    }
    if (prepare != prepare_perspective) { return true; }
    if (!(view.lens_length > 0.0) || !std::isfinite(view.lens_length))
    {
        return report_failure(
            ZR_ERROR_ARGUMENT, "view: lens_length is %g; it must be above 0", view.lens_length);
    }
    if (!(length(view.position - view.target) > 0.0))
    {
        return report_failure(ZR_ERROR_ARGUMENT, "view: eye and target are the same point");
    }
    return true;
}

void prepare_perspective(render_view& view)
{
    const double d = length(view.position - view.target);
    const double h = half_film / view.lens_length;
    if (view.pixel_aspect == 0.0) { view.pixel_aspect = 1.0; }
    const double frame = has_sub_frame(view) ? 1.0 / view.frame_aspect : double(view.width) / view.height;
    const double a = frame / view.pixel_aspect;
    const double t = std::atan(h / a);
    const double tilt = std::asin(std::fmin(std::fmax(-view.back.z, -1.0), 1.0));
    view.image_width = 2.0 * h * d;
    view.image_height = view.image_width / a;

    projection_state_record& s = projection_state;
    if (view.projection != PROJECTION_TWO_POINT || tilt == 0.0 || !(view.up.z > 0.0)) { return; }
    const double c = std::cos(tilt) * d;
    const double m = std::tan(tilt) * c;
    s.two_point = 1;
    s.two_point_low = m - std::tan(t) * d;
    view.image_height = (m + std::tan(t) * d) - s.two_point_low;
    view.image_width = a * view.image_height;
    s.two_point_target = view.target;
    s.two_point_distance = c;
    s.two_point_near = std::cos(tilt) * view.near;
}

bool has_sub_frame(const render_view& view)
{
    return view.projection == PROJECTION_PERSPECTIVE && view.frame_aspect > 0.0f;
}

} // namespace

} // namespace zr
