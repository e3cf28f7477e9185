#include "zirconlite/raytrace/lit_point.hpp"

#include <cmath>

#include "zirconlite/frame/job_state.hpp"
#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/lighting/light_model.hpp"

namespace zr
{

namespace
{

/// 1 / d^falloff. The fast model lets no light be amplified beyond pi times its intensity; in the exact one
/// a light at distance 0 gives nothing.
double distance_factor(double distance, double falloff)
{
    const double d = falloff == 2.0 ? distance * distance : std::pow(distance, falloff);
    if (is_exact()) { return d > 0.0 ? 1.0 / d : 0.0; }
    return 1.0 / std::fmax(d, fast_shortcuts.min_square);
}

void add_highlight(
    const lit_point& p, const light& source, double f, const source_sample& sample, float potential[3])
{
    const bool gives = potential[0] > 0.0f || potential[1] > 0.0f || potential[2] > 0.0f;
    if (!p.mirror || !gives || !(p.s.highlight > 1.0f) || (p.object_flags & OBJECT_NO_HIGHLIGHT) ||
        (source.flags & LIGHT_NO_HIGHLIGHT) || !(f > geometry_zero))
    {
        return;
    }
    const double m = std::fmin(dot(sample.direction, *p.mirror), 1.0);
    if (!(m > 0.0)) { return; }
    const double h = std::pow(m, double(p.s.highlight)) * p.s.highlight_strength * f;
    for (int i = 0; i < 3; ++i) { potential[i] += float(p.s.highlight_color[i] * h * sample.color[i]); }
}

} // namespace

void measure_sample(const lit_point& p, const light& source, const vector3& towards, source_sample& sample,
    float potential[3])
{
    const double f = source.falloff == 0.0 ? 1.0 : distance_factor(sample.distance, source.falloff);
    const double cosine = dot(towards, p.r.shading_normal);
    double w = 0.0;
    sample.flags = 0;
    if (cosine > 0.0) { w = p.s.diffuse * f * cosine * inverse_pi; }
    else if (p.s.translucent != 0.0f)
    {
        sample.flags |= SAMPLE_BACK_SIDE;
        w = p.s.translucent * f * -cosine * inverse_pi;
    }
    for (int i = 0; i < 3; ++i) { potential[i] = float(w * sample.color[i] * p.s.color[i]); }
    if (cosine > 0.0) { add_highlight(p, source, f, sample, potential); }
}

ray shadow_ray_of(const lit_point& p, const source_sample& sample)
{
    return make_shadow_ray(p.doc, p.r, p.s, { 0.01, 0.003333, (sample.flags & SAMPLE_BACK_SIDE) != 0 });
}

} // namespace zr
