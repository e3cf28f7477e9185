/// @file
/// Distant lights: one direction for the whole scene, softened by a disc that spreads the directions.
#include "zirconlite/frame/job_state.hpp"
#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/lighting/light_emission.hpp"
#include "zirconlite/lighting/sun_sky.h"

using namespace zr;

namespace
{

constexpr double disc_distance = 5.0; // metres along the ray, where `disc_size` is measured

int32_t parallel_sample_count(const light*, const vector3*) { return 1; }

int32_t parallel_sample(const light* l, const vector3*, source_sample* samples, int32_t n)
{
    const float* color = job.simple_colors ? l->simple_color : l->illuminance_color;
    const vector3 towards = -l->normal;
    vector3 a, b;
    if (l->disc_size != 0.0f) { zr_make_axes(&towards, &a, &b, 1e-6); }
    for (source_sample* s = samples; s < samples + n; ++s)
    {
        s->direction = towards;
        if (l->disc_size != 0.0f && (s->u != 0.5 || s->v != 0.5))
        {
            const double along_a = 2.0 * (s->u - 0.5) * l->disc_size,
                         along_b = 2.0 * (s->v - 0.5) * l->disc_size;
            s->direction = normalized(disc_distance * towards + along_a * a + along_b * b);
        }
        s->distance = ZR_FAR;
        for (int i = 0; i < 3; ++i) { s->color[i] = color[i]; }
    }
    return 1;
}

} // namespace

void lt_parallel_create(light* source)
{
    clamp_light_to_ranges(*source);
    source->sample_count = parallel_sample_count;
    source->sample = parallel_sample;
    zr_sun_angles_to_vector(source->azimuth, source->altitude, 0.0, &source->normal);
    const double illuminance = parallel_illuminance(*source);
    source->lumens = parallel_lumens(*source);
    zr_make_axes(&source->normal, &source->axis_u, &source->axis_v, 0.0001);
    source->candela = 1.0f;
    zr_get_color_intensity(source);
    float color[3];
    CT_to_RGB(source->color_temperature, color);
    source->falloff = 0.0;
    for (int i = 0; i < 3; ++i)
    {
        source->illuminance_color[i] = float(double(color[i] * source->filter[i]) * illuminance);
    }
}
