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

bool is_point(const light& source)
{
    if (source.type == LIGHT_PARALLEL) { return source.disc_size == 0.0f; }
    return is_round(source) && source.radius == 0.0;
}

bool is_sphere(const light& source)
{
    return is_round(source) && source.type != LIGHT_PARALLEL && source.type != LIGHT_DISK;
}

} // namespace

bool has_extent(const light& source) { return !is_point(source); }

int32_t shape_samples(const light& source)
{
    return is_point(source) || source.shadow_samples < 1 ? 1 : source.shadow_samples;
}

void sample_middle(const light& source, const vector3& shading_point, source_sample& sample)
{
    sample.u = sample.v = 0.5;
    source.sample(&source, &shading_point, &sample, 1);
}

void sample_shape(
    const light& source, const vector3& shading_point, const square_point& place, source_sample& sample)
{
    if (is_point(source))
    {
        sample_middle(source, shading_point, sample);
        return;
    }
    const square_point p = is_round(source) ? square_to_disc(place) : place;
    sample.u = p.u;
    sample.v = p.v;
    if (is_sphere(source)) { sample_sphere(source, shading_point, sample); }
    else { source.sample(&source, &shading_point, &sample, 1); }
    if (source.type != LIGHT_PARALLEL) { return; }
    // Its lux are those of a plane square to it: directions off the axis stand for less of the disc.
    const double towards_axis = -dot(sample.direction, source.normal);
    for (double& c : sample.color) { c = towards_axis > 0.0 ? c / towards_axis : 0.0; }
}

} // namespace zr
