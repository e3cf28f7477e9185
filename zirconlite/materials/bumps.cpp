#include "zirconlite/materials/bumps.h"

#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/materials/noise.h"

using namespace zr;

namespace
{

void tilt(vector3* normal, const vector3& by, double strength);
vector3 nearest_axis(const vector3& n);

} // namespace

void zr_bump_rubble(const vector3* point, vector3* normal, double strength)
{
    double t[3];
    turb3(point, t, 4);
    tilt(normal, vector3{ t[0], t[1], t[2] } * 0.75, strength);
}

void zr_bump_sandpaper(const vector3* point, vector3* normal, double strength)
{
    double t[3];
    zr_noise(point, t, 3);
    tilt(normal, { t[0], t[1], t[2] }, strength);
}

void zr_bump_pyramid(const vector3* point, vector3* normal, double strength)
{
    const vector3 a = nearest_axis(*normal);
    // A ceiling gets the frame of a floor turned over, so that it shows relief like every other side.
    vector3 u = { -a.y, a.x, 0 };
    if (a.z > 0.0) { u = { 1, 0, -1 }; }
    else if (a.z < 0.0) { u = { -1, 0, -1 }; }
    u = normalized(u);
    const vector3 v = cross(a, u);
    const double f = point->x - std::floor(point->x), g = point->y - std::floor(point->y);
    vector3 n = *normal;
    if (f <= g) { n += f < 1.0 - g ? u * -strength : v * strength; }
    else { n += f <= 1.0 - g ? v * -strength : u * strength; }
    *normal = normalized(n);
}

namespace
{

void tilt(vector3* normal, const vector3& by, double strength)
{
    const vector3 m = normalized(*normal + by);
    *normal = normalized(*normal * (1.0 - strength) + m * strength);
}

/// The signed unit axis nearest to `n`.
vector3 nearest_axis(const vector3& n)
{
    const double x = std::fabs(n.x), y = std::fabs(n.y), z = std::fabs(n.z);
    if (x >= y && x >= z) { return { n.x < 0.0 ? -1.0 : 1.0, 0, 0 }; }
    if (y >= z) { return { 0, n.y < 0.0 ? -1.0 : 1.0, 0 }; }
    return { 0, 0, n.z < 0.0 ? -1.0 : 1.0 };
}

} // namespace
