#include "host/build/camera_fit.hpp"
#include "host/vectors.hpp"

#include <algorithm>
#include <cmath>

namespace host
{

namespace
{

constexpr double fit_fov_deg = 40; // little perspective and no distortion
constexpr double film_mm = 36;     // width of the film that lens_mm is about
constexpr double margin = 1.06;    // of the picture's size to the models'
constexpr double eye_height = 1.6; // metres, in panoramas
constexpr int last_flat_projection = 3;

/// From the models towards the camera: degrees from north by east, and above the horizon.
struct side_row
{
    double azimuth_deg, altitude_deg;
};
constexpr side_row sides[] = { { 145, 22 }, { 180, 0 }, { 0, 0 }, { 270, 0 }, { 90, 0 }, { 180, 90 } };
static_assert(std::size(sides) == std::size(view_names) - 1);

/// The camera's axes for a side: to the right, up and back in the picture.
struct axes
{
    vec3 right, up, back;
};

double dot(const vec3& a, const vec3& b);
vec3 along(const vec3& from, const vec3& direction, double distance);
axes axes_of(const side_row& side);
double half_width(const scene_camera& c);

} // namespace

void fit_camera(scene_camera& c, const bounding_box& bounds, double aspect)
{
    vec3 low{ bounds.min.x, bounds.min.y, bounds.min.z }, high{ bounds.max.x, bounds.max.y, bounds.max.z };
    vec3 middle, half;
    for (size_t i = 0; i < 3; ++i)
    {
        middle[i] = (low[i] + high[i]) / 2;
        half[i] = std::max((high[i] - low[i]) / 2, 0.0);
    }
    if (dot(half, half) == 0) { half.fill(0.5); }
    if (c.projection > last_flat_projection)
    {
        middle[2] = low[2] + std::min(eye_height, half[2]);
        c.eye = middle;
        c.target = along(middle, { 0, 1, 0 }, 1);
        return;
    }
    if (!c.lens_mm && !c.fov_deg) { c.fov_deg = fit_fov_deg; }
    const axes a = axes_of(sides[c.view]);
    const vec3 target = c.target.value_or(middle);
    const double tan_x = half_width(c), tan_y = tan_x / aspect;
    double distance = 0, width = 0;
    for (int corner = 0; corner < 8; ++corner)
    {
        vec3 at;
        for (size_t i = 0; i < 3; ++i)
        {
            at[i] = middle[i] + (corner >> i & 1 ? half[i] : -half[i]) - target[i];
        }
        const double x = std::fabs(dot(at, a.right)), y = std::fabs(dot(at, a.up)), z = dot(at, a.back);
        distance = std::max({ distance, z + margin * x / tan_x, z + margin * y / tan_y });
        width = std::max({ width, 2 * margin * x, 2 * margin * y * aspect });
    }
    c.target = target;
    c.eye = along(target, a.back, std::max(distance, 1e-6));
    if (!c.parallel_width) { c.parallel_width = width; }
    if (c.view == view_top) { c.up = { 0, 1, 0 }; }
}

namespace
{

double dot(const vec3& a, const vec3& b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }

vec3 along(const vec3& from, const vec3& direction, double distance)
{
    return { from[0] + distance * direction[0], from[1] + distance * direction[1],
        from[2] + distance * direction[2] };
}

axes axes_of(const side_row& side)
{
    const double a = side.azimuth_deg * radians, h = side.altitude_deg * radians;
    return { { -std::cos(a), std::sin(a), 0 },
        { -std::sin(a) * std::sin(h), -std::cos(a) * std::sin(h), std::cos(h) },
        { std::sin(a) * std::cos(h), std::cos(a) * std::cos(h), std::sin(h) } };
}

/// Tangent of half the horizontal angle of view.
double half_width(const scene_camera& c)
{
    if (c.fov_deg) { return std::tan(*c.fov_deg / 2 * radians); }
    return film_mm / 2 / c.lens_mm.value_or(28);
}

} // namespace

} // namespace host
