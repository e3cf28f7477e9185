#include "zirconlite/lighting/sun_tables.hpp"

#include <algorithm>
#include <iterator>

#include "zirconlite/geometry/vector.hpp"

namespace zr
{

namespace
{

constexpr yearly_point equation_of_time[] = { { 1, -2.0 }, { 31, -13.5 }, { 46, -14.8 }, { 59, -13.5 },
    { 90, -6.0 }, { 104, 0.0 }, { 121, 2.3 }, { 140, 3.5 }, { 151, 3.0 }, { 181, -3.5 }, { 207, -6.2 },
    { 222, -5.8 }, { 235, -5.0 }, { 242, -1.0 }, { 272, 9.0 }, { 302, 15.5 }, { 333, 12.2 }, { 365, -2.0 } };

constexpr yearly_point declination[] = { { 1, -22.98 }, { 3, -22.8333 }, { 10, -22.0 }, { 17, -20.8333 },
    { 24, -19.3333 }, { 31, -17.5 }, { 38, -15.5 }, { 45, -13.25 }, { 52, -10.8333 }, { 59, -8.25 },
    { 66, -5.5833 }, { 73, -2.8333 }, { 80, 0 }, { 87, 2.8333 }, { 95, 5.9167 }, { 102, 9.5 }, { 109, 11.0 },
    { 116, 13.3333 }, { 124, 15.75 }, { 131, 17.6667 }, { 138, 19.4167 }, { 145, 20.8333 }, { 152, 21.9167 },
    { 159, 22.75 }, { 166, 23.25 }, { 173, 23.5 }, { 180, 23.25 }, { 187, 22.75 }, { 194, 21.9167 },
    { 201, 20.8333 }, { 208, 19.4167 }, { 215, 17.6667 }, { 222, 15.75 }, { 230, 13.3333 }, { 237, 11.0 },
    { 244, 9.5 }, { 251, 5.9167 }, { 259, 2.8333 }, { 266, 0 }, { 274, -2.8333 }, { 281, -5.5833 },
    { 288, -8.25 }, { 295, -10.8333 }, { 302, -13.25 }, { 309, -15.5 }, { 316, -17.5 }, { 323, -19.3333 },
    { 330, -20.8333 }, { 337, -22.0 }, { 344, -22.8333 }, { 351, -23.3333 }, { 356, -23.5 },
    { 361, -23.3333 }, { 365, -23.1 } };

/// By the sun's zenith angle in steps of 5 degrees, for cloudiness 0, 0.5 and 1.
constexpr double sky_factors[22][3] = { { 1.034, 0.637, 0.409 }, { 0.825, 0.567, 0.409 },
    { 0.664, 0.501, 0.409 }, { 0.541, 0.457, 0.409 }, { 0.445, 0.413, 0.409 }, { 0.371, 0.375, 0.409 },
    { 0.314, 0.343, 0.409 }, { 0.269, 0.315, 0.409 }, { 0.234, 0.292, 0.409 }, { 0.206, 0.272, 0.409 },
    { 0.185, 0.255, 0.409 }, { 0.169, 0.241, 0.409 }, { 0.156, 0.230, 0.409 }, { 0.148, 0.221, 0.409 },
    { 0.142, 0.214, 0.409 }, { 0.139, 0.209, 0.409 }, { 0.139, 0.205, 0.409 }, { 0.140, 0.202, 0.409 },
    { 0.144, 0.201, 0.409 }, { 0.1, 0.1, 0.1 }, { 0, 0, 0 }, { 0, 0, 0 } };

constexpr double lowest_sun = -0.1963;                // radians; the sky is black below
constexpr double rows_per_radian = 11.45915590294399; // one row in 5 degrees

double interpolate(const yearly_point* points, size_t count, int day);

} // namespace

double table_equation_of_time(int day)
{
    return interpolate(equation_of_time, std::size(equation_of_time), day);
}

double table_declination_deg(int day) { return interpolate(declination, std::size(declination), day); }

double table_sky_factor(double altitude, double cloudiness)
{
    if (!(altitude >= lowest_sun)) { return 0.0; }
    const double z = std::clamp((half_pi - altitude) * rows_per_radian, 0.0, 20.999);
    const int row = int(z);
    const double g = z - row;
    const int column = cloudiness < 0.5 ? 0 : 1;
    const double w = column == 0 ? 2.0 * cloudiness : 2.0 * (cloudiness - 0.5);
    const auto mixed = [&](int r)
    { return (1.0 - w) * sky_factors[r][column] + w * sky_factors[r][column + 1]; };
    return (1.0 - g) * mixed(row) + g * mixed(row + 1);
}

namespace
{

double interpolate(const yearly_point* points, size_t count, int day)
{
    day = std::clamp(day, points[0].day, points[count - 1].day);
    size_t i = 0;
    while (points[i].day < day) { ++i; }
    if (points[i].day == day) { return points[i].amount; }
    const yearly_point &a = points[i - 1], &b = points[i];
    return a.amount + (b.amount - a.amount) * (day - a.day) / (b.day - a.day);
}

} // namespace

} // namespace zr
