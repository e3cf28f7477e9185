/// @file
/// The sun's and sky's part in a document: what it starts with, the light of the sky, the start of a render.
#include "zirconlite/lighting/sun_light.hpp"

#include <algorithm>

#include "zirconlite/frame/memory.h"
#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/lighting/daylight.hpp"

namespace zr
{

bool init_sun_sky(document& doc)
{
    auto* s = static_cast<sun_sky*>(zr_calloc(1, sizeof(sun_sky)));
    if (!s) { return false; }
    doc.sun_sky = s;
    s->sun_samples = 1;
    s->sun_jitter = 0.05f;
    s->sun_intensity = s->sky_intensity = 1.0f;
    s->day_of_year = 171; // 21 June at noon
    s->local_minutes = 720;
    s->sun_ct0 = 5000.0f;
    s->sun_ct1 = 2500.0f;
    s->sky_ct0 = 10000.0f;
    s->sky_ct1 = 7000.0f;
    s->cloudy_ct = 6500.0f;
    for (float* rgb : { s->sun_color, s->sky_color, s->direct_sun_rgb, s->direct_sky_rgb })
    {
        std::fill_n(rgb, 3, 1.0f);
    }
    s->direct_altitude = 0.7853982f; // 45 degrees
    s->sun_direction = { 0.0, 0.0, -1.0 };
    s->sky_axis = { 0.0, 0.0, 1.0 };

    s->sky_light = static_cast<light*>(zr_calloc(1, sizeof(light)));
    if (!s->sky_light) { return false; }
    s->sky_light->type = LIGHT_SKY;
    s->sky_light->sample = sample_sun_disc;
    s->sky_light->shadow_strength = 1.0;
    s->sky_light->sun_sky = s;
    s->sky_light->owner_document = &doc;
    return true;
}

void end_sun_sky(document& doc)
{
    if (current_sun_sky == doc.sun_sky) { current_sun_sky = nullptr; }
    zr_light_free(doc.sun_sky->sky_light);
    zr_free(doc.sun_sky);
    doc.sun_sky = nullptr;
}

void prepare_sun(document& doc)
{
    if (!doc.sun_sky || !doc.sun_sky_flags) { return; }
    zr_set_sun_and_sky(&doc);
    update_windows(doc);
}

int32_t sample_sun_disc(const light* l, const vector3*, source_sample* samples, int32_t n)
{
    constexpr double disc_distance = 5.0; // metres along the ray, where `sun_size` is measured
    const sun_sky& sky = *l->sun_sky;
    const document& scene = *l->owner_document;
    const bool soft = (scene.render_flags & RENDER_SOFT_SHADOWS) && scene.quality >= 3 && sky.sun_size != 0.0;
    const vector3 towards = -sky.sun_direction;
    vector3 a, b;
    zr_make_axes(&towards, &a, &b, 1e-6);
    for (source_sample* s = samples; s < samples + n; ++s)
    {
        s->point = {};
        s->direction = towards;
        if (soft && (s->u != 0.5 || s->v != 0.5))
        {
            const double along_a = 2.0 * (s->u - 0.5) * sky.sun_size,
                         along_b = 2.0 * (s->v - 0.5) * sky.sun_size;
            s->direction = normalized(disc_distance * towards + along_a * a + along_b * b);
        }
        s->distance = ZR_FAR;
        std::fill_n(s->color, 3, 0.0);
    }
    return 1;
}

} // namespace zr
