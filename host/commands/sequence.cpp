#include "host/commands/sequence.hpp"

#include "host/failure.hpp"
#include "zirconlite/picture/tone.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <sstream>

namespace host
{

namespace
{

constexpr size_t max_frames = 9999;
constexpr int minutes_of_day = 24 * 60;

/// FROM..TO/STEP, or FROM alone.
struct range
{
    std::string from, to, step;
};

struct step_unit
{
    char letter;
    int steps;
};

/// One number of the exposure: in the text by its name, in the view by its place.
struct exposure_row
{
    const char* name;
    double (*get)(const render_view&);
    void (*set)(render_view&, double); ///< null: must equal what the view has
};
constexpr exposure_row exposure_rows[] = {
    { "method", [](const render_view& v) { return double(v.tone_method); }, nullptr },
    { "brightness", [](const render_view& v) { return double(v.brightness); }, nullptr },
    { "contrast", [](const render_view& v) { return double(v.contrast); }, nullptr },
    { "source_gain", [](const render_view& v) { return double(v.source_gain); }, nullptr },
    { "world_luminance", [](const render_view& v) { return v.world_luminance; },
        [](render_view& v, double x) { v.world_luminance = x; } },
    { "measured_luminance", [](const render_view& v) { return v.measured_luminance; },
        [](render_view& v, double x) { v.measured_luminance = x; } },
    { "tone_exponent", [](const render_view& v) { return v.tone_exponent; },
        [](render_view& v, double x) { v.tone_exponent = x; } },
    { "tone_scale", [](const render_view& v) { return v.tone_scale; },
        [](render_view& v, double x) { v.tone_scale = x; } },
    { "background_exponent", [](const render_view& v) { return v.background_exponent; },
        [](render_view& v, double x) { v.background_exponent = x; } },
    { "background_scale", [](const render_view& v) { return v.background_scale; },
        [](render_view& v, double x) { v.background_scale = x; } },
    { "film_fixed", [](const render_view& v) { return double(v.film_fixed); }, nullptr },
    { "film_ev", [](const render_view& v) { return double(v.film_ev); }, nullptr },
    { "film_automatic_white", [](const render_view& v) { return double(v.film_automatic_white); }, nullptr },
    { "film_white_red", [](const render_view& v) { return double(v.film_white[0]); }, nullptr },
    { "film_white_blue", [](const render_view& v) { return double(v.film_white[2]); }, nullptr },
    { "measured_highlight", [](const render_view& v) { return double(v.measured_highlight); },
        [](render_view& v, double x) { v.measured_highlight = float(x); } },
    { "measured_red", [](const render_view& v) { return double(v.measured_white[0]); },
        [](render_view& v, double x) { v.measured_white[0] = float(x); } },
    { "measured_green", [](const render_view& v) { return double(v.measured_white[1]); },
        [](render_view& v, double x) { v.measured_white[1] = float(x); } },
    { "measured_blue", [](const render_view& v) { return double(v.measured_white[2]); },
        [](render_view& v, double x) { v.measured_white[2] = float(x); } },
};

constexpr float histogram::*histogram_fields[] = { &histogram::log_min, &histogram::log_max,
    &histogram::lum_min, &histogram::lum_max, &histogram::bin_width, &histogram::inverse_bin_width,
    &histogram::world_lum, &histogram::log_world, &histogram::curve_exponent };

/// Reads words and numbers; after the first that is missing or not finite nothing more is right.
struct text_reader
{
    std::istringstream in;
    bool is_right = true;

    bool word(const char* wanted)
    {
        std::string found;
        return is_right = is_right && in >> found && found == wanted;
    }
    double number()
    {
        std::string found;
        if (!is_right || !(in >> found)) { is_right = false; }
        char* end = nullptr;
        const double value = std::strtod(found.c_str(), &end);
        is_right = is_right && !found.empty() && !*end && std::isfinite(value);
        return is_right ? value : 0;
    }
};

std::vector<frame_moment> days_of(const range& r, const std::string& given, const std::string& time);
std::vector<frame_moment> times_of(const range& r, const std::string& given, const std::string& date);
int read_step(const std::string& text, std::initializer_list<step_unit> units);
[[noreturn]] void wrong_usage(const std::string& text);
int number_of_day(const std::string& date);
std::string day_text(int number);
range split(const std::string& text);
std::filesystem::path numbered(const std::filesystem::path& file, size_t number);
void read_histogram(render_view& view, double count, text_reader& text);

} // namespace

void add_sequence_options(CLI::App& command, sequence_options& o)
{
    command.add_option("--time", o.time, "The clock, 14:30; or a series of frames, 06:00..20:00/15m");
    command.add_option(
        "--date", o.date, "The day, 2026-06-21; or a series of frames, 2026-01-01..2026-12-31/7d");
    command
        .add_option("--exposure", o.exposure,
            "Of a series: locked, one for all, of the first, the middle and the last frame, kept beside "
            "them; or running, each frame "
            "its own")
        ->check(CLI::IsMember({ "locked", "running" }))
        ->capture_default_str();
}

std::vector<frame_moment> read_sequence(const sequence_options& o, const scene& s)
{
    if (o.time.empty() && o.date.empty()) { return {}; }
    if (!s.sun.is_on || s.sun.azimuth_deg)
    {
        throw failure(
            exit_bad_scene, fmt::format("{}: --time and --date need a [sun] with a place", s.file.string()));
    }
    const range time = split(o.time.empty() ? s.sun.time : o.time),
                date = split(o.date.empty() ? s.sun.date : o.date);
    if (!time.to.empty() && !date.to.empty())
    {
        wrong_usage("a series runs over --time or over --date, not both");
    }
    if (time.to.empty() && !read_time(time.from))
    {
        wrong_usage(fmt::format("--time: \"{}\" is not like 14:30 or 06:00..20:00/15m", time.from));
    }
    if (date.to.empty() && !read_date(date.from))
    {
        wrong_usage(
            fmt::format("--date: \"{}\" is not like 2026-06-21 or 2026-01-01..2026-12-31/7d", date.from));
    }
    std::vector<frame_moment> frames = { { date.from, time.from } };
    if (!date.to.empty()) { frames = days_of(date, o.date, time.from); }
    else if (!time.to.empty()) { frames = times_of(time, o.time, date.from); }
    if (frames.empty()) { wrong_usage(fmt::format("--date: {} ends before it begins", o.date)); }
    if (frames.size() > max_frames)
    {
        wrong_usage(fmt::format("a series has at most {} frames", max_frames));
    }
    return frames;
}

bool is_range(const sequence_options& o) { return !split(o.time).to.empty() || !split(o.date).to.empty(); }

output_files frame_files(const output_files& files, size_t number)
{
    output_files frame = files;
    for (std::filesystem::path* file : { &frame.picture, &frame.alpha, &frame.depth, &frame.object_id })
    {
        *file = numbered(*file, number);
    }
    for (std::filesystem::path& file : frame.variants) { file = numbered(file, number); }
    return frame;
}

bool frame_exists(const output_files& frame)
{
    std::error_code error;
    for (const std::filesystem::path* file : { &frame.picture, &frame.alpha, &frame.depth, &frame.object_id })
    {
        if (!file->empty() && !std::filesystem::exists(*file, error)) { return false; }
    }
    for (const std::filesystem::path& file : frame.variants)
    {
        if (!std::filesystem::exists(file, error)) { return false; }
    }
    return true;
}

std::filesystem::path exposure_file(const output_files& files)
{
    std::filesystem::path name = files.picture.stem();
    name += "-exposure.txt";
    return files.picture.parent_path() / name;
}

measured_frame measured_frame_of(const render_view& view)
{
    measured_frame frame{ {}, view.measured_luminance, {} };
    std::copy_n(view.measured_white, 3, frame.measured_white.begin());
    if (!view.histogram) { return frame; }
    // A finished histogram counts its capped bins; it was made of one pixel in 16 by 16, black ones included.
    const size_t taken = size_t((view.width + 15) / 16) * size_t((view.height + 15) / 16);
    const size_t count =
        view.tone_method == TONE_HISTOGRAM ? taken : size_t(std::max(view.histogram->count, 0));
    const float* samples = view.histogram->samples;
    frame.log_samples.assign(samples, samples + std::min(count, size_t(view.histogram->capacity)));
    return frame;
}

/// The geometric mean of the frames' colours.
void join_whites(const std::vector<measured_frame>& frames, float (&white)[3])
{
    double sum[3] = {};
    int colored = 0;
    for (const measured_frame& f : frames)
    {
        if (!(f.measured_white[0] > 0)) { continue; }
        for (int i = 0; i < 3; ++i) { sum[i] += std::log(f.measured_white[size_t(i)]); }
        ++colored;
    }
    for (int i = 0; i < 3; ++i) { white[i] = colored ? float(std::exp(sum[i] / colored)) : 0.0f; }
}

bool join_exposures(render_view& view, const std::vector<measured_frame>& frames)
{
    const int32_t size[2] = { std::max(view.width, view.height),
        int32_t(frames.size()) * (std::max(view.width, view.height) + 16) };
    unlock_exposure(view);
    if (make_histogram(&view, size) != 1) { return false; }
    double log_sum = 0;
    int lit = 0;
    for (const measured_frame& f : frames)
    {
        for (const float sample : f.log_samples)
        {
            histogram_add_sample(&view, float(std::pow(10.0, sample)));
        }
        if (!(f.measured_luminance > 0)) { continue; }
        log_sum += std::log10(f.measured_luminance);
        ++lit;
    }
    const double mean = lit ? log_sum / lit : 0;
    view.measured_luminance = lit ? std::pow(10.0, mean) : 0;
    view.world_luminance = lit ? std::pow(10.0, mean - view.brightness) : 0;
    join_whites(frames, view.measured_white);
    finish_histogram(&view, lit ? view.measured_luminance : 0.001);
    zr_set_raytrace_tone_operator(&view);
    view.view_flags |= VIEW_TONE_VALID;
    return true;
}

std::string exposure_text(const render_view& view)
{
    std::string text = "zirconlite exposure 1\n";
    for (const exposure_row& row : exposure_rows) { text += fmt::format("{} {}\n", row.name, row.get(view)); }
    const bool has_histogram = view.histogram && view.histogram->count > 0;
    text += fmt::format("histogram {}", has_histogram ? view.histogram->count : 0);
    if (!has_histogram) { return text + "\n"; }
    const histogram& h = *view.histogram;
    for (float histogram::*field : histogram_fields) { text += fmt::format(" {}", h.*field); }
    for (const histogram_bin& bin : h.bins) { text += fmt::format("\nbin {} {}", bin.edge, bin.cumulative); }
    return text + "\n";
}

void lock_exposure(render_view& view, const std::string& text, const std::filesystem::path& file)
{
    unlock_exposure(view);
    text_reader in{ std::istringstream(text) };
    in.word("zirconlite");
    in.word("exposure");
    in.word("1");
    for (const exposure_row& row : exposure_rows)
    {
        in.word(row.name);
        const double value = in.number();
        if (!in.is_right) { break; }
        if (row.set) { row.set(view, value); }
        else if (value != row.get(view))
        {
            throw failure(exit_bad_scene,
                fmt::format(
                    "{}: made with a {} of {}, and now it is {}; remove it and the frames to begin anew",
                    file.string(), row.name, value, row.get(view)));
        }
    }
    in.word("histogram");
    const double count = in.number();
    if (count >= 1 && count <= 1e9) { read_histogram(view, count, in); }
    if (!in.is_right)
    {
        throw failure(exit_bad_scene,
            fmt::format("{}: is damaged; remove it and the frames to begin anew", file.string()));
    }
    view.view_flags |= VIEW_TONE_VALID;
    view.exposure_flags |= EXPOSURE_LOCKED;
}

void unlock_exposure(render_view& view)
{
    view.view_flags &= ~uint32_t(VIEW_TONE_VALID);
    view.exposure_flags &= ~uint32_t(EXPOSURE_LOCKED);
    zr_free_histogram(view.histogram);
    view.histogram = nullptr;
    view.tone_exponent = view.tone_scale = view.background_exponent = view.background_scale = 1;
}

namespace
{

std::vector<frame_moment> days_of(const range& r, const std::string& given, const std::string& time)
{
    const int step = read_step(r.step, { { 'd', 1 }, { 'w', 7 } });
    if (!read_date(r.from) || !read_date(r.to) || step < 1)
    {
        wrong_usage(fmt::format("--date: \"{}\" is not like 2026-06-21 or 2026-01-01..2026-12-31/7d", given));
    }
    std::vector<frame_moment> frames;
    const int last = number_of_day(r.to);
    for (int day = number_of_day(r.from); day <= last && frames.size() <= max_frames; day += step)
    {
        frames.push_back({ day_text(day), time });
    }
    return frames;
}

/// A range that ends before it begins goes on past midnight.
std::vector<frame_moment> times_of(const range& r, const std::string& given, const std::string& date)
{
    const auto from = read_time(r.from), to = read_time(r.to);
    const int step = read_step(r.step, { { 'm', 1 }, { 'h', 60 } });
    if (!from || !to || step < 1)
    {
        wrong_usage(fmt::format("--time: \"{}\" is not like 14:30 or 06:00..20:00/15m", given));
    }
    std::vector<frame_moment> frames;
    const int first_day = number_of_day(date), last = *to < *from ? *to + minutes_of_day : *to;
    for (int t = *from; t <= last; t += step)
    {
        const int minute = t % minutes_of_day;
        frames.push_back({ day_text(first_day + t / minutes_of_day),
            fmt::format("{:02}:{:02}", minute / 60, minute % 60) });
    }
    return frames;
}

/// "15m" by the units of a range; 0 when it is nothing like that.
int read_step(const std::string& text, std::initializer_list<step_unit> units)
{
    if (text.size() < 2 || text.size() > 6) { return 0; }
    int number = 0;
    for (size_t i = 0; i + 1 < text.size(); ++i)
    {
        if (text[i] < '0' || text[i] > '9') { return 0; }
        number = 10 * number + (text[i] - '0');
    }
    for (const step_unit& u : units)
    {
        if (u.letter == text.back()) { return number * u.steps; }
    }
    return 0;
}

[[noreturn]] void wrong_usage(const std::string& text) { throw failure(exit_usage, text + "; see --help"); }

int number_of_day(const std::string& date)
{
    const calendar_day day = read_date(date).value();
    return int(std::chrono::sys_days(std::chrono::year(day.year) / 1 / 1).time_since_epoch().count()) +
           day.day_of_year;
}

std::string day_text(int number)
{
    const std::chrono::year_month_day d{ std::chrono::sys_days(std::chrono::days(number)) };
    return fmt::format("{:04}-{:02}-{:02}", int(d.year()), unsigned(d.month()), unsigned(d.day()));
}

range split(const std::string& text)
{
    const size_t dots = text.find(".."), slash = text.find('/');
    if (dots == std::string::npos) { return { text, "", "" }; }
    if (slash == std::string::npos || slash < dots)
    {
        return { text.substr(0, dots), text.substr(dots + 2), "" };
    }
    return { text.substr(0, dots), text.substr(dots + 2, slash - dots - 2), text.substr(slash + 1) };
}

std::filesystem::path numbered(const std::filesystem::path& file, size_t number)
{
    if (file.empty()) { return file; }
    std::filesystem::path name = file.stem();
    name += fmt::format("-{:04}", number);
    name += file.extension();
    return file.parent_path() / name;
}

void read_histogram(render_view& view, double count, text_reader& text)
{
    const int32_t smallest[2] = { 1, 1 };
    if (make_histogram(&view, smallest) != 1)
    {
        throw failure(exit_render_failed, "no memory for an exposure");
    }
    histogram& h = *view.histogram;
    h.count = int32_t(count);
    for (float histogram::*field : histogram_fields) { h.*field = float(text.number()); }
    h.curve_top = 1;
    for (histogram_bin& bin : h.bins)
    {
        text.word("bin");
        bin.edge = float(text.number());
        bin.cumulative = float(text.number());
    }
    // The curve is looked up by the bins: they must be as wide as they say and rise.
    text.is_right = text.is_right && h.bin_width > 0 && h.inverse_bin_width > 0;
    for (int i = 1; i < HISTOGRAM_BINS; ++i)
    {
        text.is_right = text.is_right && h.bins[i].edge > h.bins[i - 1].edge &&
                        h.bins[i].cumulative >= h.bins[i - 1].cumulative && h.bins[i].cumulative <= 1;
    }
    zr_modify_histogram(&view);
}

} // namespace

} // namespace host
