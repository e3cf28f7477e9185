/// @file
/// The sky as many lights: a dome of distant ones, and patches for the shooting of light.
#include <algorithm>
#include <cmath>

#include "zirconlite/frame/memory.h"
#include "zirconlite/frame/status.hpp"
#include "zirconlite/lighting/daylight.hpp"
#include "zirconlite/lighting/light_emission.hpp"
#include "zirconlite/lighting/sun_light.hpp"

using namespace zr;

namespace
{

constexpr double degree = M_PI / 180.0;
constexpr int64_t max_lights = 100000;
constexpr int patch_columns = 24, patch_rows = 6;
constexpr double patch_step = 15.0 * degree, patch_half_size = 5.0 * degree;

/// A list in the making: kept whole or not at all.
struct light_batch
{
    light* first = nullptr;
    int32_t count = 0;
};

void fill_distant(light& l, const document& scene, double azimuth, double altitude, double share);
light* add(light_batch& batch);
int32_t give_up(light_batch& batch);
void fill_patch(light& l, double altitude, double azimuth, const sun_sky& s);
int32_t patch_sample_count(const light*, const vector3*);
int32_t patch_sample(const light* l, const vector3*, source_sample* samples, int32_t n);
vector3 turned_zenith(double altitude, double azimuth);
void push(light_batch& batch, light** head);

} // namespace

int32_t zr_set_sky_array(document* doc, int32_t azimuth_count, int32_t altitude_count)
{
    const int64_t count = int64_t(azimuth_count) * altitude_count;
    if (!doc || azimuth_count < 1 || altitude_count < 1 || count > max_lights)
    {
        return report_failure(ZR_ERROR_ARGUMENT, "a sky of %d by %d lights", azimuth_count, altitude_count);
    }
    zr_set_sun_and_sky(doc);
    const double step_azimuth = two_pi / azimuth_count, step_altitude = half_pi / altitude_count;
    light_batch batch;
    for (int32_t a = 0; a < azimuth_count; ++a)
    {
        for (int32_t h = 0; h < altitude_count; ++h)
        {
            light* l = add(batch);
            if (!l) { return give_up(batch); }
            fill_distant(*l, *doc, (a + 0.5) * step_azimuth, (h + 0.5) * step_altitude,
                doc->sun_sky->sky_strength / double(count));
        }
    }
    push(batch, &doc->lights);
    doc->light_count += batch.count;
    return 1;
}

int32_t lt_sky_create(light** head, const sun_sky* sky)
{
    light_batch batch;
    for (int column = 0; column < patch_columns; ++column)
    {
        for (int row = 1; row <= patch_rows; ++row)
        {
            light* l = add(batch);
            if (!l) { return give_up(batch); }
            fill_patch(*l, -row * patch_step, column * patch_step, *sky);
        }
    }
    push(batch, head);
    return batch.count;
}

namespace
{

void fill_distant(light& l, const document& scene, double azimuth, double altitude, double share)
{
    l.type = LIGHT_PARALLEL;
    l.distribution = DISTRIBUTION_DEFAULT;
    lt_parallel_create(&l);
    l.shadow_samples = 1;
    l.shadow_strength = 0.0;
    l.simple_brightness = 1.0f;
    l.azimuth = azimuth;
    l.altitude = altitude;
    zr_sun_angles_to_vector(azimuth, altitude, 0.0, &l.normal);
    zr_make_axes(&l.normal, &l.axis_u, &l.axis_v, 0.0001);
    const double e = sky_luminance(*scene.sun_sky, -l.normal) * share;
    std::fill_n(l.illuminance_color, 3, float(e));
    l.world_bounds = scene.bounds;
    l.lumens = lumens_on(l.world_bounds, l.normal, e);
}

light* add(light_batch& batch)
{
    auto* made = static_cast<light*>(zr_calloc(1, sizeof(light)));
    if (!made) { return nullptr; }
    made->next = batch.first;
    batch.first = made;
    ++batch.count;
    return made;
}

int32_t give_up(light_batch& batch)
{
    zr_lights_free_ex(batch.first, 0);
    return report_failure(ZR_ERROR_MEMORY, "no memory for the lights of the sky");
}

void fill_patch(light& l, double altitude, double azimuth, const sun_sky& s)
{
    l.type = LIGHT_SKY_PATCH;
    l.sample_count = patch_sample_count;
    l.sample = patch_sample;
    l.lumens = float(s.sky_strength);
    std::fill_n(l.flux_color, 3, l.lumens);
    l.patch_directions[0] = turned_zenith(altitude, azimuth);
    for (int i = 0; i < 4; ++i)
    {
        const double up = i & 1 ? patch_half_size : -patch_half_size;
        const double along = i & 2 ? patch_half_size : -patch_half_size;
        l.patch_directions[i + 1] = turned_zenith(altitude + up, azimuth + along);
    }
    l.normal = -l.patch_directions[0];
}

int32_t patch_sample_count(const light*, const vector3*) { return 5; }

int32_t patch_sample(const light* l, const vector3*, source_sample* samples, int32_t n)
{
    for (int32_t i = 0; i < n; ++i)
    {
        source_sample& s = samples[i];
        s.direction = l->patch_directions[i % 5];
        s.distance = ZR_FAR;
        double sky = dot(l->normal, s.direction) > 0.0 ? 0.0 : 0.3333333;
        if (sky > 0.0 && s.direction.z > 0.0) { sky = (2.0 * s.direction.z + 1.0) / 3.0; }
        std::fill_n(s.color, 3, sky * l->lumens / (patch_columns * patch_rows));
    }
    return 1;
}

/// The zenith turned by `altitude` about y and then by `azimuth` about z.
vector3 turned_zenith(double altitude, double azimuth)
{
    return rotated_about_z({ std::sin(altitude), 0.0, std::cos(altitude) }, azimuth);
}

void push(light_batch& batch, light** head)
{
    light* last = batch.first;
    while (last->next) { last = last->next; }
    last->next = *head;
    *head = batch.first;
}

} // namespace
