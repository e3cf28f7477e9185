/// @file
/// `zirconlite tone`: a picture kept as light is measured and shown like a render at another exposure.
#include "host/build_scene.hpp"
#include "host/commands.hpp"
#include "host/failure.hpp"
#include "host/library_session.hpp"
#include "host/picture_files.hpp"
#include "host/radiance_picture.hpp"
#include "host/render_options.hpp"
#include "host/render_output.hpp"
#include "host/text.hpp"
#include "zirconlite/frame/error.h"
#include "zirconlite/frame/render_view.h"
#include "zirconlite/imagefiles/radiance.h"
#include "zirconlite/raytrace/tone.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <cstdio>
#include <cstring>
#include <memory>

namespace host
{

namespace
{

struct buffer_deleter
{
    void operator()(image_buffer* b) const { zr_destroy_image_buffer(b); }
};
using owned_buffer = std::unique_ptr<image_buffer, buffer_deleter>;

owned_buffer read_light(const std::filesystem::path& file)
{
    owned_buffer light(zr_new_image_buffer(1, 1, PIXEL_RADIANCE));
    if (!light) { throw failure(exit_render_failed, "out of memory"); }
    const zr_status before = *zr_last_error();
    const bool done = zr_read_radiance_file(utf16_of(file).c_str(), light.get()) != 0;
    const zr_status& s = *zr_last_error();
    if (!done)
    {
        const bool is_missing = s.code == ZR_ERROR_NOT_FOUND;
        throw failure(
            is_missing ? exit_missing_file : exit_bad_scene, fmt::format("{}: {}", file.string(), s.text));
    }
    if (std::memcmp(&before, &s, sizeof s) != 0)
    {
        std::fprintf(stderr, "zirconlite: %s: %s\n", file.c_str(), s.text);
    }
    return light;
}

} // namespace

void write_toned(const std::filesystem::path& file, const scene_tone& tone, const std::filesystem::path& out)
{
    progress_line progress(false);
    const library_session session(progress);
    owned_buffer light = read_light(file);
    check_picture_file(out, { light->width, light->height, color_layout_of(out), {} });
    render_view& view = session.scene->views[1];
    zr_init_view(session.scene, &view, nullptr);
    set_exposure(view, tone);
    view.image = light.release(); // the document's from here on
    if (!zr_get_raytrace_tone_op(&view, view.image))
    {
        throw failure(exit_render_failed, file.string() + ": its light cannot be measured" + library_error());
    }
    write_view(view, out);
}

void copy_radiance(const std::filesystem::path& file, const std::filesystem::path& out)
{
    const owned_buffer light = read_light(file);
    check_picture_file(out, { light->width, light->height, pixel_layout::radiance, {} });
    write_radiance(out, *light);
}

std::function<int()> setup_tone(CLI::App& command)
{
    struct tone_arguments
    {
        std::string file, out;
        tone_options tone;
    };
    auto o = std::make_shared<tone_arguments>();
    command.add_option("PICTURE", o->file, "The picture kept as light, .hdr")->required();
    command.add_option("-o,--output", o->out, "The picture: .png, .bmp, .tga, .tif or .jpg")->required();
    add_tone_options(command, o->tone);
    return [o]
    {
        scene_tone tone;
        apply_tone_options(o->tone, tone);
        if (keeps_radiance(o->out))
        {
            throw failure(exit_usage, o->out + ": light has no exposure; zirconlite convert copies it");
        }
        write_toned(o->file, tone, o->out);
        return int(exit_done);
    };
}

} // namespace host
