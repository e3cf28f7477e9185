#include "zirconlite/environment/background_picture.hpp"

#include <algorithm>
#include <cmath>
#include <iterator>

#include "zirconlite/frame/memory.h"
#include "zirconlite/frame/render_view.h"
#include "zirconlite/frame/status.hpp"
#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/imagefiles/bitmap_store.h"
#include "zirconlite/materials/image_sampling.hpp"
#include "zirconlite/platform/text.hpp"

namespace zr
{

namespace
{

constexpr int32_t projection_planar = 0, projection_cylindrical = 1;
constexpr double gamma_of_pictures = 2.2;
constexpr double no_scale = 1e12; // in place of 1 / 0: nothing falls on the picture

bitmap* load_picture(const environment& record);
bool make_key(const environment& record, prepared_environment& made);
void prepare_angles(prepared_environment& made, const float angles[4], bool by_sine);
double inverse_scale(double s);
bool has_extent(const environment& record, const prepared_environment& made);
bool planar_place(
    const environment& record, const prepared_environment& made, const ray* seen_by, double uv[2]);
bool round_place(const environment& record, const prepared_environment& made, const vector3& d, double uv[2]);
double compass(const vector3& d);
double raised(double angle);
bool is_tiled(const environment& record);
bool in_unit(double s);
double wrapped(const environment& record, double s);

} // namespace

void release_background_picture(prepared_environment& made)
{
    zr_free(made.image_key);
    made.image_key = nullptr;
    made.image_bitmap = nullptr;
}

void prepare_background_picture(
    const environment& record, const render_view& view, prepared_environment& made)
{
    release_background_picture(made);
    made.image_bitmap = load_picture(record);
    if (!made.image_bitmap || !make_key(record, made)) { return; }
    if (record.image_projection == projection_planar)
    {
        made.inverse_view_size[0] = view.width > 0 ? 1.0 / view.width : 0.0;
        made.inverse_view_size[1] = view.height > 0 ? 1.0 / view.height : 0.0;
        for (int i = 0; i < 2; ++i)
        {
            made.inverse_planar_scale[i] = inverse_scale(record.image_planar_scale[i]);
        }
    }
    else if (record.image_projection == projection_cylindrical)
    {
        prepare_angles(made, record.image_cylindrical_angles, true);
    }
    else { prepare_angles(made, record.image_spherical_angles, false); }
}

double background_picture(const environment& record, const prepared_environment& made,
    const vector3& direction, const ray* seen_by, float rgb[3])
{
    const auto* picture = static_cast<const bitmap*>(made.image_bitmap);
    const auto* key = static_cast<const mat_key*>(made.image_key);
    double uv[2], sample[4];
    if (!picture || !key || !has_extent(record, made)) { return 0.0; }
    const bool hit = record.image_projection == projection_planar ? planar_place(record, made, seen_by, uv)
                                                                  : round_place(record, made, direction, uv);
    if (!hit) { return 0.0; }
    zr_sample_mipmap(picture, uv, 0, 0.0, sample);
    const double coverage = (1.0 - key_value(*picture, *key, sample)) * record.image_opacity;
    if (!(coverage > 0.0)) { return 0.0; }
    for (int i = 0; i < 3; ++i) { rgb[i] = float(std::pow(sample[i], gamma_of_pictures)); }
    return std::min(coverage, 1.0);
}

namespace
{

bitmap* load_picture(const environment& record)
{
    bitmap_format file = {};
    if (!record.image_filename[0]) { return nullptr; }
    if (bitmap* present = zr_find_bitmap(record.image_filename)) { return present; }
    char16_t extension[std::size(file.extension)] = {};
    const char16_t* dot = nullptr;
    for (const char16_t* c = record.image_filename; *c; ++c)
    {
        if (*c == u'.') { dot = c; }
        if (*c == u'/' || *c == u'\\') { dot = nullptr; }
    }
    const bool has_extension = dot && platform::copy_text(extension, std::size(extension), dot + 1);
    zr_get_bitmap_format_by_ext(has_extension ? extension : nullptr, &file);
    if (!platform::copy_text(file.path, std::size(file.path), record.image_filename))
    {
        report_failure(ZR_ERROR_LIMIT, "the path of the background picture is longer than %zu characters",
            std::size(file.path) - 1);
        return nullptr;
    }
    return zr_read_bitmap(&file, zr_shared_bitmaps());
}

bool make_key(const environment& record, prepared_environment& made)
{
    auto* key = static_cast<mat_key*>(zr_calloc(1, sizeof(mat_key)));
    made.image_key = key;
    if (!key) { return false; }
    const auto unit = [](float v) { return v > 0.0f ? std::min(v, 1.0f) : 0.0f; };
    key->kind = record.mask_type;
    key->flags = uint32_t(record.mask_flags);
    for (int i = 0; i < 3; ++i) { key->color[i] = unit(record.mask_color[i]); }
    key->tolerance = unit(record.mask_range);
    key->feather = unit(record.mask_blur);
    zr_update_mat_key(key);
    key->tolerance_byte = int32_t(key->tolerance * 255.0 + 0.5); // rounded here, unlike a material's
    return true;
}

void prepare_angles(prepared_environment& made, const float angles[4], bool by_sine)
{
    const double top = angles[0], bottom = angles[1], centre = angles[2], span = angles[3];
    made.sine_top = std::sin(top);
    made.sine_bottom = std::sin(bottom);
    if (by_sine) { made.inverse_sine_span = inverse_scale(made.sine_top - made.sine_bottom); }
    else { made.inverse_altitude_span = inverse_scale(top - bottom); }
    made.azimuth_start = raised(centre - span / 2.0);
    made.inverse_azimuth_span = span != 0.0 && std::isfinite(span) ? 1.0 / span : no_scale;
}

double inverse_scale(double s) { return s > geometry_zero && std::isfinite(s) ? 1.0 / s : no_scale; }

/// Whether the picture has a size: tiles of none would show noise.
bool has_extent(const environment& record, const prepared_environment& made)
{
    if (record.image_projection == projection_planar)
    {
        const bool is_scaled =
            made.inverse_planar_scale[0] < no_scale && made.inverse_planar_scale[1] < no_scale;
        return (record.image_flags & BACKGROUND_FIT) || is_scaled;
    }
    const bool by_sine = record.image_projection == projection_cylindrical;
    const double height = by_sine ? made.inverse_sine_span : made.inverse_altitude_span;
    return height < no_scale && made.inverse_azimuth_span < no_scale;
}

bool planar_place(
    const environment& record, const prepared_environment& made, const ray* seen_by, double uv[2])
{
    if (!seen_by || (seen_by->kind != RAY_PRIMARY && seen_by->kind != RAY_TRANSMITTED)) { return false; }
    for (int i = 0; i < 2; ++i)
    {
        double s = made.inverse_view_size[i] * seen_by->pixel[i];
        if (!(record.image_flags & BACKGROUND_FIT))
        {
            s = (s - record.image_planar_offset[i]) * made.inverse_planar_scale[i];
        }
        if (!std::isfinite(s)) { return false; }
        uv[i] = is_tiled(record) ? wrapped(record, s) : s;
        if (!is_tiled(record) && !in_unit(s)) { return false; }
    }
    return true;
}

bool round_place(const environment& record, const prepared_environment& made, const vector3& d, double uv[2])
{
    const double z = d.z;
    if (!(z <= made.sine_top && z >= made.sine_bottom)) { return false; }
    uv[1] = record.image_projection == projection_cylindrical
                ? (z - made.sine_bottom) * made.inverse_sine_span
                : (half_pi - std::acos(std::clamp(z, -1.0, 1.0)) - record.image_spherical_angles[1]) *
                      made.inverse_altitude_span;
    const double a = compass(d);
    uv[0] = ((a >= made.azimuth_start ? a : a + two_pi) - made.azimuth_start) * made.inverse_azimuth_span;
    if (!is_tiled(record)) { return in_unit(uv[0]) && in_unit(uv[1]); }
    uv[0] = wrapped(record, uv[0]);
    return std::isfinite(uv[0]) && std::isfinite(uv[1]);
}

/// The azimuth from north, growing toward the east, in 0 to one turn.
double compass(const vector3& d) { return two_pi - raised(std::atan2(d.y, d.x) - half_pi); }

/// `angle` raised by whole turns until it is not below 0.
double raised(double angle)
{
    if (!std::isfinite(angle)) { return 0.0; }
    return angle < 0.0 ? angle + two_pi * std::ceil(-angle / two_pi) : angle;
}

bool is_tiled(const environment& record) { return (record.image_flags & BACKGROUND_TILE) != 0; }

bool in_unit(double s) { return s >= 0.0 && s < 1.0; }

/// A coordinate within one tile; every second tile is flipped where tiles are mirrored.
double wrapped(const environment& record, double s)
{
    const double k = std::floor(s);
    const double f = s - k;
    const bool flip = (record.image_flags & BACKGROUND_MIRROR) && std::fmod(k, 2.0) != 0.0;
    return flip ? 1.0 - f : f;
}

} // namespace

} // namespace zr
