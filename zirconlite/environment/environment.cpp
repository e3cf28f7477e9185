#include "zirconlite/environment/environment.hpp"

#include <algorithm>
#include <cmath>

#include "zirconlite/environment/background_picture.hpp"
#include "zirconlite/environment/clouds.hpp"
#include "zirconlite/environment/environment_map.hpp"
#include "zirconlite/frame/job_state.hpp"
#include "zirconlite/lighting/clear_sky.hpp"
#include "zirconlite/lighting/light_model.hpp"
#include "zirconlite/lighting/sun_light.hpp"
#include "zirconlite/picture/gamma_tables.hpp"
#include "zirconlite/picture/tone.h"

namespace zr
{

namespace
{

/// Sines of the three stops and their colours, from the top down.
struct gradient_stops
{
    double sines[3];
    float colors[9];
};

/// The painted sky by cloudiness.
struct painted_sky
{
    double cloudiest;
    gradient_stops stops;
};
constexpr painted_sky painted_skies[] = {
    { 0.25, { { 0.5, 0.25, 0.0 }, { 0.02f, 0.53f, 0.999f, 0.23f, 0.76f, 0.999f, 0.44f, 0.999f, 0.999f } } },
    { 0.65, { { 0.42, 0.1767, -0.26 },
                { 0.68f, 0.8994f, 0.9239f, 0.5096f, 0.6193f, 0.6361f, 0.3392f, 0.3392f, 0.3392f } } },
    { 1.0, { { 0.42, 0.1767, -0.26 },
               { 0.8277f, 0.8277f, 0.8277f, 0.5835f, 0.5835f, 0.5835f, 0.3392f, 0.3392f, 0.3392f } } },
};
constexpr int cloudiest_sky = 2;
/// At the horizon the clear sky of the first row turns from blue to cyan. The exact model keeps its hue and
/// pales it.
constexpr gradient_stops clear_sky = { { 0.5, 0.25, 0.0 },
    { 0.02f, 0.53f, 0.999f, 0.23f, 0.72f, 0.999f, 0.44f, 0.82f, 0.999f } };

/// What a record shows, by the flags of its document.
struct shown_parts
{
    bool picture, clouds, hdr;
};

void base_radiance(
    const document& doc, const environment& record, const vector3& direction, double white, double rgb[3]);
double cloud_luminance(const document& doc, double white);
void blend_radiance(double a[3], const float b[3], double share_of_b, double scale);
void prepare_gradient(const environment& record, prepared_environment& made);
void show_radiance(const document& doc, const environment& record, ray& r);
void show_colors(const document& doc, const environment& record, ray& r);
void environment_of_ray(const document& doc, const environment& record, const ray& r, float c[3]);
bool background_color(const document& doc, const environment& record, const vector3& direction, float rgb[3]);
bool sky_color(const document& doc, double z, float rgb[3]);
void gradient(const double sines[3], const float colors[9], double z, float out[3]);
void add_clouds(const document& doc, const environment& record, const ray& r, float c[3]);
void add_hdr(const document& doc, const environment& record, const ray& r, float c[3]);
double kept_under_hdr(const environment& record);
void blend(const float a[3], const float b[3], double share_of_a, float out[3]);
void add_background(ray& r, float shown[3], double share);
const environment* seen_record(const document& doc, const ray& r);
bool shows_radiance(const document& doc, const environment& record);
bool sky_of_sun(const document& doc, const environment& record);
bool shows_sky(const environment& record);
shown_parts parts_of(const document& doc, const environment& record);
void add_radiance(ray& r, const double light[3], double share);
bool has_sun(const document& doc);
double haze_share(const document& doc, const ray& r);
void haze_color(const document& doc, float f[3]);

} // namespace

double environment_white(const document& doc)
{
    if (job.background_luminance > 0.0) { return job.background_luminance; }
    return has_sun(doc) ? doc.sun_sky->sky_strength : 0.0;
}

void environment_radiance(
    const document& doc, const environment& record, const vector3& direction, const ray* seen, double rgb[3])
{
    const shown_parts shown = parts_of(doc, record);
    const prepared_environment& made = prepared_of(doc, record);
    const double white = environment_white(doc);
    base_radiance(doc, record, direction, white, rgb);
    float c[3];
    if (seen && shown.clouds)
    {
        const double a = clouds(doc, record, made, *seen, c);
        // The color comes with its coverage in it.
        const double scale = cloud_luminance(doc, white);
        for (int i = 0; i < 3; ++i) { rgb[i] = rgb[i] * (1.0 - a * a) + (a > 0.0 ? c[i] * a * scale : 0.0); }
    }
    if (shown.hdr && hdr_light(record, made, direction, c))
    {
        blend_radiance(rgb, c, 1.0 - kept_under_hdr(record), 1.0);
    }
    if (!shown.picture || record.image_projection == 0) { return; }
    const double m = background_picture(record, made, direction, nullptr, c);
    if (m > 0.0) { blend_radiance(rgb, c, m, white); }
}

const prepared_environment& prepared_of(const document& doc, const environment& record)
{
    static constexpr prepared_environment nothing = {};
    const prepared_environment* made = doc.prepared_environments[&record == &doc.reflected_environment];
    return made ? *made : nothing;
}

bool environment_prepare(document& doc, const environment& record, const render_view& view)
{
    prepared_environment*& place = doc.prepared_environments[&record == &doc.reflected_environment];
    if (!place) { place = static_cast<prepared_environment*>(zr_calloc(1, sizeof(prepared_environment))); }
    if (!place) { return false; }
    clouds_prepare(doc, record, *place);
    prepare_background_picture(record, view, *place);
    prepare_environment_map(record, *place);
    prepare_gradient(record, *place);
    return true;
}

void end_environments(document& doc)
{
    for (prepared_environment*& made : doc.prepared_environments)
    {
        if (!made) { continue; }
        release_clouds(*made);
        release_background_picture(*made);
        zr_free(made);
        made = nullptr;
    }
}

void environment_background(document& doc, ray& r)
{
    const environment* record = seen_record(doc, r);
    if (!record) { return; }
    if (shows_radiance(doc, *record)) { show_radiance(doc, *record, r); }
    else { show_colors(doc, *record, r); }
    haze(doc, r);
    if (r.kind == RAY_PRIMARY) { r.alpha = 1.0f; }
}

void measured_background(document& doc, ray& r)
{
    const environment* record = seen_record(doc, r);
    if (!record || !shows_radiance(doc, *record)) { return; }
    double light[3];
    environment_radiance(doc, *record, r.direction, &r, light);
    add_radiance(r, light, 1.0);
}

void probe_background(document& doc, ray& r)
{
    constexpr double share = 0.6;
    if (!has_sun(doc)) { return; }
    for (int i = 0; i < 3; ++i)
    {
        r.simple_color[i] += float(share * doc.sun_sky->sky_strength * r.weight[i]);
    }
}

double haze(document& doc, ray& r)
{
    if (!(doc.environment_flags & ENVIRONMENT_HAZE)) { return 1.0; }
    const double s = haze_share(doc, r), k = 1.0 - s;
    if (s == 0.0) { return 1.0; }
    float f[3];
    haze_color(doc, f);
    if (doc.mode == MODE_SIMPLE)
    {
        for (int i = 0; i < 3; ++i)
        {
            r.simple_color[i] = float(r.simple_color[i] * k + f[i] * s * r.weight[i]);
        }
        return k;
    }
    inverse_tone(r.view, r.view->background_exponent, r.view->background_scale, f);
    // -1 in the first channel says that there is no light of the kind, which haze does not change.
    const bool has_radiance = r.radiance[0] >= 0.0, has_background = r.background[0] >= 0.0f;
    for (int i = 0; i < 3; ++i)
    {
        if (has_radiance) { r.radiance[i] *= k; }
        const double behind = has_background ? r.background[i] * k : 0.0;
        r.background[i] = float(behind + f[i] * r.weight[i] * s);
    }
    return k;
}

namespace
{

/// The light of what a record shows before its clouds and pictures.
void base_radiance(
    const document& doc, const environment& record, const vector3& direction, double white, double rgb[3])
{
    std::fill_n(rgb, 3, 0.0);
    float c[3];
    if (sky_of_sun(doc, record)) { sky_radiance(*doc.sun_sky, direction, rgb); }
    else if (background_color(doc, record, direction, c)) { blend_radiance(rgb, c, 1.0, white); }
}

/// Radiance of a white cloud: sunlight and sky light, sent back from all sides.
double cloud_luminance(const document& doc, double white)
{
    constexpr double albedo = 0.8;
    if (!has_sun(doc)) { return white; }
    const sun_sky& sky = *doc.sun_sky;
    return albedo * (sky.sun_strength / M_PI + sky.sky_strength);
}

void blend_radiance(double a[3], const float b[3], double share_of_b, double scale)
{
    for (int i = 0; i < 3; ++i)
    {
        // Also takes what is not a number for black.
        const double light = b[i] > 0.0f ? std::min(b[i] * scale, max_environment_radiance) : 0.0;
        a[i] = a[i] * (1.0 - share_of_b) + light * share_of_b;
    }
}

void prepare_gradient(const environment& record, prepared_environment& made)
{
    const double altitudes[3] = { record.angle0, record.angle1, record.angle2 };
    for (int i = 0; i < 3; ++i) { made.gradient_sines[i] = std::sin(altitudes[i]); }
    if (record.mode != ENVIRONMENT_GRADIENT_2 && record.mode != ENVIRONMENT_GRADIENT_3) { return; }
    for (int i = 0; i < 3; ++i)
    {
        made.gradient_colors[i] = record.color0[i];
        made.gradient_colors[3 + i] = record.mode == ENVIRONMENT_GRADIENT_3
                                          ? record.color2[i]
                                          : 0.5f * (record.color0[i] + record.color1[i]);
        made.gradient_colors[6 + i] = record.color1[i];
    }
}

/// A picture that lies in the view stays as it is: it gives no light.
void show_radiance(const document& doc, const environment& record, ray& r)
{
    double light[3];
    environment_radiance(doc, record, r.direction, &r, light);
    float p[3];
    const bool in_view = parts_of(doc, record).picture && record.image_projection == 0;
    const double m = in_view ? background_picture(record, prepared_of(doc, record), r.direction, &r, p) : 0.0;
    add_radiance(r, light, 1.0 - m);
    if (m > 0.0) { add_background(r, p, m); }
}

void show_colors(const document& doc, const environment& record, ray& r)
{
    float c[3];
    environment_of_ray(doc, record, r, c);
    if (doc.mode != MODE_SIMPLE)
    {
        add_background(r, c, 1.0);
        return;
    }
    for (int i = 0; i < 3; ++i)
    {
        r.simple_color[i] += look_up(gamma.simple_float, float(c[i] * r.weight[i]), 1.0f);
    }
}

/// The color of all that a record shows to a ray.
void environment_of_ray(const document& doc, const environment& record, const ray& r, float c[3])
{
    const shown_parts shown = parts_of(doc, record);
    background_color(doc, record, r.direction, c);
    if (shown.clouds) { add_clouds(doc, record, r, c); }
    if (shown.hdr) { add_hdr(doc, record, r, c); }
    if (!shown.picture) { return; }
    float p[3];
    const double m = background_picture(record, prepared_of(doc, record), r.direction, &r, p);
    if (m > 0.0) { blend(p, c, m, c); }
}

/// The linear colour that `record` shows in a direction, before clouds and pictures.
bool background_color(const document& doc, const environment& record, const vector3& direction, float rgb[3])
{
    switch (record.mode)
    {
    case ENVIRONMENT_FLAT:
        std::copy_n(record.color0, 3, rgb);
        return true;
    case ENVIRONMENT_GRADIENT_2:
    case ENVIRONMENT_GRADIENT_3:
    {
        const prepared_environment& made = prepared_of(doc, record);
        gradient(made.gradient_sines, made.gradient_colors, direction.z, rgb);
        return true;
    }
    default:
        return sky_color(doc, direction.z, rgb);
    }
}

/// False, with black, where there is no sky.
bool sky_color(const document& doc, double z, float rgb[3])
{
    const bool sun = has_sun(doc);
    std::fill_n(rgb, 3, 0.0f);
    if (!sun && !(doc.environment_flags & ENVIRONMENT_SKY_WITHOUT_SUN)) { return false; }
    int row = 0;
    while (sun && row < cloudiest_sky && doc.sun_sky->cloudiness > painted_skies[row].cloudiest) { ++row; }
    const bool keeps_hue = row == 0 && is_exact();
    const gradient_stops& stops = keeps_hue ? clear_sky : painted_skies[row].stops;
    gradient(stops.sines, stops.colors, z, rgb);
    const double daylight = sun ? twilight_sky : 1.0;
    for (int i = 0; i < 3; ++i) { rgb[i] = float(rgb[i] * daylight); }
    return true;
}

void gradient(const double sines[3], const float colors[9], double z, float out[3])
{
    if (z > sines[0]) { std::copy_n(colors, 3, out); }
    else if (z < sines[2]) { std::copy_n(colors + 6, 3, out); }
    else if (z >= sines[1])
    {
        const double span = sines[0] - sines[1];
        blend(colors, colors + 3, span > 0.0 ? (z - sines[1]) / span : 1.0, out);
    }
    else
    {
        const double span = sines[1] - sines[2];
        blend(colors + 3, colors + 6, span > 0.0 ? (z - sines[2]) / span : 1.0, out);
    }
}

void add_clouds(const document& doc, const environment& record, const ray& r, float c[3])
{
    float color[3];
    const double a = clouds(doc, record, prepared_of(doc, record), r, color);
    if (!(a > 0.0)) { return; }
    // The color comes with its coverage in it. The fast model weighs it so once more, which gives clouds grey
    // rims.
    const double weight = is_exact() ? a : a * a;
    for (int i = 0; i < 3; ++i) { c[i] = float(c[i] * (1.0 - a * a) + color[i] * weight); }
}

/// In the fast model the picture's light takes the ray's weight here and, with the rest, once more: it is
/// darker in mirrors than in the open. The exact model weighs it once.
void add_hdr(const document& doc, const environment& record, const ray& r, float c[3])
{
    float h[3];
    if (!hdr_light(record, prepared_of(doc, record), r.direction, h)) { return; }
    hdr_display(record, h);
    const double kept = kept_under_hdr(record);
    for (int i = 0; i < 3; ++i)
    {
        const double light = is_exact() ? h[i] : h[i] * r.weight[i];
        c[i] = float(c[i] * kept + light * (1.0 - kept));
    }
}

double kept_under_hdr(const environment& record)
{
    return record.hdr_opacity > 0.0f ? std::min(double(record.hdr_opacity), 1.0) : 0.0;
}

void blend(const float a[3], const float b[3], double share_of_a, float out[3])
{
    for (int i = 0; i < 3; ++i) { out[i] = float(a[i] * share_of_a + b[i] * (1.0 - share_of_a)); }
}

void add_background(ray& r, float shown[3], double share)
{
    inverse_tone(r.view, r.view->background_exponent, r.view->background_scale, shown);
    for (int i = 0; i < 3; ++i) { r.background[i] = float(shown[i] * r.weight[i] * share); }
}

/// The record that a ray sees; null where mirrors show none.
const environment* seen_record(const document& doc, const ray& r)
{
    const bool reflected = r.kind == RAY_REFLECTED;
    if (reflected && (doc.environment_flags & ENVIRONMENT_REFLECT_NOTHING)) { return nullptr; }
    const bool own = reflected && (doc.environment_flags & ENVIRONMENT_REFLECTED_OWN);
    return own ? &doc.reflected_environment : &doc.environment;
}

/// Whether what a ray sees of a record is the light that it gives. Else it shows the colours that were
/// picked.
bool shows_radiance(const document& doc, const environment& record)
{
    if (!is_exact() || doc.mode == MODE_SIMPLE) { return false; }
    return sky_of_sun(doc, record) || environment_white(doc) > 0.0 ||
           (parts_of(doc, record).hdr && !parts_of(doc, record).picture);
}

bool sky_of_sun(const document& doc, const environment& record) { return shows_sky(record) && has_sun(doc); }

bool shows_sky(const environment& record)
{
    return record.mode != ENVIRONMENT_FLAT && record.mode != ENVIRONMENT_GRADIENT_2 &&
           record.mode != ENVIRONMENT_GRADIENT_3;
}

shown_parts parts_of(const document& doc, const environment& record)
{
    const uint32_t f = doc.environment_flags;
    if (&record == &doc.reflected_environment)
    {
        return { (f & ENVIRONMENT_REFLECTED_PICTURE) != 0, (f & ENVIRONMENT_REFLECTED_CLOUDS) != 0,
            (f & ENVIRONMENT_REFLECTED_HDR) != 0 };
    }
    return { (f & ENVIRONMENT_PICTURE) != 0, (f & ENVIRONMENT_CLOUDS) != 0, (f & ENVIRONMENT_HDR) != 0 };
}

/// Adds light to what a ray brings back; -1 in the first channel says that there is none yet.
void add_radiance(ray& r, const double light[3], double share)
{
    if (r.radiance[0] < 0.0) { std::fill_n(r.radiance, 3, 0.0); }
    for (int i = 0; i < 3; ++i) { r.radiance[i] += light[i] * r.weight[i] * share; }
}

bool has_sun(const document& doc) { return doc.sun_sky && (doc.sun_sky_flags & SUN_SKY_SUN_MASK); }

/// The share of haze at the ray's distance.
double haze_share(const document& doc, const ray& r)
{
    const double full = doc.fog_distance * doc.world_to_model;
    if (!(full > 0.0) || !(doc.fog_strength > 0.0f)) { return 0.0; }
    return std::clamp(r.hit_t / full, 0.0, 1.0) * std::min(double(doc.fog_strength), 1.0);
}

void haze_color(const document& doc, float f[3])
{
    constexpr int32_t dark = 1, own = 2;
    for (int i = 0; i < 3; ++i)
    {
        f[i] = doc.fog_type == dark ? 0.2f : doc.fog_type == own ? doc.fog_color[i] : 0.7f;
    }
}

} // namespace

} // namespace zr
