/// @file
/// Ranges of options are those of the scene's keys, so that a value is right or wrong in both places.
#include "host/commands/render_options.hpp"

#include "host/failure.hpp"
#include "host/scene/scene_keys.hpp"
#include "zirconlite/frame/document.h"
#include "zirconlite/sampling/converging.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>

namespace host
{

namespace
{

constexpr int preview_reduction = 4;

void apply_size(const std::string& text, scene& s);
template <class R, class T>
void override_number(const section<R>& s, const char* key, const std::optional<T>& given, T& value,
    const char* option = nullptr);
template <class R>
void override_choice(
    const section<R>& s, const char* key, const char* option, const std::string& given, int& value);
template <class R> const key_row<R>& row_of(const section<R>& s, const char* name);
void apply_region(const std::string& text, scene& s);
[[noreturn]] void wrong_usage(const std::string& text);
void apply_preview(scene& s);
void check_whole(const scene& s);

} // namespace

bool read_numbers(const std::string& text, char separator, int* out, int count)
{
    size_t at = 0;
    for (int i = 0; i < count; ++i)
    {
        size_t end = at;
        int value = 0;
        while (end < text.size() && text[end] >= '0' && text[end] <= '9' && end - at < 9)
        {
            value = value * 10 + (text[end++] - '0');
        }
        if (end == at) { return false; }
        out[i] = value;
        at = end;
        if (i + 1 < count && (at >= text.size() || text[at++] != separator)) { return false; }
    }
    return at == text.size();
}

void add_tone_options(CLI::App& command, tone_options& o)
{
    command.add_option("--brightness", o.brightness, "-5 to 5, in powers of ten of light");
    command.add_option("--contrast", o.contrast, "0.001 to 0.999");
    command.add_option("--method", o.method, "Tone operator: film, histogram or power");
}

void apply_tone_options(const tone_options& o, scene_tone& tone)
{
    override_number(tone_section, "brightness", o.brightness, tone.brightness);
    override_number(tone_section, "contrast", o.contrast, tone.contrast);
    override_choice(tone_section, "method", "--method", o.method, tone.method);
}

void add_render_options(CLI::App& command, render_options& o)
{
    command.add_option("SCENE", o.scene, "The scene, a TOML file, or a single model")->required();
    command.add_option("-o,--output", o.output,
        "The picture: .png, .bmp, .tga, .tif, .jpg or .hdr; by default that of the scene");
    command.add_option("--size", o.size, "Width and height in pixels, such as 960x640");
    command.add_option("--threads", o.threads, "Worker threads, 1 to 8; 0 for one per processor");
    command.add_option("--region", o.region, "Render only X,Y,W,H, in pixels from the top left");
    command.add_option("--quality", o.quality, "1 (draft) to 5 (finest)");
    command.add_option("--antialiasing", o.antialiasing, "0 (none) to 1 (finest)");
    command.add_option("--projection", o.projection,
        "parallel, perspective, two-point, cylindrical, spherical or light-probe");
    command.add_option(
        "--view", o.view, "View of all models from the front, back, left, right, top or three-quarter");
    add_tone_options(command, o.tone);
    add_sequence_options(command, o.sequence);
    command.add_option("--light-model", o.light_model, "Direct light: exact or fast");
    command.add_option("--sampler", o.sampler, "Pixel sampler: converging or strips");
    command.add_flag("--denoise", o.denoise, "Filter the grain out of the picture; .hdr pictures keep it");
    command.add_option("--indirect", o.indirect, "Indirect light: ambient, paths or cache");
    command.add_option(
        "--light-cache", o.light_cache, "File of the light cache: read if it exists, otherwise written");
    command.add_option("--noise", o.noise, "Target error of a pixel, in steps of 255");
    command.add_option("--limit", o.seconds, "Time limit for sampling in seconds")
        ->check(CLI::Range(0.01, 3e7));
    command.add_option("--seed", o.seed, "A different seed gives different grain");
    command.add_option("--max-samples", o.max_samples, "Maximum samples per pixel");
    command.add_option("--search", o.search, "Acceleration structure: tree or grid");
    command.add_flag("--preview", o.preview, "A quarter of the width and height, coarse passes only");
    command.add_option("--import-memory", o.import_megabytes, "Memory limit for reading a model, in MB")
        ->check(CLI::Range(16, 1 << 20))
        ->capture_default_str();
    command.add_option("--import-time", o.import_seconds, "Time limit for reading a model, in seconds")
        ->check(CLI::Range(0.01, 86400.0))
        ->check([](const std::string& text)
            { return text.find_first_of("nN") == std::string::npos ? "" : "a number of seconds is wanted"; })
        ->capture_default_str();
}

void apply_options(const render_options& o, scene& s)
{
    apply_size(o.size, s);
    override_number(render_section, "threads", o.threads, s.render.threads);
    override_number(render_section, "quality", o.quality, s.render.quality);
    override_number(render_section, "antialiasing", o.antialiasing, s.render.antialiasing);
    apply_tone_options(o.tone, s.tone);
    override_choice(render_section, "sampler", "--sampler", o.sampler, s.render.sampler);
    if (o.denoise) { s.render.denoise = true; }
    override_choice(render_section, "indirect", "--indirect", o.indirect, s.render.indirect);
    override_number(render_section, "noise", o.noise, s.render.noise);
    override_number(render_section, "seed", o.seed, s.render.seed);
    override_number(render_section, "seconds", o.seconds, s.render.seconds, "limit");
    override_number(render_section, "max_samples", o.max_samples, s.render.max_samples, "max-samples");
    s.render.min_samples = std::min(s.render.min_samples, s.render.max_samples);
    override_choice(camera_section, "projection", "--projection", o.projection, s.camera.projection);
    override_choice(camera_section, "view", "--view", o.view, s.camera.view);
    if (!o.view.empty())
    {
        if (s.models.empty()) { wrong_usage("--view: the scene has no models to look at"); }
        s.camera.eye = s.camera.target = std::nullopt;
    }
    override_choice(render_section, "light_model", "--light-model", o.light_model, s.render.light_model);
    override_choice(render_section, "search", "--search", o.search, s.render.search);
    apply_region(o.region, s);
    if (o.preview) { apply_preview(s); }
    check_whole(s);
}

namespace
{

void apply_size(const std::string& text, scene& s)
{
    if (text.empty()) { return; }
    int size[2];
    const auto& row = row_of(render_section, "size");
    if (!read_numbers(text, 'x', size, 2))
    {
        wrong_usage(fmt::format("--size: \"{}\" is not like 640x480", text));
    }
    for (int i = 0; i < 2; ++i)
    {
        if (size[i] < row.low || size[i] > row.high)
        {
            wrong_usage(
                fmt::format("--size: {} is outside {} to {} pixels a side", size[i], row.low, row.high));
        }
        s.render.size[i] = size[i];
    }
}

template <class R, class T>
void override_number(
    const section<R>& s, const char* key, const std::optional<T>& given, T& value, const char* option)
{
    if (!given) { return; }
    const auto& row = row_of(s, key);
    if (!(double(*given) >= row.low && double(*given) <= row.high))
    {
        wrong_usage(
            fmt::format("--{}: {} is outside {} to {}", option ? option : key, *given, row.low, row.high));
    }
    value = *given;
}

template <class R>
void override_choice(
    const section<R>& s, const char* key, const char* option, const std::string& given, int& value)
{
    if (given.empty()) { return; }
    const auto& row = row_of(s, key);
    for (int i = 0; row.choices[i]; ++i)
    {
        if (given == row.choices[i])
        {
            value = row.first_choice + i;
            return;
        }
    }
    const char* near = nearest_name(given, row.choices);
    std::string names;
    for (int i = 0; row.choices[i]; ++i) { names += std::string(i ? ", " : "") + row.choices[i]; }
    wrong_usage(fmt::format("{}: \"{}\" is not one of {}{}", option, given, names,
        near ? fmt::format("; did you mean \"{}\"?", near) : ""));
}

template <class R> const key_row<R>& row_of(const section<R>& s, const char* name)
{
    const key_row<R>* row = s.rows;
    while (row->name && std::string(row->name) != name) { ++row; }
    return *row;
}

void apply_region(const std::string& text, scene& s)
{
    if (!text.empty())
    {
        int r[4];
        if (!read_numbers(text, ',', r, 4))
        {
            wrong_usage(fmt::format("--region: \"{}\" is not like 100,50,320,200", text));
        }
        s.render.region = std::array<int, 4>{ r[0], r[1], r[2], r[3] };
    }
    if (!s.render.region) { return; }
    const auto& r = *s.render.region;
    if (r[2] < 1 || r[3] < 1 || r[0] + r[2] > s.render.size[0] || r[1] + r[3] > s.render.size[1])
    {
        wrong_usage(fmt::format("the region {},{},{},{} does not lie in the picture of {}x{}", r[0], r[1],
            r[2], r[3], s.render.size[0], s.render.size[1]));
    }
}

[[noreturn]] void wrong_usage(const std::string& text) { throw failure(exit_usage, text + "; see --help"); }

void apply_preview(scene& s)
{
    // Few samples without grain where light bounces, else the coarse passes alone.
    constexpr int preview_samples = 8;
    const bool converges =
        s.render.sampler == SAMPLER_CONVERGING && s.render.light_model == LIGHT_MODEL_EXACT;
    s.render.fast = !converges;
    s.render.denoise |= converges;
    s.render.max_samples = std::min(s.render.max_samples, preview_samples);
    s.render.min_samples = std::min(s.render.min_samples, s.render.max_samples);
    for (int& side : s.render.size) { side = std::max(side / preview_reduction, 1); }
    if (!s.render.region) { return; }
    auto& r = *s.render.region;
    for (int& v : r) { v /= preview_reduction; }
    for (int i = 0; i < 2; ++i)
    {
        r[i] = std::min(r[i], s.render.size[i] - 1);
        r[i + 2] = std::clamp(r[i + 2], 1, s.render.size[i] - r[i]);
    }
}

/// What no single key can say.
void check_whole(const scene& s)
{
    const bool has_planes = !s.output.depth.empty() || !s.output.object_id.empty();
    if (has_planes && s.render.quality < 3)
    {
        throw failure(exit_bad_scene,
            fmt::format("{}: depth and object_id pictures exist from quality 3 on; the quality is {}",
                s.file.string(), s.render.quality));
    }
    if (s.output.depth_near && s.output.depth_far && *s.output.depth_near >= *s.output.depth_far)
    {
        throw failure(exit_bad_scene, fmt::format("{}: depth_near {} must be below depth_far {}",
                                          s.file.string(), *s.output.depth_near, *s.output.depth_far));
    }
    if (has_planes && s.render.fast)
    {
        throw failure(exit_bad_scene, fmt::format("{}: depth and object_id pictures need the last pass, "
                                                  "which fast mode and --preview leave out",
                                          s.file.string()));
    }
    if (s.camera.f_stop && s.render.quality < 3)
    {
        throw failure(exit_bad_scene, fmt::format("{}: f_stop needs quality 3 or more; the quality is {}",
                                          s.file.string(), s.render.quality));
    }
    if (s.camera.sub_frame && s.camera.projection != 2)
    {
        throw failure(
            exit_bad_scene, fmt::format("{}: only a perspective picture has a sub_frame", s.file.string()));
    }
    if (s.camera.projection == 1 && s.camera.eye && !s.camera.parallel_width)
    {
        throw failure(exit_bad_scene,
            fmt::format("{}: a parallel picture needs parallel_width in [camera]", s.file.string()));
    }
}

} // namespace

} // namespace host
