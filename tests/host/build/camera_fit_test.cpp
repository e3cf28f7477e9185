// A fitted camera has all of the models in its picture, and no smaller than needed.
#include "host/build/camera_fit.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

using namespace host;

namespace
{

vec3 minus(const vec3& a, const vec3& b) { return { a[0] - b[0], a[1] - b[1], a[2] - b[2] }; }
double dot(const vec3& a, const vec3& b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }
vec3 cross(const vec3& a, const vec3& b)
{
    return { a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0] };
}
vec3 unit(const vec3& a)
{
    const double length = std::sqrt(dot(a, a));
    return { a[0] / length, a[1] / length, a[2] / length };
}

/// How far the box reaches towards the picture's edges: 1 is at an edge.
double reach(const scene_camera& c, const bounding_box& box, double aspect)
{
    const vec3 back = unit(minus(*c.eye, *c.target)), right = unit(cross(c.up, back)),
               up = cross(back, right);
    const double tan_x = std::tan(*c.fov_deg / 2 * 3.14159265358979 / 180), tan_y = tan_x / aspect;
    double most = 0;
    for (int i = 0; i < 8; ++i)
    {
        const vec3 corner{ i & 1 ? box.max.x : box.min.x, i & 2 ? box.max.y : box.min.y,
            i & 4 ? box.max.z : box.min.z };
        const vec3 at = minus(corner, *c.eye);
        const double depth = -dot(at, back);
        EXPECT_GT(depth, 0);
        most = std::max(
            { most, std::fabs(dot(at, right)) / depth / tan_x, std::fabs(dot(at, up)) / depth / tan_y });
    }
    return most;
}

} // namespace

TEST(CameraFit, HasTheModelsInThePicture)
{
    struct
    {
        const char* what;
        bounding_box box;
    } const cases[] = {
        { "a house", { { -4, 2, 0 }, { 8, 10, 6 } } },
        { "a tower", { { 0, 0, 0 }, { 1, 1, 300 } } },
        { "a field", { { -1e4, -1e4, -0.01 }, { 1e4, 1e4, 0 } } },
        { "a screw far away", { { 1000, 1000, 1000 }, { 1000.01, 1000.01, 1000.02 } } },
    };
    for (const auto& c : cases)
    {
        for (int view = 0; view_names[view]; ++view)
        {
            for (const double aspect : { 0.5, 1.0, 1.5, 4.0 })
            {
                SCOPED_TRACE(std::string(c.what) + " " + view_names[view] + " " + std::to_string(aspect));
                scene_camera camera;
                camera.view = view;
                fit_camera(camera, c.box, aspect);
                const double most = reach(camera, c.box, aspect);
                EXPECT_LE(most, 1);
                EXPECT_GT(most, 0.9);
            }
        }
    }
    scene_camera front;
    front.view = 1;
    fit_camera(front, cases[0].box, 1);
    EXPECT_LT((*front.eye)[1], 2); // from the south
    scene_camera probe;
    probe.projection = 5;
    fit_camera(probe, cases[0].box, 1);
    EXPECT_EQ(*probe.eye, (vec3{ 2, 6, 1.6 })); // a panorama is taken inside
}
