#include "host/build/build_environment.hpp"

#include "host/build/build_material.hpp"
#include "host/failure.hpp"
#include "host/library_session.hpp"
#include "host/pictures/light_picture.hpp"
#include "host/pictures/picture_store.hpp"
#include "host/text.hpp"
#include "host/vectors.hpp"
#include "zirconlite/frame/error.h"
#include "zirconlite/imagefiles/radiance.h"
#include "zirconlite/picture/image_buffer.h"
#include "zirconlite/picture/tone.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <iterator>

namespace host
{

namespace
{

void set_flag(uint32_t& word, uint32_t bits, bool value);
void set_flag(uint32_t& word, uint32_t bits, const std::optional<bool>& value);
template <class T> void set(T& field, const std::optional<double>& value, double factor = 1);
void set(int32_t& field, const std::optional<int>& value);
void set(float (&field)[3], const std::optional<color3>& value);
template <size_t N> void set(float (&field)[N], const std::optional<std::array<double, N>>& value);

} // namespace

void set_background_picture(
    environment& e, const std::filesystem::path& file, std::vector<std::string>& notes)
{
    e.image_filename[0] = 0;
    const bitmap* b = load_picture(file, notes);
    if (!b) { return; }
    const std::u16string name = b->name;
    if (name.size() >= std::size(e.image_filename))
    {
        notes.push_back(fmt::format("{}: the picture is left out: its path is longer than {} characters",
            file.string(), std::size(e.image_filename) - 1));
        return;
    }
    name.copy(e.image_filename, name.size());
    e.image_filename[name.size()] = 0;
}

namespace
{

void set_mode(const scene_background& b, bool has_sun, environment& e)
{
    const bool is_open = !b.mode && !b.color && e.mode == ENVIRONMENT_FLAT;
    if (is_open && has_sun) { e.mode = ENVIRONMENT_SKY; }
    if (b.color && !b.mode) { e.mode = ENVIRONMENT_FLAT; }
    if (b.mode)
    {
        e.mode = *b.mode == background_mode_color ? ENVIRONMENT_FLAT
                 : *b.mode == background_mode_sky ? ENVIRONMENT_SKY
                 : b.middle                       ? ENVIRONMENT_GRADIENT_3
                                                  : ENVIRONMENT_GRADIENT_2;
    }
    if (e.mode == ENVIRONMENT_FLAT) { set(e.color0, b.color); }
    if (e.mode != ENVIRONMENT_GRADIENT_2 && e.mode != ENVIRONMENT_GRADIENT_3) { return; }
    const color3 blue{ { 0.2, 0.45, 0.8 } }, pale{ { 0.8, 0.87, 0.93 } };
    if (b.mode) // a gradient of the scene, not one of a settings file
    {
        set_color(e.color0, b.top.value_or(blue));
        set_color(e.color1, b.bottom.value_or(pale));
    }
    set(e.color0, b.top);
    set(e.color1, b.bottom);
    set(e.color2, b.middle);
    set(e.angle0, b.top_deg, radians);
    set(e.angle1, b.middle_deg, radians);
    set(e.angle2, b.bottom_deg, radians);
}

void set_placement(const scene_background& b, environment& e)
{
    set(e.image_projection, b.projection);
    set_flag(e.image_flags, BACKGROUND_FIT, b.fit);
    if (!b.fit && (b.scale || b.offset)) { set_flag(e.image_flags, BACKGROUND_FIT, false); }
    set_flag(e.image_flags, BACKGROUND_TILE, b.tile);
    set_flag(e.image_flags, BACKGROUND_MIRROR, b.mirror_tiles);
    set(e.image_opacity, b.opacity);
    set(e.image_planar_scale, b.scale);
    set(e.image_planar_offset, b.offset);
    for (float* angles : { e.image_cylindrical_angles, e.image_spherical_angles })
    {
        set(angles[0], b.picture_top_deg, radians);
        set(angles[1], b.picture_bottom_deg, radians);
        set(angles[2], b.azimuth_deg, radians);
        set(angles[3], b.span_deg, radians);
    }
    constexpr int32_t kinds[] = { 0, 1, 3 }; // none, color, alpha
    if (b.key) { e.mask_type = kinds[*b.key]; }
    set(e.mask_color, b.key_color);
    set(e.mask_range, b.tolerance);
    set(e.mask_blur, b.feather);
    if (b.invert) { e.mask_flags = *b.invert; }
}

owned_view read_hdr(const std::filesystem::path& file, document* d, std::vector<std::string>& notes)
{
    owned_view view(new render_view{});
    view->document = d;
    view->contrast = 0.5f;
    view->source_gain = 1;
    std::string warning;
    view->image = read_light(file, warning).release();
    if (!warning.empty()) { notes.push_back(fmt::format("{}: {}", file.string(), warning)); }
    view->width = view->image->width;
    view->height = view->image->height;
    zr_get_raytrace_tone_op(view.get(), view->image);
    return view;
}

void set_hdr(const scene& s, const scene_hdr& h, document* d, environment& e, uint32_t flag,
    std::vector<owned_view>& views, std::vector<std::string>& notes)
{
    set(e.hdr_rotation, h.rotation_deg, radians);
    set(e.hdr_scale, h.scale);
    set(e.hdr_opacity, h.opacity);
    set_flag(d->environment_flags, flag, !h.file.empty());
    if (h.file.empty()) { return; }
    views.push_back(read_hdr(beside_scene(s, h.file), d, notes));
    views.back()->projection = h.projection ? PROJECTION_PROBE : PROJECTION_SPHERE;
    e.hdr_view = views.back().get();
}

void set_background(const scene& s, const scene_background& b, document* d, environment& e, uint32_t flag,
    std::vector<std::string>& notes)
{
    set_mode(b, s.sun.is_on, e);
    set_placement(b, e);
    if (b.picture.empty()) { return; }
    set_background_picture(e, beside_scene(s, b.picture), notes);
    set_flag(d->environment_flags, flag, e.image_filename[0] != 0);
}

void set_clouds(const scene_clouds& c, environment& e)
{
    set_flag(e.cloud_flags, CLOUDS_CUMULUS, c.cumulus);
    set_flag(e.cloud_flags, CLOUDS_CIRRUS, c.cirrus);
    set_flag(e.cloud_flags, CLOUDS_CIRRUS_HORIZON, c.close_horizon);
    set(e.cloud_seed, c.seed);
    set(e.cu_number, c.count);
    set(e.cloud_rotation, c.rotation_deg, radians);
    set(e.cloud_offset, c.offset);
    set(e.cu_scale, c.scale);
    set(e.ci_scale, c.cirrus_scale);
    set(e.cu_color, c.color);
    set(e.ci_color, c.cirrus_color);
    set(e.cu_scale_v, c.variation);
    set(e.ci_density, c.density);
    set(e.ci_transparency, c.transparency);
    set(e.ci_horizon, c.horizon);
    if (c.cirrus_scale && ((*c.cirrus_scale)[0] == 0 || (*c.cirrus_scale)[1] == 0))
    {
        e.cloud_flags &= ~uint32_t(CLOUDS_CIRRUS);
    }
}

void set_haze(const scene_haze& h, document* d)
{
    set_flag(d->environment_flags, ENVIRONMENT_HAZE, true);
    set(d->fog_type, h.kind);
    constexpr int32_t own_color = 2;
    if (h.color && !h.kind) { d->fog_type = own_color; }
    set(d->fog_color, h.color);
    set(d->fog_distance, h.distance);
    set(d->fog_strength, h.strength);
}

void set_ground(const scene_ground& g, document* d)
{
    set_flag(d->environment_flags, ENVIRONMENT_GROUND, true);
    set(d->ground_height, g.height);
    if (g.material.empty()) { return; }
    zr_free(d->ground_material_name);
    zr_free(d->ground_material_library);
    d->ground_material_library = nullptr;
    d->ground_material_name = zr_dupestring(utf16_of(g.material).c_str());
}

void set_record_defaults(environment& e)
{
    e.mode = ENVIRONMENT_FLAT;
    e.angle0 = 90 * radians;
    e.angle1 = 20 * radians;
    e.image_flags = BACKGROUND_FIT;
    e.image_opacity = 1;
    e.mask_range = 0.1f;
    std::fill_n(e.image_planar_scale, 2, 1.0f);
    const float cylinder[4] = { float(45 * radians), float(-45 * radians), 0, float(360 * radians) };
    const float sphere[4] = { float(90 * radians), float(-90 * radians), 0, float(360 * radians) };
    std::copy_n(cylinder, 4, e.image_cylindrical_angles);
    std::copy_n(sphere, 4, e.image_spherical_angles);
    e.cloud_flags = CLOUDS_CUMULUS | CLOUDS_CIRRUS;
    e.cloud_seed = 1;
    e.cu_number = 150;
    e.cu_scale_v = 0.6f;
    for (float* rgb : { e.cu_color, e.cu_scale, e.ci_color, e.ci_scale }) { std::fill_n(rgb, 3, 1.0f); }
    e.ci_density = 0.4f;
    e.ci_transparency = 0.8f;
    e.ci_horizon = 0.5f;
    e.hdr_scale = 1;
}

void set_flag(uint32_t& word, uint32_t bits, bool value) { word = value ? word | bits : word & ~bits; }

void set_flag(uint32_t& word, uint32_t bits, const std::optional<bool>& value)
{
    if (value) { set_flag(word, bits, *value); }
}

template <class T> void set(T& field, const std::optional<double>& value, double factor)
{
    if (value) { field = T(*value * factor); }
}

void set(int32_t& field, const std::optional<int>& value)
{
    if (value) { field = *value; }
}

void set(float (&field)[3], const std::optional<color3>& value)
{
    if (value) { set_color(field, *value); }
}

template <size_t N> void set(float (&field)[N], const std::optional<std::array<double, N>>& value)
{
    if (value)
    {
        std::transform(value->begin(), value->end(), field, [](double v) { return float(v); });
    }
}

} // namespace

void view_deleter::operator()(render_view* v) const
{
    zr_free_histogram(v->histogram);
    zr_destroy_image_buffer(v->image);
    delete v;
}

void set_environment_defaults(document* d)
{
    set_record_defaults(d->environment);
    set_record_defaults(d->reflected_environment);
    d->fog_distance = 1000;
    d->fog_strength = 0.5f;
}

void set_environment(
    const scene& s, document* d, std::vector<owned_view>& views, std::vector<std::string>& notes)
{
    set_background(s, s.background, d, d->environment, ENVIRONMENT_PICTURE, notes);
    set_hdr(s, s.environment_map, d, d->environment, ENVIRONMENT_HDR, views, notes);
    set_flag(d->environment_flags, ENVIRONMENT_SKY_WITHOUT_SUN, s.background.without_sun);
    zr_set_background_luminance(d, s.background.luminance.value_or(0));

    const scene_reflections& r = s.reflections;
    set_flag(d->environment_flags, ENVIRONMENT_REFLECT_NOTHING, r.none);
    set_flag(d->environment_flags, ENVIRONMENT_REFLECTED_OWN, r.is_own);
    if (r.is_own)
    {
        set_background(s, r.background, d, d->reflected_environment, ENVIRONMENT_REFLECTED_PICTURE, notes);
        set_hdr(s, r.environment_map, d, d->reflected_environment, ENVIRONMENT_REFLECTED_HDR, views, notes);
    }
    if (s.clouds.is_on)
    {
        set_clouds(s.clouds, d->environment);
        set_clouds(s.clouds, d->reflected_environment);
        set_flag(d->environment_flags, ENVIRONMENT_CLOUDS, true);
        set_flag(d->environment_flags, ENVIRONMENT_REFLECTED_CLOUDS, r.clouds.value_or(true));
        set_flag(d->environment_flags, ENVIRONMENT_CLOUDS_ALWAYS, s.clouds.without_sun);
    }
    if (s.haze.is_on) { set_haze(s.haze, d); }
    if (s.ground.is_on) { set_ground(s.ground, d); }
}

} // namespace host
