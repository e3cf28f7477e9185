/// @file
/// Rows are asked for from the top of the wanted region; the library counts them from below.
#include "host/render_output.hpp"

#include "host/build_scene.hpp"
#include "host/failure.hpp"
#include "host/library_session.hpp"
#include "zirconlite/raytrace/image_buffer.h"
#include "zirconlite/raytrace/output.h"
#include "zirconlite/raytrace/tone.h"

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

window window_of(const scene& s)
{
    if (!s.render.region) { return { 0, 0, s.render.size[0], s.render.size[1] }; }
    const auto& r = *s.render.region;
    return { r[0], r[1], r[2], r[3] };
}

void say_written(const std::filesystem::path& file, const std::string& what)
{
    std::printf("%s: %s\n", file.c_str(), what.c_str());
}

void put_u16(uint8_t* out, unsigned v)
{
    out[0] = uint8_t(v >> 8);
    out[1] = uint8_t(v);
}

struct buffer_deleter
{
    void operator()(image_buffer* b) const { zr_destroy_image_buffer(b); }
};

/// The light in the window, a picture of its own.
void write_light(const render_view& v, const window& w, const std::filesystem::path& file)
{
    const std::unique_ptr<image_buffer, buffer_deleter> light(
        zr_new_image_buffer(w.width, w.height, PIXEL_RADIANCE));
    if (!light) { throw failure(exit_render_failed, file.string() + ": no memory" + library_error()); }
    for (int row = 0; row < w.height; ++row)
    {
        const int y = w.height - 1 - row;
        *zr_image_buffer_signature(light.get(), y) = ROW_COMPLETE;
        for (int x = 0; x < w.width; ++x)
        {
            const uint8_t* from =
                zr_image_buffer_pixel_ex(v.image, w.left + x, w.row_from_below(v, row), nullptr);
            if (from) { std::copy_n(from, light->pixel_size, zr_image_buffer_pixel(light.get(), x, y)); }
        }
    }
    write_radiance(file, *light);
    say_written(file, fmt::format("{}x{}, light", w.width, w.height));
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

/// The valid sample at or below a pixel in all planes; false where none was reached.
bool planes_at(const render_view& v, const window& w, int x, int row, pixel_pointers& p)
{
    p = {};
    return zr_image_buffer_pixel_ex(v.image, w.left + x, w.row_from_below(v, row), &p) && p.pixel;
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

/// Nearest to farthest as 0 to 65534; 65535 is where nothing was hit.
void write_depth(const render_view& v, const window& w, const std::filesystem::path& file)
{
    const auto depth_at = [&](int x, int row)
    {
        pixel_pointers p;
        return planes_at(v, w, x, row, p) && p.depth ? *p.depth : -1.0f;
    };
    float low = INFINITY, high = 0;
    for (int row = 0; row < w.height; ++row)
    {
        for (int x = 0; x < w.width; ++x)
        {
            const float depth = depth_at(x, row);
            if (depth < 0) { continue; }
            low = std::min(low, depth);
            high = std::max(high, depth);
        }
    }
    const double scale = high > low ? 65534.0 / (double(high) - low) : 0;
    const auto read_row = [&](int row, uint8_t* out)
    {
        for (int x = 0; x < w.width; ++x)
        {
            const float depth = depth_at(x, row);
            put_u16(out + 2 * x, depth < 0 ? 65535u : unsigned((double(depth) - low) * scale + 0.5));
        }
    };
    write_picture(file, { w.width, w.height, pixel_layout::grey16, read_row });
    say_written(file, low <= high ? fmt::format("distances {:.4g} m (0) to {:.4g} m (65534)", low, high)
                                  : std::string("nothing was hit"));
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

} // namespace

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
    if (!files.depth.empty()) { write_depth(v, w, files.depth); }
    if (!files.object_id.empty()) { write_object_ids(v, w, files.object_id); }
    for (size_t i = 0; i < files.variants.size(); ++i) { write_variant(s, d, i, w, files.variants[i]); }
    std::fflush(stdout);
}

} // namespace host
