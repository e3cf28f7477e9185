/// @file
/// Reflection and refraction at the surface of a clear body.
#pragma once

#include "zirconlite/geometry/vector.hpp"

namespace zr
{

/// Direction behind a surface, after Snell's law: `i` unit and `n` a unit normal against it, `c` = -(i . n),
/// `e` the index on the ray's side over the index behind. False on total reflection, with the mirror
/// direction in `out`.
inline bool refract(const vector3& i, const vector3& n, double e, double c, vector3& out)
{
    const double k = 1.0 - (1.0 - c * c) * e * e;
    if (k > 0.0)
    {
        out = e * i + (e * c - std::sqrt(k)) * n;
        return true;
    }
    out = i + 2.0 * c * n;
    return false;
}

/// Shares of the two polarised waves that a surface mirrors.
struct polarised_reflectance
{
    double s, p;
};

/// Fresnel's equations for a cosine of incidence `c` and the index behind over the index on the ray's side.
/// 1 on total reflection.
inline polarised_reflectance fresnel_waves(double c, double relative_ior)
{
    const double sine_squared = (1.0 - c * c) / (relative_ior * relative_ior);
    if (sine_squared >= 1.0) { return { 1.0, 1.0 }; }
    const double t = std::sqrt(1.0 - sine_squared);
    const double s = (c - relative_ior * t) / (c + relative_ior * t);
    const double p = (relative_ior * c - t) / (relative_ior * c + t);
    return { s * s, p * p };
}

/// Share of unpolarised light that a surface mirrors.
inline double fresnel_reflectance(double c, double relative_ior)
{
    const polarised_reflectance f = fresnel_waves(c, relative_ior);
    return 0.5 * (f.s + f.p);
}

/// The same of a pane: two surfaces with all reflections between them, 2 F / (1 + F). What has passed the
/// first surface is polarised, so each wave goes its own way through the series and the mean is taken behind
/// it.
inline double pane_reflectance(double c, double ior)
{
    const polarised_reflectance f = fresnel_waves(c, ior);
    return f.s / (1.0 + f.s) + f.p / (1.0 + f.p);
}

/// The fast light model's stand-in for Fresnel's equations: (1 - c) ^ (3 / (ior - 1)), 0 up to an index of
/// 1.001.
inline double grazing_reflectance(double c, double ior)
{
    return ior > 1.001 ? std::pow(std::fmax(1.0 - c, 0.0), 3.0 / (ior - 1.0)) : 0.0;
}

} // namespace zr
