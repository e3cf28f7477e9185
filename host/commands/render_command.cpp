/// @file
/// `zirconlite render`: scene, models, acceleration structure, job, pictures; and how a signal ends each of
/// them.
#include "host/build/build_daylight.hpp"
#include "host/build/build_environment.hpp"
#include "host/build/build_luminaire.hpp"
#include "host/build/build_scene.hpp"
#include "host/build/model_scene.hpp"
#include "host/commands/commands.hpp"
#include "host/commands/render_options.hpp"
#include "host/commands/render_output.hpp"
#include "host/failure.hpp"
#include "host/library_session.hpp"
#include "host/pictures/picture_files.hpp"
#include "host/stop_signals.hpp"
#include "host/text.hpp"
#include "zirconlite/jobs/render_job.h"
#include "zirconlite/picture/tone.h"
#include "zirconlite/sampling/converging.h"
#include "zirconlite/search/search_structure.h"
#include "zirconlite/search/voxel_grid.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <memory>
#include <unistd.h>

namespace host
{

namespace
{

constexpr int poll_ms = 50;
// Of the two seconds that a stop may take, the rest is for writing.
constexpr int stop_wait_ms = 1200;

/// What one run renders with: its scene in the library, ready for jobs.
struct render_session
{
    document* d;
    output_files files;
    progress_line& progress;
    render_job job{}; ///< outlives a job that does not stop in time
};

int render(const render_options& o);
void print_counts(const built_scene& built, const scene& s);
bool read_kept_light(const std::string& file, const scene& s, document* d);
int render_series(
    const scene& s, render_session& session, const std::vector<frame_moment>& moments, bool locked);
std::string series_exposure(
    const scene& s, render_session& session, const std::vector<frame_moment>& moments);
std::string read_text(const std::filesystem::path& file);
std::string measure_series(const scene& s, render_session& session, const std::vector<frame_moment>& moments);
scene scene_at(const scene& s, const frame_moment& moment, render_session& session);
void render_frame(const scene& s, render_session& session, const output_files& files);
int render_picture(const scene& s, render_session& session);
void note_what_does_not_count(const scene& s);
bool render_view_once(const scene& s, render_session& session);
void prepare_job(const scene& s, document* d, render_job& job);
void set_region(const scene& s, render_job& job);
void measure_by_probes(document* d);
bool run_job(document* d, render_job& job);
[[noreturn]] void leave_running_job(const scene& s, document* d, const output_files& files);
uint32_t state_of(document* d);
void note_samples(const scene& s, const document& d);
void write_kept_light(const std::string& file, document* d);
void note(const std::string& line);
double seconds_since(std::chrono::steady_clock::time_point start);

} // namespace

std::function<int()> setup_render(CLI::App& command)
{
    auto options = std::make_shared<render_options>();
    add_render_options(command, *options);
    return [options] { return render(*options); };
}

namespace
{

int render(const render_options& o)
{
    const auto start = std::chrono::steady_clock::now();
    const bool is_model = is_model_file(o.scene);
    scene s = is_model ? scene_of_model(o.scene) : read_scene(o.scene);
    apply_options(o, s);
    const bool is_series = is_range(o.sequence);
    if (is_series && s.render.calibration)
    {
        throw failure(exit_usage, "a calibration has no series; see --help");
    }
    if (is_series && !o.light_cache.empty())
    {
        throw failure(exit_usage, "--light-cache: the light of a series changes with the sun");
    }
    if (!o.sequence.date.empty()) { s.given_keys.insert("sun.date"); }
    if (!o.sequence.time.empty()) { s.given_keys.insert("sun.time"); }
    const output_files files = prepare_output(s, o.output);
    // Single bright dots spoil a picture, but where light is measured they belong to it.
    const bool is_measured = keeps_radiance(files.picture) ||
                             std::any_of(files.variants.begin(), files.variants.end(), keeps_radiance);
    if (is_measured && !s.render.clamp_indirect) { s.render.clamp_indirect = 0; }

    progress_line progress(redraws_lines(STDERR_FILENO));
    library_session library(progress);
    document* d = library.scene;
    import_limits limits;
    limits.memory_bytes = uint64_t(o.import_megabytes) << 20;
    limits.seconds = o.import_seconds;
    std::vector<std::string> notes;
    apply_settings_files(s, d, notes);
    apply_tone_options(o.tone, s.tone); // what the command line says goes before files
    const std::vector<frame_moment> moments = read_sequence(o.sequence, s); // its day may be a file's
    if (!moments.empty())
    {
        s.sun.date = moments.front().date;
        s.sun.time = moments.front().time;
    }
    place_luminaires(s, notes);
    built_scene built = build_scene(s, d, limits);
    built.notes.insert(built.notes.begin(), notes.begin(), notes.end());
    print_counts(built, s);
    if (!s.camera.eye) { note(camera_line(built.camera)); }
    if (is_model) { note(light_line(s)); }
    if (is_model) { note(ground_line(d->ground_height)); }
    build_view(s, d, built);

    zr_set_search_structure(s.render.search);
    if (!zr_build_voxel_grid(d))
    {
        progress.finish();
        end_if_stopped("the sorting of the scene");
        throw failure(exit_render_failed, "the scene cannot be sorted" + library_error());
    }
    end_if_stopped("the sorting of the scene");

    const bool keeps_light = !o.light_cache.empty(),
               has_light = keeps_light && read_kept_light(o.light_cache, s, d);
    render_session session{ d, files, progress };
    const int code = is_series ? render_series(s, session, moments, o.sequence.exposure == "locked")
                               : render_picture(s, session);
    if (code == exit_done && keeps_light && !has_light) { write_kept_light(o.light_cache, d); }
    if (code == exit_done && !s.render.calibration)
    {
        std::fprintf(stderr, "done in %s\n", clock_text(seconds_since(start)).c_str());
    }
    return code;
}

void print_counts(const built_scene& built, const scene& s)
{
    for (const std::string& note : built.notes) { std::fprintf(stderr, "zirconlite: %s\n", note.c_str()); }
    const auto sends_light = [](const scene_light& l) { return l.kind != light_group; };
    std::fprintf(stderr, "%llu triangles, %zu lights\n", static_cast<unsigned long long>(built.triangles),
        size_t(std::count_if(s.lights.begin(), s.lights.end(), sends_light)));
}

/// Light kept in a file goes into the document. False where there is no such file yet.
bool read_kept_light(const std::string& file, const scene& s, document* d)
{
    if (s.render.indirect != INDIRECT_CACHE || s.render.sampler != SAMPLER_CONVERGING)
    {
        throw failure(exit_usage,
            "--light-cache: the light of a cache is wanted: --indirect cache and the converging sampler");
    }
    std::error_code error;
    if (!std::filesystem::exists(file, error))
    {
        const std::filesystem::path folder = std::filesystem::absolute(file, error).parent_path();
        if (std::filesystem::is_directory(folder, error)) { return false; }
        throw failure(
            exit_usage, fmt::format("--light-cache: {}: there is no folder {}", file, folder.string()));
    }
    if (!zr_read_light_cache(d, utf16_of(std::filesystem::path(file)).c_str()))
    {
        throw failure(exit_bad_scene, "the light cache cannot be used" + library_error());
    }
    return true;
}

int render_series(
    const scene& s, render_session& session, const std::vector<frame_moment>& moments, bool locked)
{
    render_view& view = session.d->views[1];
    const std::string exposure = locked ? series_exposure(s, session, moments) : "";
    size_t there = 0;
    for (size_t i = 0; i < moments.size(); ++i)
    {
        const output_files files = frame_files(session.files, i + 1);
        if (frame_exists(files))
        {
            ++there;
            continue;
        }
        end_if_stopped("this frame; start again for the missing ones");
        const scene at = scene_at(s, moments[i], session);
        if (locked) { lock_exposure(view, exposure, exposure_file(session.files)); }
        else { unlock_exposure(view); }
        std::fprintf(stderr, "frame %zu of %zu, %s %s\n", i + 1, moments.size(), moments[i].date.c_str(),
            moments[i].time.c_str());
        render_frame(at, session, files);
    }
    if (there) { std::fprintf(stderr, "frames that were there: %zu\n", there); }
    return exit_done;
}

/// The exposure that all frames of a series have: that beside the frames, which must be of the same settings,
/// or one that is measured now and is on the disk before the first frame.
std::string series_exposure(const scene& s, render_session& session, const std::vector<frame_moment>& moments)
{
    const std::filesystem::path file = exposure_file(session.files);
    if (std::filesystem::exists(file))
    {
        std::string text = read_text(file);
        set_exposure(session.d->views[1], s.tone);
        lock_exposure(session.d->views[1], text, file);
        return text;
    }
    for (size_t i = 0; i < moments.size(); ++i)
    {
        const output_files frame = frame_files(session.files, i + 1);
        if (!frame_exists(frame)) { continue; }
        throw failure(exit_bad_scene, fmt::format("{}: is there without {}; remove the frames to begin anew",
                                          frame.picture.string(), file.string()));
    }
    std::string text = measure_series(s, session, moments);
    write_text(file, text);
    return text;
}

std::string read_text(const std::filesystem::path& file)
{
    std::ifstream in(file, std::ios::binary);
    std::string text(64 * 1024, '\0'); // several times what an exposure takes
    in.read(text.data(), std::streamsize(text.size()));
    text.resize(size_t(in.gcount()));
    return text;
}

/// The exposure of a whole series, by the coarse pixels of its first, last and middle frame.
std::string measure_series(const scene& s, render_session& session, const std::vector<frame_moment>& moments)
{
    render_view& view = session.d->views[1];
    std::vector<size_t> chosen = { 0, moments.size() - 1, moments.size() / 2 };
    if (moments.size() < 3) { chosen.resize(moments.size()); }
    std::vector<measured_frame> measured;
    for (const size_t i : chosen)
    {
        scene at = scene_at(s, moments[i], session);
        at.render.calibration = true;
        at.render.skip_preprocess = false;
        unlock_exposure(view);
        std::fprintf(stderr, "measuring %s %s\n", moments[i].date.c_str(), moments[i].time.c_str());
        if (!render_view_once(at, session)) { leave_running_job(at, session.d, session.files); }
        end_if_stopped("the measuring");
        measured.push_back(measured_frame_of(view));
    }
    if (!join_exposures(view, measured)) { throw failure(exit_render_failed, "no memory for an exposure"); }
    return exposure_text(view);
}

/// The scene at a moment, and the library's daylight with it.
scene scene_at(const scene& s, const frame_moment& moment, render_session& session)
{
    scene at = s;
    at.sun.date = moment.date;
    at.sun.time = moment.time;
    set_daylight(at.sun, session.d);
    set_exposure(session.d->views[1], s.tone);
    return at;
}

/// One frame. A stopped one is not kept: the series goes on with it when started again.
void render_frame(const scene& s, render_session& session, const output_files& files)
{
    if (!render_view_once(s, session))
    {
        std::fprintf(stderr, "zirconlite: stopped; start again for the missing frames\n");
        std::fflush(nullptr);
        _exit(stopped_exit_code());
    }
    end_if_stopped("this frame; start again for the missing ones");
    if (!(state_of(session.d) & RENDER_STATE_FINISHED))
    {
        throw failure(exit_render_failed, "the render ended early" + library_error());
    }
    write_output(s, session.d, files);
}

/// The picture of a scene file that asks for no series.
int render_picture(const scene& s, render_session& session)
{
    document* d = session.d;
    note_what_does_not_count(s);
    if (!render_view_once(s, session)) { leave_running_job(s, d, session.files); }
    const bool preprocessed = s.render.skip_preprocess || state_of(d) & RENDER_STATE_PREPROCESSED;
    if (stop_signal() && !preprocessed) { end_if_stopped("the measuring"); }
    if (s.render.calibration)
    {
        std::printf("mean luminance %.4g cd/m2\n", d->views[1].measured_luminance);
        return exit_done;
    }
    if (!stop_signal() && !(state_of(d) & RENDER_STATE_FINISHED))
    {
        throw failure(exit_render_failed, "the render ended early" + library_error());
    }
    write_output(s, d, session.files);
    note_samples(s, *d);
    if (!stop_signal()) { return exit_done; }
    std::fprintf(stderr, "zirconlite: stopped; the unfinished picture is saved\n");
    return stopped_exit_code();
}

void note_what_does_not_count(const scene& s)
{
    const bool converges =
        s.render.sampler == SAMPLER_CONVERGING && s.render.light_model == LIGHT_MODEL_EXACT;
    if (s.render.denoise && !converges)
    {
        note("denoise needs the converging sampler and the exact light model; the picture keeps its grain");
    }
}

/// Renders the view to its end or to a stop. False when workers still run.
bool render_view_once(const scene& s, render_session& session)
{
    prepare_job(s, session.d, session.job);
    const bool has_exposure = session.job.view->exposure_flags & EXPOSURE_LOCKED;
    if (s.render.skip_preprocess && !has_exposure) { measure_by_probes(session.d); }
    session.progress.restart();
    const bool ended = run_job(session.d, session.job);
    session.progress.finish();
    return ended;
}

void prepare_job(const scene& s, document* d, render_job& job)
{
    job = {};
    job.document = d;
    job.view = &d->views[1];
    if (s.render.region) { set_region(s, job); }
    zr_set_max_raytrace_threads(s.render.threads ? s.render.threads : -1);
    zr_set_calibration_frame(s.render.calibration);
    zr_rt_skip_preprocess(s.render.skip_preprocess);
}

/// The region as the job takes it: it works on multiples of 16 (left, bottom) and 4 (right, top), so it is
/// asked for enough to cover the wanted pixels.
void set_region(const scene& s, render_job& job)
{
    const auto& r = *s.render.region;
    const int width = s.render.size[0], height = s.render.size[1];
    const int bottom = height - (r[1] + r[3]), top = height - r[1], right = r[0] + r[2];
    // A job's region ends at a multiple of 4: what lies beyond the last one takes the whole picture.
    if (right > width / 4 * 4 || top > height / 4 * 4) { return; }
    const auto low = [](int v, int size) { return v == 0 ? 0.0 : (v + 0.5) / size; };
    const auto high = [](int v, int size)
    {
        const int even = (v + 3) / 4 * 4;
        return even >= size ? 1.0 : (even + 0.5) / size;
    };
    job.flags |= JOB_REGION;
    job.region[0] = low(r[0], width);
    job.region[1] = low(bottom, height);
    job.region[2] = high(right, width);
    job.region[3] = high(top, height);
}

void measure_by_probes(document* d)
{
    zr_init_raytrace(d, &d->views[1]);
    zr_set_rt_world_log_avg_luminance(d, &d->views[1]);
    zr_get_raytrace_tone_op_from_world_lum(&d->views[1]);
}

/// Runs the job to its end or to a stop. False when workers still run after a stop: a pixel can take long.
bool run_job(document* d, render_job& job)
{
    const int32_t started = zr_raytrace(&job);
    if (started != 1)
    {
        throw failure(exit_render_failed, started == -2 ? "out of memory for a picture of this size"
                                                        : "the render does not start" + library_error());
    }
    while (!zr_wait_for_render(d, poll_ms))
    {
        if (!stop_signal()) { continue; }
        __atomic_store_n(&d->stop_render, 1, __ATOMIC_SEQ_CST);
        return zr_wait_for_render(d, stop_wait_ms);
    }
    return true;
}

/// Ends the process with the job still running: what the passes left is saved, nothing is taken down.
[[noreturn]] void leave_running_job(const scene& s, document* d, const output_files& files)
{
    if (state_of(d) & RENDER_STATE_PREPROCESSED) { write_output(s, d, files); }
    std::fflush(nullptr);
    _exit(stopped_exit_code());
}

uint32_t state_of(document* d) { return __atomic_load_n(&d->render_state, __ATOMIC_SEQ_CST); }

void note_samples(const scene& s, const document& d)
{
    sampling_progress reached;
    zr_get_sampling_progress(&reached);
    if (s.render.sampler != SAMPLER_CONVERGING || reached.mean_samples == 0) { return; }
    note(fmt::format(
        "{:.1f} samples a pixel, error {:.2f} of 255 on average, {:.1f} % of the pixels below {:g}; {}{}",
        reached.mean_samples, reached.error, 100 * reached.done_share, s.render.noise,
        how_indirect_light_was_found(d), d.denoise ? ", denoised" : ""));
}

void write_kept_light(const std::string& file, document* d)
{
    if (!zr_write_light_cache(d, utf16_of(std::filesystem::path(file)).c_str()))
    {
        throw failure(exit_render_failed, "the light cache cannot be kept" + library_error());
    }
    note(file + ": light of the scene");
}

void note(const std::string& line) { std::fprintf(stderr, "%s\n", line.c_str()); }

double seconds_since(std::chrono::steady_clock::time_point start)
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

} // namespace

} // namespace host
