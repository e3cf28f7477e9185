/// @file
/// Series of pictures over a day or a year: their moments, the names of their files, and the one exposure
/// that all frames of a series share.
#pragma once

#include "host/commands/render_output.hpp"
#include "host/scene/scene.hpp"
#include "zirconlite/frame/document.h"

namespace CLI
{
class App;
}

namespace host
{

struct sequence_options
{
    std::string time, date; ///< one moment, or FROM..TO/STEP
    std::string exposure = "locked";
};

void add_sequence_options(CLI::App& command, sequence_options& o);

/// A moment as a scene writes it.
struct frame_moment
{
    std::string date, time;
};

/// The frames that the options ask for: none without them, one for a single moment. Throws `failure` for
/// wrong usage, and when the scene's sun does not follow place and time.
std::vector<frame_moment> read_sequence(const sequence_options& o, const scene& s);

/// Whether they ask for a series, if only of one frame.
bool is_range(const sequence_options& o);

/// "day.png" as "day-0007.png" for frame 7; every file of the render.
output_files frame_files(const output_files& files, size_t number);

/// Whether every file of a frame is there. Frames take their names when they are whole, so these are.
bool frame_exists(const output_files& frame);

/// Where a series with one exposure keeps it: "day-exposure.txt" for "day.png".
std::filesystem::path exposure_file(const output_files& files);

/// What the exposure of one frame was measured from.
struct measured_frame
{
    std::vector<float> log_samples;      ///< of the histogram
    double measured_luminance;           ///< 0 without light
    std::array<float, 3> measured_white; ///< 0 unknown
};
measured_frame measured_frame_of(const render_view& view);

/// Gives the view the exposure of several frames together. False when memory fails.
bool join_exposures(render_view& view, const std::vector<measured_frame>& frames);

/// The exposure of the view's picture, as text that keeps every bit.
std::string exposure_text(const render_view& view);

/// Puts such a text into force, locked. Throws `failure` when it is damaged, or was made for another tone
/// method, brightness, contrast or gain than the view has; `file` is for the message.
void lock_exposure(render_view& view, const std::string& text, const std::filesystem::path& file);

/// Lets the next render measure as if it were the view's first.
void unlock_exposure(render_view& view);

} // namespace host
