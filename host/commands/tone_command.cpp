/// @file
/// `zirconlite tone`: a picture kept as light is measured and shown like a render at another exposure.
#include "host/build/build_scene.hpp"
#include "host/commands/commands.hpp"
#include "host/commands/render_options.hpp"
#include "host/commands/render_output.hpp"
#include "host/failure.hpp"
#include "host/library_session.hpp"
#include "host/pictures/light_picture.hpp"
#include "host/pictures/picture_files.hpp"
#include "host/pictures/radiance_picture.hpp"
#include "zirconlite/frame/render_view.h"
#include "zirconlite/picture/tone.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <cstdio>
#include <memory>

namespace host
{

namespace
{

light_picture read_or_warn(const std::filesystem::path& file);

} // namespace

void write_toned(const std::filesystem::path& file, const scene_tone& tone, const std::filesystem::path& out)
{
    progress_line progress(false);
    const library_session session(progress);
    light_picture light = read_or_warn(file);
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
    const light_picture light = read_or_warn(file);
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
    command.add_option("PICTURE", o->file, "The picture kept as light, .hdr or .exr")->required();
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

namespace
{

/// The light of a file, with a line on standard error for what a damaged one lacks.
light_picture read_or_warn(const std::filesystem::path& file)
{
    std::string warning;
    light_picture light = read_light(file, warning);
    if (!warning.empty()) { std::fprintf(stderr, "zirconlite: %s: %s\n", file.c_str(), warning.c_str()); }
    return light;
}

} // namespace

} // namespace host
