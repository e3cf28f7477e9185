/// @file
/// Euler angles about fixed axes: the matrix is Rz Ry Rx S.
#include "host/models/model_transform.hpp"
#include "host/vectors.hpp"

#include <cmath>

namespace host
{

namespace
{

void sine_cosine_deg(double degrees, double& s, double& c);

} // namespace

transform transform_of(const scene_model& model)
{
    transform t{};
    if (model.matrix)
    {
        for (int i = 0; i < 12; ++i) { t.m[i / 4][i % 4] = (*model.matrix)[i]; }
        return t;
    }
    double s[3], c[3];
    for (int axis = 0; axis < 3; ++axis) { sine_cosine_deg(model.rotate[axis], s[axis], c[axis]); }
    const double turn[3][3] = {
        { c[2] * c[1], c[2] * s[1] * s[0] - s[2] * c[0], c[2] * s[1] * c[0] + s[2] * s[0] },
        { s[2] * c[1], s[2] * s[1] * s[0] + c[2] * c[0], s[2] * s[1] * c[0] - c[2] * s[0] },
        { -s[1], c[1] * s[0], c[1] * c[0] },
    };
    for (int row = 0; row < 3; ++row)
    {
        for (int column = 0; column < 3; ++column)
        {
            t.m[row][column] = turn[row][column] * model.scale[column];
        }
        t.m[row][3] = model.translate[row];
    }
    return t;
}

vector3 apply(const transform& t, double x, double y, double z)
{
    const auto row = [&](int i) { return t.m[i][0] * x + t.m[i][1] * y + t.m[i][2] * z + t.m[i][3]; };
    return { row(0), row(1), row(2) };
}

namespace
{

/// Exact at quarter turns, so that walls stay square to the axes.
void sine_cosine_deg(double degrees, double& s, double& c)
{
    const double quarter = std::remainder(degrees, 360) / 90;
    if (quarter == std::round(quarter))
    {
        const int q = (int(quarter) + 4) % 4;
        s = q == 1 ? 1 : q == 3 ? -1 : 0;
        c = q == 0 ? 1 : q == 2 ? -1 : 0;
        return;
    }
    const double angle_rad = degrees * pi / 180;
    s = std::sin(angle_rad);
    c = std::cos(angle_rad);
}

} // namespace

} // namespace host
