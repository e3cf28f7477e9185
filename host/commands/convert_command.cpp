/// @file
/// `zirconlite convert`: any picture that is read into any format that is written. Display values become
/// light by the power 2.2: white is a radiance of 1. Light becomes display values as `zirconlite tone` shows
/// it.
#include "host/commands/commands.hpp"
#include "host/commands/render_options.hpp"
#include "host/failure.hpp"
#include "host/library_session.hpp"
#include "host/pictures/light_picture.hpp"
#include "host/pictures/picture_files.hpp"
#include "host/pictures/picture_reader.hpp"
#include "host/pictures/radiance_picture.hpp"
#include "zirconlite/picture/image_buffer.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <memory>

namespace host
{

namespace
{

constexpr double display_power = 2.2;

struct convert_options
{
    std::string in, out;
    int quality = 90;
    tone_options tone;
};

int convert(const convert_options& o);
void write_as_light(const picture8& p, const convert_options& o);
void write_display_values(const picture8& p, const convert_options& o);
void color_row(const picture8& p, int row, uint8_t* out);

} // namespace

std::function<int()> setup_convert(CLI::App& command)
{
    auto o = std::make_shared<convert_options>();
    command.add_option("IN", o->in, "The picture: PNG, BMP, TARGA, TIFF, JPEG, Radiance or OpenEXR")
        ->required();
    command.add_option("OUT", o->out, "The file to write: .png, .bmp, .tga, .tif, .jpg or .hdr")->required();
    command.add_option("--quality", o->quality, "Of a JPEG, 0 to 100")
        ->check(CLI::Range(0, 100))
        ->capture_default_str();
    add_tone_options(command, o->tone);
    return [o] { return convert(*o); };
}

namespace
{

int convert(const convert_options& o)
{
    const bool to_light = keeps_radiance(o.out);
    if (holds_light(o.in))
    {
        scene_tone tone;
        apply_tone_options(o.tone, tone);
        if (to_light) { copy_radiance(o.in, o.out); }
        else { write_toned(o.in, tone, o.out); }
        return exit_done;
    }
    picture8 p;
    std::string why;
    if (!read_picture_file(o.in, p, why))
    {
        const bool is_missing = !std::filesystem::exists(o.in);
        throw failure(is_missing ? exit_missing_file : exit_bad_scene, o.in + ": " + why);
    }
    if (!why.empty()) { std::fprintf(stderr, "zirconlite: %s: %s\n", o.in.c_str(), why.c_str()); }
    if (to_light) { write_as_light(p, o); }
    else { write_display_values(p, o); }
    return exit_done;
}

void write_as_light(const picture8& p, const convert_options& o)
{
    const std::unique_ptr<image_buffer, int32_t (*)(image_buffer*)> light(
        zr_new_image_buffer(int(p.width), int(p.height), PIXEL_RADIANCE), zr_destroy_image_buffer);
    if (!light) { throw failure(exit_render_failed, o.in + ": no memory for its light" + library_error()); }
    float radiance[256];
    for (int i = 0; i < 256; ++i) { radiance[i] = float(std::pow(i / 255.0, display_power)); }
    const unsigned step = p.channels, second = p.channels == 1 ? 0 : 1, third = 2 * second;
    const uint8_t* in = p.rows.data();
    for (int y = 0; y < light->height; ++y)
    {
        *zr_image_buffer_signature(light.get(), y) = ROW_COMPLETE;
        for (int x = 0; x < light->width; ++x, in += step)
        {
            pixel_components c{};
            c.surface[0] = radiance[in[0]];
            c.surface[1] = radiance[in[second]];
            c.surface[2] = radiance[in[third]];
            pack_pixel(light.get(), &c, zr_image_buffer_pixel(light.get(), x, y));
        }
    }
    check_picture_file(o.out, { light->width, light->height, pixel_layout::radiance, {} });
    write_radiance(o.out, *light);
}

void write_display_values(const picture8& p, const convert_options& o)
{
    const pixel_layout layout = p.channels == 4 ? pixel_layout::rgba8 : pixel_layout::rgb8;
    picture out{ int(p.width), int(p.height), layout, {}, o.quality };
    out.read_row = [&](int row, uint8_t* to) { color_row(p, row, to); };
    if (p.channels == 1 && takes_grey(o.out))
    {
        out.layout = pixel_layout::grey8;
        out.read_row = [&](int row, uint8_t* to)
        { std::copy_n(&p.rows[size_t(p.height - 1 - unsigned(row)) * p.width], p.width, to); };
    }
    check_picture_file(o.out, out);
    write_picture(o.out, out);
}

/// Colours of a row; grey becomes three equal channels.
void color_row(const picture8& p, int row, uint8_t* out)
{
    const uint8_t* in = &p.rows[size_t(p.height - 1 - unsigned(row)) * p.width * p.channels];
    if (p.channels != 1)
    {
        std::copy_n(in, size_t(p.width) * p.channels, out);
        return;
    }
    for (size_t x = 0; x < p.width; ++x, out += 3) { out[0] = out[1] = out[2] = in[x]; }
}

} // namespace

} // namespace host
