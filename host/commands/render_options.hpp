/// @file
/// The options of `zirconlite render` and how they change a scene.
#pragma once

#include "host/commands/sequence.hpp"
#include "host/models/import.hpp"
#include "host/scene/scene.hpp"

namespace CLI
{
class App;
}

namespace host
{

/// From light to screen; what is not given stays as it is.
struct tone_options
{
    std::optional<double> brightness, contrast;
    std::string method;
};

void add_tone_options(CLI::App& command, tone_options& o);

/// Throws `failure` for wrong usage.
void apply_tone_options(const tone_options& o, scene_tone& tone);

struct render_options
{
    std::string scene;
    std::string output; ///< from the working folder, unlike paths in the scene
    std::string size, region;
    std::optional<int> threads, quality, max_samples, seed;
    std::optional<double> noise, seconds;
    std::string sampler;
    std::string indirect;
    std::string light_cache; ///< file of the light kept; from the working folder
    bool denoise = false;
    std::optional<double> antialiasing;
    tone_options tone;
    sequence_options sequence;
    std::string projection, view, light_model, search;
    bool preview = false;
    int import_megabytes = 4096;
    double import_seconds = 300;
};

void add_render_options(CLI::App& command, render_options& o);

/// Puts the options over the scene's own settings and checks what then does not fit together. Throws
/// `failure` for wrong usage.
void apply_options(const render_options& o, scene& s);

/// "640x480" or "10,20,300,200": `count` whole numbers of at most nine digits with `separator` between them.
/// False when the text is anything else.
bool read_numbers(const std::string& text, char separator, int* out, int count);

} // namespace host
