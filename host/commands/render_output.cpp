/// @file
/// Rows are asked for from the top of the wanted region; the library counts them from below.
#include "host/commands/render_output.hpp"

#include "host/build/build_scene.hpp"
#include "host/failure.hpp"
#include "host/library_session.hpp"
#include "zirconlite/picture/image_buffer.h"
#include "zirconlite/picture/output.h"
#include "zirconlite/picture/tone.h"
#include "zirconlite/sampling/converging.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>

namespace host
{

namespace
{

/// Where the wanted pixels lie in the view.
struct window
{
    int left, top, width, height;
    int row_from_below(const render_view& v, int row) const { return v.image->height - 1 - (top + row); }
};

struct buffer_deleter
{
    void operator()(image_buffer* b) const { zr_destroy_image_buffer(b); }
};

struct distance_range
{
    double near, far;
    bool is_empty() const { return !(near <= far); }
};

window window_of(const scene& s);
void write_alpha(const render_view& v, const window& w, const std::filesystem::path& file);
void write_depth(const scene& s, const document& d, const window& w, const std::filesystem::path& file);
distance_range depth_range(
    const scene& s, const document& d, const render_view& v, const distance_range& seen);
distance_range reach_of_objects(const document& d, const render_view& v);
void write_object_ids(const render_view& v, const window& w, const std::filesystem::path& file);
void put_u16(uint8_t* out, unsigned v);
bool planes_at(const render_view& v, const window& w, int x, int row, pixel_pointers& p);
void write_variant(
    const scene& s, document* d, size_t index, const window& w, const std::filesystem::path& file);
void write_colors(const render_view& v, const window& w, const std::filesystem::path& file);
void write_light(const render_view& v, const window& w, const std::filesystem::path& file);
void copy_sums(const render_view& v, const window& w, int row, image_buffer& light);
void say_written(const std::filesystem::path& file, const std::string& what);

} // namespace

std::string how_indirect_light_was_found(const document& d)
{
    const bool converges = d.pixel_sampler == SAMPLER_CONVERGING && d.light_model == LIGHT_MODEL_EXACT;
    if (!converges || d.indirect_light == INDIRECT_AMBIENT) { return "even ambient light"; }
    const char* kind = d.indirect_light == INDIRECT_CACHE ? "light cache" : "paths";
    if (d.clamp_indirect == 0) { return fmt::format("{}, not clamped", kind); }
    return fmt::format("{}, clamped at {:g} mean luminances", kind, d.clamp_indirect);
}

output_files prepare_output(const scene& s, const std::string& option)
{
    const window w = window_of(s);
    output_files files{ {}, {}, {}, {}, {}, w.width, w.height };
    files.picture = !option.empty()          ? std::filesystem::path(option)
                    : !s.output.file.empty() ? beside_scene(s, s.output.file)
                                             : std::filesystem::path(s.file).replace_extension(".png");
    // The scene file itself may have a picture's name.
    std::error_code error;
    if (std::filesystem::equivalent(files.picture, s.file, error))
    {
        throw failure(
            exit_usage, fmt::format("{}: the picture would replace the scene", files.picture.string()));
    }
    const auto named = [&](const std::string& name)
    { return name.empty() ? std::filesystem::path() : beside_scene(s, name); };
    files.alpha = named(s.output.alpha);
    files.depth = named(s.output.depth);
    files.object_id = named(s.output.object_id);
    for (const scene_variant& v : s.variants) { files.variants.push_back(beside_scene(s, v.file)); }
    if (s.render.calibration) { return files; }

    check_picture_file(files.picture, { w.width, w.height, color_layout_of(files.picture), {} });
    for (const auto& v : files.variants)
    {
        check_picture_file(v, { w.width, w.height, color_layout_of(v), {} });
    }
    if (!files.alpha.empty())
    {
        check_picture_file(files.alpha, { w.width, w.height, pixel_layout::grey8, {} });
    }
    if (!files.depth.empty())
    {
        check_picture_file(files.depth, { w.width, w.height, pixel_layout::grey16, {} });
    }
    if (!files.object_id.empty())
    {
        check_picture_file(files.object_id, { w.width, w.height, pixel_layout::grey16, {} });
    }
    return files;
}

void write_view(const render_view& v, const std::filesystem::path& file)
{
    write_colors(v, { 0, 0, v.image->width, v.image->height }, file);
}

void write_output(const scene& s, document* d, const output_files& files)
{
    const window w = window_of(s);
    const render_view& v = d->views[1];
    write_colors(v, w, files.picture);
    if (!files.alpha.empty()) { write_alpha(v, w, files.alpha); }
    if (!files.depth.empty()) { write_depth(s, *d, w, files.depth); }
    if (!files.object_id.empty()) { write_object_ids(v, w, files.object_id); }
    for (size_t i = 0; i < files.variants.size(); ++i) { write_variant(s, d, i, w, files.variants[i]); }
    std::fflush(stdout);
}

namespace
{

window window_of(const scene& s)
{
    if (!s.render.region) { return { 0, 0, s.render.size[0], s.render.size[1] }; }
    const auto& r = *s.render.region;
    return { r[0], r[1], r[2], r[3] };
}

void write_alpha(const render_view& v, const window& w, const std::filesystem::path& file)
{
    const auto read_row = [&](int row, uint8_t* out)
    {
        for (int x = 0; x < w.width; ++x)
        {
            pixel_pointers p;
            out[x] = planes_at(v, w, x, row, p) && p.alpha ? uint8_t(255 - *p.alpha) : 0;
        }
    };
    write_picture(file, { w.width, w.height, pixel_layout::grey8, read_row });
    say_written(file, "share of objects, 0 to 255");
}

/// The range as 0 to 65534, what lies outside at its ends; 65535 is where nothing was hit.
void write_depth(const scene& s, const document& d, const window& w, const std::filesystem::path& file)
{
    const render_view& v = d.views[1];
    const auto depth_at = [&](int x, int row)
    {
        pixel_pointers p;
        return planes_at(v, w, x, row, p) && p.depth ? *p.depth : -1.0f;
    };
    distance_range seen{ INFINITY, -INFINITY };
    for (int row = 0; row < w.height; ++row)
    {
        for (int x = 0; x < w.width; ++x)
        {
            const double depth = depth_at(x, row);
            if (depth < 0) { continue; }
            seen = { std::min(seen.near, depth), std::max(seen.far, depth) };
        }
    }
    const distance_range range = seen.is_empty() ? seen : depth_range(s, d, v, seen);
    const double scale = range.far > range.near ? 65534.0 / (range.far - range.near) : 0;
    const auto read_row = [&](int row, uint8_t* out)
    {
        for (int x = 0; x < w.width; ++x)
        {
            const double depth = depth_at(x, row);
            const double value = std::clamp((depth - range.near) * scale, 0.0, 65534.0);
            put_u16(out + 2 * x, depth < 0 ? 65535u : unsigned(value + 0.5));
        }
    };
    write_picture(file, { w.width, w.height, pixel_layout::grey16, read_row });
    say_written(file, seen.is_empty()
                          ? std::string("nothing was hit")
                          : fmt::format("distances {:.4g} m (0) to {:.4g} m (65534)", range.near, range.far));
}

/// What a depth picture spans: the pixels' distances as far as objects reach, so that the far end of a ground
/// plane does not press everything else into one shade; or what the scene says.
distance_range depth_range(
    const scene& s, const document& d, const render_view& v, const distance_range& seen)
{
    const distance_range objects = reach_of_objects(d, v);
    distance_range range = seen;
    const bool shows_objects = !objects.is_empty() && objects.far > seen.near && objects.near < seen.far;
    if (shows_objects) { range = { std::max(seen.near, objects.near), std::min(seen.far, objects.far) }; }
    range.near = s.output.depth_near.value_or(range.near);
    range.far = s.output.depth_far.value_or(range.far);
    return range;
}

/// Distances from the eye to the box of all objects; empty where there are none.
distance_range reach_of_objects(const document& d, const render_view& v)
{
    const bounding_box& box = d.bounds;
    distance_range range{ INFINITY, -INFINITY };
    if (!(box.min.x <= box.max.x && box.min.y <= box.max.y && box.min.z <= box.max.z)) { return range; }
    const auto away = [](double at, double low, double high) {
        return std::max({ low - at, at - high, 0.0 });
    };
    const vector3& eye = v.position;
    double to_box = std::hypot(away(eye.x, box.min.x, box.max.x), away(eye.y, box.min.y, box.max.y),
        away(eye.z, box.min.z, box.max.z));
    for (int corner = 0; corner < 8; ++corner)
    {
        const double x = (corner & 1 ? box.max.x : box.min.x) - eye.x,
                     y = (corner & 2 ? box.max.y : box.min.y) - eye.y,
                     z = (corner & 4 ? box.max.z : box.min.z) - eye.z;
        const double along = -(x * v.back.x + y * v.back.y + z * v.back.z);
        const bool is_parallel = v.projection == PROJECTION_PARALLEL; // distances count from a plane
        const double distance = is_parallel ? along : std::hypot(x, y, z);
        range.far = std::max(range.far, distance);
        if (is_parallel) { range.near = std::min(range.near, distance); }
    }
    if (v.projection != PROJECTION_PARALLEL) { range.near = to_box; }
    return range;
}

void write_object_ids(const render_view& v, const window& w, const std::filesystem::path& file)
{
    const auto read_row = [&](int row, uint8_t* out)
    {
        for (int x = 0; x < w.width; ++x)
        {
            pixel_pointers p;
            put_u16(out + 2 * x, planes_at(v, w, x, row, p) && p.object_id ? *p.object_id : 0u);
        }
    };
    write_picture(file, { w.width, w.height, pixel_layout::grey16, read_row });
    say_written(file, "material ids");
}

void put_u16(uint8_t* out, unsigned v)
{
    out[0] = uint8_t(v >> 8);
    out[1] = uint8_t(v);
}

/// The valid sample at or below a pixel in all planes; false where none was reached.
bool planes_at(const render_view& v, const window& w, int x, int row, pixel_pointers& p)
{
    p = {};
    return zr_image_buffer_pixel_ex(v.image, w.left + x, w.row_from_below(v, row), &p) && p.pixel;
}

void write_variant(
    const scene& s, document* d, size_t index, const window& w, const std::filesystem::path& file)
{
    render_view& v = d->views[1];
    const scene_variant& variant = s.variants[index];
    scene_tone tone = s.tone;
    tone.method = variant.method.value_or(tone.method);
    tone.brightness = variant.brightness.value_or(tone.brightness);
    tone.contrast = variant.contrast.value_or(tone.contrast);
    tone.source_gain = variant.source_gain.value_or(tone.source_gain);
    set_exposure(v, tone);
    if (!apply_exposure(d, &v))
    {
        throw failure(exit_render_failed,
            fmt::format("{}: the exposure cannot be changed{}", file.string(), library_error()));
    }
    write_colors(v, w, file);
}

void write_colors(const render_view& v, const window& w, const std::filesystem::path& file)
{
    if (keeps_radiance(file)) { return write_light(v, w, file); }
    pixel_cache* cache = zr_init_pixel_cache();
    const auto read_row = [&](int row, uint8_t* out)
    {
        for (int x = 0; x < w.width; ++x, out += 3)
        {
            const int32_t at[2] = { w.left + x, w.row_from_below(v, row) };
            if (read_rt_pixel(&v, at, out, cache, 0) != 1) { out[0] = out[1] = out[2] = 0; }
        }
    };
    try
    {
        write_picture(file, { w.width, w.height, pixel_layout::rgb8, read_row });
    }
    catch (...)
    {
        zr_term_pixel_cache(cache);
        throw;
    }
    zr_term_pixel_cache(cache);
    say_written(file, fmt::format("{}x{}", w.width, w.height));
}

/// The light in the window, a picture of its own.
void write_light(const render_view& v, const window& w, const std::filesystem::path& file)
{
    const std::unique_ptr<image_buffer, buffer_deleter> light(
        zr_new_image_buffer(w.width, w.height, PIXEL_RADIANCE));
    if (!light) { throw failure(exit_render_failed, file.string() + ": no memory" + library_error()); }
    if (v.image->sums)
    {
        light->sums =
            static_cast<pixel_sums*>(zr_calloc(size_t(w.width) * size_t(w.height), sizeof(pixel_sums)));
    }
    for (int row = 0; row < w.height; ++row)
    {
        const int y = w.height - 1 - row;
        copy_sums(v, w, row, *light);
        *zr_image_buffer_signature(light.get(), y) = ROW_COMPLETE;
        for (int x = 0; x < w.width; ++x)
        {
            const uint8_t* from =
                zr_image_buffer_pixel_ex(v.image, w.left + x, w.row_from_below(v, row), nullptr);
            if (from) { std::copy_n(from, light->pixel_size, zr_image_buffer_pixel(light.get(), x, y)); }
        }
    }
    write_radiance(
        file, *light, v.document ? "indirect light: " + how_indirect_light_was_found(*v.document) : "");
    say_written(file, fmt::format("{}x{}, light", w.width, w.height));
}

/// The sums of a row's samples, which hold light finer than the packed pixels.
void copy_sums(const render_view& v, const window& w, int row, image_buffer& light)
{
    const int from_y = w.row_from_below(v, row);
    if (!light.sums || from_y < 0 || from_y >= v.height) { return; }
    for (int x = 0; x < w.width && w.left + x < v.width; ++x)
    {
        light.sums[size_t(w.height - 1 - row) * size_t(w.width) + size_t(x)] =
            v.image->sums[size_t(from_y) * size_t(v.width) + size_t(w.left + x)];
    }
}

void say_written(const std::filesystem::path& file, const std::string& what)
{
    std::printf("%s: %s\n", file.c_str(), what.c_str());
}

} // namespace

} // namespace host
