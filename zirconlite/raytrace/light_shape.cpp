#include "zirconlite/raytrace/light_shape.hpp"

#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/lighting/light_emission.hpp"

namespace zr
{

namespace
{

bool is_round(const light& source)
{
    return source.type != LIGHT_AREA && source.type != LIGHT_DAYLIGHT && source.type != LIGHT_CYLINDRICAL;
}

/// How points of a light's shape are taken, by its type; those that are not listed are spheres.
struct shape_row
{
    int32_t type;
    void (*sample)(const light& l, const vector3& shading_point, source_sample& sample);
};

/// By the light's own operation.
void sample_by_operation(const light& l, const vector3& shading_point, source_sample& sample)
{
    l.sample(&l, &shading_point, &sample, 1);
}

/// Its lux are those of a plane square to it: directions off the axis stand for less of the disc.
void sample_distant(const light& l, const vector3& shading_point, source_sample& sample)
{
    sample_by_operation(l, shading_point, sample);
    const double towards_axis = -dot(sample.direction, l.normal);
    for (double& c : sample.color) { c = towards_axis > 0.0 ? c / towards_axis : 0.0; }
}

constexpr shape_row shapes[] = {
    { LIGHT_AREA, sample_rectangle },
    { LIGHT_CYLINDRICAL, sample_tube },
    { LIGHT_DISK, sample_disk },
    { LIGHT_DAYLIGHT, sample_by_operation },
    { LIGHT_PARALLEL, sample_distant },
};

bool is_point(const light& source)
{
    if (source.type == LIGHT_PARALLEL) { return source.disc_size == 0.0f; }
    if (source.type == LIGHT_CYLINDRICAL) { return source.length == 0.0; }
    return is_round(source) && source.radius == 0.0;
}

} // namespace

bool has_extent(const light& source) { return !is_point(source); }

bool is_even_ball(const light& source)
{
    return source.type == LIGHT_SPHERICAL && source.falloff != 0.0 &&
           (source.distribution == DISTRIBUTION_ISOTROPIC || law_of(source, true) == emission_law::even);
}

int32_t shape_samples(const light& source)
{
    return is_point(source) || source.shadow_samples < 1 ? 1 : source.shadow_samples;
}

void sample_middle(const light& source, const vector3& shading_point, source_sample& sample)
{
    sample.u = sample.v = 0.5;
    source.sample(&source, &shading_point, &sample, 1);
}

square_point place_in_shape(const light& source, const square_point& place)
{
    return is_round(source) ? square_to_disc(place) : place;
}

void sample_shape(
    const light& source, const vector3& shading_point, const square_point& place, source_sample& sample)
{
    if (is_point(source))
    {
        sample_middle(source, shading_point, sample);
        return;
    }
    const square_point p = place_in_shape(source, place);
    sample.u = p.u;
    sample.v = p.v;
    for (const shape_row& row : shapes)
    {
        if (row.type != source.type) { continue; }
        row.sample(source, shading_point, sample);
        return;
    }
    sample_sphere(source, shading_point, sample);
}

} // namespace zr
