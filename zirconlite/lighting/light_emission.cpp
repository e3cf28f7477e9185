#include "zirconlite/lighting/light_emission.hpp"

#include <algorithm>
#include <cmath>
#include <iterator>

#include "zirconlite/frame/job_state.hpp"
#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/lighting/goniometry.hpp"
#include "zirconlite/lighting/light_model.hpp"

namespace
{

constexpr int32_t max_shadow_samples = 4096;
constexpr double max_length = 1e12; // lengths and coordinates, metres
constexpr float max_strength = 1e12f;
constexpr double max_power = 1e30; // lumens of a distant light over an absurd scene

/// How strengths follow from the one that was set; every distribution that is not listed is isotropic.
struct strength_row
{
    int32_t distribution;
    int32_t (*derive)(light* l);
};
constexpr strength_row strengths[] = {
    { DISTRIBUTION_SPOT, zr_get_spot_brightness },
    { DISTRIBUTION_GONIOMETRIC, zr_get_goniometric_brightness },
    { DISTRIBUTION_DIFFUSE, zr_get_diffuse_brightness },
};

template <class T> T clamp_or(T value, T low, T high, T neutral)
{
    return std::isfinite(value) ? std::clamp(value, low, high) : neutral;
}

void clamp_point(vector3& p)
{
    p.x = clamp_or(p.x, -max_length, max_length, 0.0);
    p.y = clamp_or(p.y, -max_length, max_length, 0.0);
    p.z = clamp_or(p.z, -max_length, max_length, 0.0);
}

bool is_zero(const vector3& v) { return zr::dot(v, v) == 0.0; }

void clamp_frame(light& l)
{
    using zr::operator-;
    clamp_point(l.aim_point);
    clamp_point(l.normal);
    if (is_zero(l.normal)) { l.normal = l.aim_point - l.position; }
    if (is_zero(l.normal)) { l.normal = { 0.0, 0.0, -1.0 }; }
    l.normal = zr::normalized(l.normal);
    const bool has_axes =
        zr::is_finite(l.axis_u) && zr::is_finite(l.axis_v) && !is_zero(l.axis_u) && !is_zero(l.axis_v);
    if (!has_axes) { zr_make_axes(&l.normal, &l.axis_u, &l.axis_v, 0.01); }
}

} // namespace

namespace zr
{

void clamp_light_to_ranges(light& l)
{
    clamp_point(l.position);
    clamp_frame(l);
    for (double* size : { &l.length, &l.height, &l.radius, &l.area })
    {
        *size = clamp_or(*size, 0.0, max_length, 0.0);
    }
    l.vertex_count = std::clamp(l.vertex_count, 0, LIGHT_MAX_VERTICES);
    for (vector3& v : l.vertices) { clamp_point(v); }
    l.name[std::size(l.name) - 1] = 0;
    l.host_data_size = std::min(l.host_data_size, uint32_t(sizeof(l.host_data)));
    for (float* strength : { &l.lumens, &l.candela, &l.watts, &l.simple_brightness })
    {
        *strength = clamp_or(*strength, 0.0f, max_strength, 0.0f);
    }
    for (float& f : l.filter) { f = clamp_or(f, 0.0f, max_strength, 1.0f); }
    l.bulb_index = std::min(l.bulb_index, 6u);
    l.dimmer = clamp_or(l.dimmer, 0.0f, 1000.0f, 0.0f);
    l.fixture_scale = clamp_or(l.fixture_scale, 0.0f, max_strength, 0.0f);
    for (float* angle : { &l.beam_angle, &l.field_angle })
    {
        *angle = clamp_or(*angle, 0.0f, float(pi), 0.0f);
    }
    l.falloff = clamp_or(l.falloff, 0.0, 16.0, 2.0);
    l.shadow_strength = clamp_or(l.shadow_strength, 0.0, 1.0, 1.0);
    l.opacity = clamp_or(l.opacity, 0.0f, 0.999f, 0.0f);
    l.azimuth = std::isfinite(l.azimuth) ? l.azimuth : 0.0;
    l.altitude = std::isfinite(l.altitude) ? l.altitude : half_pi;
    l.shadow_samples = std::clamp(l.shadow_samples, 1, max_shadow_samples);
    l.sample_jitter = clamp_or(l.sample_jitter, 0.0f, 1.0f, 0.0f);
    l.disc_size = clamp_or(l.disc_size, 0.0f, 2.0f, 0.0f);
}

void square_axes(light& l)
{
    const vector3 u = l.axis_u - dot(l.axis_u, l.normal) * l.normal;
    if (length(u) < 1e-6 * length(l.axis_u)) { zr_make_axes(&l.normal, &l.axis_u, &l.axis_v, 0.01); }
    else
    {
        const vector3 v = cross(l.normal, u);
        l.axis_u = normalized(u);
        l.axis_v = normalized(dot(v, l.axis_v) < 0.0 ? -v : v);
    }
}

void derive_brightness(light& l)
{
    if (l.type == LIGHT_AREA && l.distribution == DISTRIBUTION_DEFAULT)
    {
        zr_get_diffuse_brightness(&l);
        return;
    }
    for (const strength_row& row : strengths)
    {
        if (row.distribution == l.distribution)
        {
            row.derive(&l);
            return;
        }
    }
    zr_get_isotropic_brightness(&l);
}

double parallel_illuminance(const light& l)
{
    const double squared = double(l.dimmer) * l.dimmer;
    return squared * squared * 100000.0;
}

float parallel_lumens(const light& l) { return lumens_on(l.world_bounds, l.normal, parallel_illuminance(l)); }

float lumens_on(const bounding_box& box, const vector3& normal, double illuminance)
{
    const vector3 size = box.max - box.min;
    if (!is_finite(size) || size.x < 0.0 || size.y < 0.0 || size.z < 0.0) { return 0.0f; }
    const double projected_area = std::fabs(normal.x) * size.y * size.z +
                                  std::fabs(normal.y) * size.z * size.x +
                                  std::fabs(normal.z) * size.x * size.y;
    return float(std::min(illuminance * projected_area, max_power));
}

double spot_factor(const light& l, const vector3& direction)
{
    const double c = -dot(l.normal, direction);
    if (c < geometry_zero || c < l.cos_field) { return 0.0; }
    return std::pow(c, double(l.spot_exponent));
}

bool has_table(const light& l)
{
    const goniometry* g = l.goniometry;
    return g && g->rows && g->vertical_angles && g->horizontal_angles && g->vertical_count > 0 &&
           g->horizontal_count > 0;
}

emission_law law_of(const light& l, bool exact)
{
    if (l.distribution == DISTRIBUTION_SPOT) { return emission_law::spot; }
    if (l.distribution == DISTRIBUTION_GONIOMETRIC && has_table(l)) { return emission_law::table; }
    if (l.type == LIGHT_AREA)
    {
        return l.distribution == DISTRIBUTION_ISOTROPIC ? emission_law::even : emission_law::cosine;
    }
    if (exact && l.type == LIGHT_DISK && l.distribution != DISTRIBUTION_ISOTROPIC)
    {
        return emission_law::cosine;
    }
    const bool is_tube = l.type == LIGHT_CYLINDRICAL && l.length > 0.0;
    return exact && is_tube && l.distribution == DISTRIBUTION_DIFFUSE ? emission_law::sine
                                                                      : emission_law::even;
}

double emission_factor(const light& l, const vector3& direction)
{
    switch (law_of(l, is_exact()))
    {
    case emission_law::cosine:
        return std::fmax(-dot(l.normal, direction), 0.0);
    case emission_law::sine:
    {
        const double along = dot(l.axis_u, direction);
        return std::sqrt(std::fmax(1.0 - along * along, 0.0));
    }
    case emission_law::spot:
        return spot_factor(l, direction);
    case emission_law::table:
        return goniometric_factor(l, direction);
    case emission_law::even:
        break;
    }
    return 1.0;
}

void finish_sample(const light& l, const vector3& shading_point, source_sample& sample)
{
    sample.direction = sample.point - shading_point;
    sample.distance = length(sample.direction);
    sample.direction = normalized(sample.direction);
    color_sample(l, sample);
}

void color_sample(const light& l, source_sample& sample)
{
    color_sample(l, emission_factor(l, sample.direction), sample);
}

void color_sample(const light& l, double factor, source_sample& sample)
{
    const float* base = job.simple_colors ? l.simple_color : l.intensity_color;
    for (int i = 0; i < 3; ++i) { sample.color[i] = base[i] * factor; }
}

void color_flat_sample(const light& l, const vector3& shading_point, const vector3& plane_normal, double area,
    double density, bool is_mixed, source_sample& s)
{
    s.direction = s.point - shading_point;
    s.distance = length(s.direction);
    s.direction = normalized(s.direction);
    const double squared = s.distance * s.distance;
    const double seen = area * std::fabs(dot(plane_normal, s.direction)); // over d^2 the solid angle
    const double chosen = is_mixed ? 0.5 * (seen * density + squared) : seen * density;
    const double factor = chosen > 0.0 ? emission_factor(l, s.direction) / chosen : 0.0;
    color_sample(l, factor * (l.falloff == 2.0 ? squared : std::pow(s.distance, l.falloff)), s);
}

} // namespace zr
