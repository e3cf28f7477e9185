/// @file
/// Inline vector arithmetic for the library's own code, in double precision.
#pragma once

#include <cmath>

#include "zirconlite/geometry/vector.h"

namespace zr
{

inline constexpr double far_below = -1e15;     ///< below every coordinate, as ZR_FAR is above
inline constexpr double geometry_zero = 1e-10; ///< below this in size a length or product counts as zero
inline constexpr double pi = 3.1415926535;     ///< the system's own short decimals, on purpose
inline constexpr double two_pi = 6.283185307;
inline constexpr double half_pi = 1.57079632675;
inline constexpr double inverse_pi = 0.318309886184;

inline vector3 operator+(const vector3& a, const vector3& b) { return { a.x + b.x, a.y + b.y, a.z + b.z }; }
inline vector3 operator-(const vector3& a, const vector3& b) { return { a.x - b.x, a.y - b.y, a.z - b.z }; }
inline vector3 operator-(const vector3& a) { return { -a.x, -a.y, -a.z }; }
inline vector3 operator*(const vector3& a, double s) { return { a.x * s, a.y * s, a.z * s }; }
inline vector3 operator*(double s, const vector3& a) { return a * s; }
inline vector3& operator+=(vector3& a, const vector3& b) { return a = a + b; }
inline vector3& operator-=(vector3& a, const vector3& b) { return a = a - b; }
inline double dot(const vector3& a, const vector3& b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
inline vector3 cross(const vector3& a, const vector3& b)
{
    return { a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x };
}
inline double length(const vector3& a) { return std::sqrt(dot(a, a)); }

/// Unit length; a vector of length 0 stays as it is.
inline vector3 normalized(const vector3& a)
{
    const double l = length(a);
    return l != 0.0 ? a * (1.0 / l) : a;
}

inline double component(const vector3& a, int axis) { return axis == 0 ? a.x : axis == 1 ? a.y : a.z; }
inline double& component(vector3& a, int axis) { return axis == 0 ? a.x : axis == 1 ? a.y : a.z; }

inline vector3 transform_point(const matrix4& m, const vector3& p)
{
    return { m.m[0][0] * p.x + m.m[0][1] * p.y + m.m[0][2] * p.z + m.m[0][3],
        m.m[1][0] * p.x + m.m[1][1] * p.y + m.m[1][2] * p.z + m.m[1][3],
        m.m[2][0] * p.x + m.m[2][1] * p.y + m.m[2][2] * p.z + m.m[2][3] };
}
inline vector3 transform_vector(const matrix4& m, const vector3& v)
{
    return { m.m[0][0] * v.x + m.m[0][1] * v.y + m.m[0][2] * v.z,
        m.m[1][0] * v.x + m.m[1][1] * v.y + m.m[1][2] * v.z,
        m.m[2][0] * v.x + m.m[2][1] * v.y + m.m[2][2] * v.z };
}

/// `v` turned by `angle_rad` about the unit vector `axis`.
vector3 rotated(const vector3& v, const vector3& axis, double angle_rad);
/// `v` turned about world z.
inline vector3 rotated_about_z(const vector3& v, double angle_rad)
{
    const double c = std::cos(angle_rad), s = std::sin(angle_rad);
    return { v.x * c - v.y * s, v.x * s + v.y * c, v.z };
}

/// 1 / d as rays need it: a component too small to divide by gives 1e12 when 0 or above, else -1e15.
inline double ray_reciprocal(double d)
{
    if (std::fabs(d) < geometry_zero) { return d >= 0.0 ? ZR_FAR : far_below; }
    return 1.0 / d;
}
inline vector3 ray_reciprocal(const vector3& d)
{
    return { ray_reciprocal(d.x), ray_reciprocal(d.y), ray_reciprocal(d.z) };
}

/// Luminance of linear colours, the weights of the whole system.
template <class T> inline double luminance(const T rgb[3])
{
    return 0.3 * rgb[0] + 0.6 * rgb[1] + 0.1 * rgb[2];
}

/// Divides both elements by the larger before taking the length, so that squares cannot overflow; a vector
/// of length 0 becomes 0, 0.
inline void normalize_2d(double v[2])
{
    const double larger = std::fmax(std::fabs(v[0]), std::fabs(v[1]));
    if (larger == 0.0)
    {
        v[0] = v[1] = 0.0;
        return;
    }
    v[0] /= larger;
    v[1] /= larger;
    const double l = std::sqrt(v[0] * v[0] + v[1] * v[1]);
    v[0] /= l;
    v[1] /= l;
}

packed_normal pack_normal(const vector3& n);
vector3 unpack_normal(packed_normal n);

inline double clamp_to_unit(double x) { return std::fmin(std::fmax(x, 0.0), 1.0); }

/// Uniform in 0 to 1 from the runtime's 15-bit generator.
double random_unit();

inline constexpr bounding_box empty_box = { { ZR_FAR, ZR_FAR, ZR_FAR }, { far_below, far_below, far_below } };

inline bool is_finite(const vector3& v)
{
    return std::isfinite(v.x) && std::isfinite(v.y) && std::isfinite(v.z);
}

inline void grow(bounding_box& box, const vector3& p)
{
    if (p.x < box.min.x) { box.min.x = p.x; }
    if (p.y < box.min.y) { box.min.y = p.y; }
    if (p.z < box.min.z) { box.min.z = p.z; }
    if (p.x > box.max.x) { box.max.x = p.x; }
    if (p.y > box.max.y) { box.max.y = p.y; }
    if (p.z > box.max.z) { box.max.z = p.z; }
}

} // namespace zr
