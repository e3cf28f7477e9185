#include "zirconlite/sampling/lobe.hpp"

#include <algorithm>

#include "zirconlite/raytrace/sample_pattern.hpp"

namespace zr
{

namespace
{

/// An even square of half-width `spread` / 2 and a lobe cos^n blur alike where their variances are equal.
double exponent_of_spread(double spread)
{
    return spread > 0.0 ? std::fmax(12.0 / (spread * spread) - 1.0, 1.0) : 0.0;
}

/// Mirrors of less than three fifths of what is not clear are slightly blurred, the fainter the more.
double mirror_exponent(const surface& s, double fresnel)
{
    if (s.flags & SURFACE_SHARP_REFLECTION) { return 0.0; }
    const double mirrored = s.reflect + fresnel, all = s.diffuse + mirrored;
    const double share = all > 0.0 ? std::clamp(mirrored / all, 0.0, 1.0) : 1.0;
    return exponent_of_spread(2.0 * (1.0 - std::fmin(share * 0.05 + 0.97, 1.0)));
}

} // namespace

specular_lobe lobe_of(const surface& s, double fresnel)
{
    specular_lobe lobe = { 0.0, {}, s.diffuse };
    for (int i = 0; i < 3; ++i) { lobe.reflected[i] = double(s.reflect_color[i]) * s.reflect; }
    if (!(s.flags & SURFACE_OWN_LOBE) || !(s.highlight > 1.0f))
    {
        lobe.exponent = mirror_exponent(s, fresnel);
        return lobe;
    }
    lobe.exponent = s.highlight;
    // The strength is that of a highlight of m^n; over all directions it returns this share.
    const double wanted = s.highlight_strength * 2.0 * M_PI / (lobe.exponent + 1.0);
    const double share = std::clamp(wanted, 0.0, double(s.diffuse));
    lobe.diffuse -= share;
    for (int i = 0; i < 3; ++i) { lobe.reflected[i] += share * std::fmin(s.highlight_color[i], 1.0f); }
    return lobe;
}

double frosted_exponent(const surface& s)
{
    const double passing = double(s.transparent) + s.translucent;
    if ((s.flags & SURFACE_SHARP_TRANSMISSION) || !(passing > 0.0)) { return 0.0; }
    if ((s.flags & SURFACE_OWN_LOBE) && s.translucent > 0.0f && s.highlight > 1.0f) { return s.highlight; }
    return exponent_of_spread(0.2 - 0.2 * s.transparent / passing);
}

vector3 sample_lobe(const vector3& axis, double exponent, const unit_pair& at)
{
    vector3 u, v;
    zr_make_axes(&axis, &u, &v, 1e-4);
    const double cosine = std::pow(1.0 - at.u, 1.0 / (exponent + 1.0));
    const double sine = std::sqrt(std::fmax(1.0 - cosine * cosine, 0.0));
    double along, aside;
    turned(at.v, along, aside);
    return normalized(cosine * axis + (sine * along) * u + (sine * aside) * v);
}

double lobe_density(double cosine, double exponent)
{
    constexpr double nothing = 40.0; // e^-40 of the lobe's height
    if (!(cosine > 0.0) || exponent * (1.0 - cosine) > nothing) { return 0.0; }
    return (exponent + 1.0) / (2.0 * M_PI) * std::pow(std::fmin(cosine, 1.0), exponent);
}

} // namespace zr
