/// @file
/// `zirconlite render`: scene, models, search structure, job, pictures; and how a signal ends each of them.
#include "host/build_scene.hpp"
#include "host/commands.hpp"
#include "host/failure.hpp"
#include "host/library_session.hpp"
#include "host/render_options.hpp"
#include "host/render_output.hpp"
#include "host/stop_signals.hpp"
#include "zirconlite/geometry/search_structure.h"
#include "zirconlite/geometry/voxel_grid.h"
#include "zirconlite/raytrace/render_job.h"
#include "zirconlite/raytrace/tone.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <chrono>
#include <cstdio>
#include <memory>
#include <unistd.h>

namespace host
{

namespace
{

constexpr int poll_ms = 50;
// Of the two seconds that a stop may take, the rest is for writing.
constexpr int stop_wait_ms = 1200;

double seconds_since(std::chrono::steady_clock::time_point start)
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
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

uint32_t state_of(document* d)
{
    return __atomic_load_n(&d->render_state, __ATOMIC_SEQ_CST);
}

/// Ends the process with the job still running: what the passes left is saved, nothing is taken down.
[[noreturn]] void leave_running_job(const scene& s, document* d, const output_files& files)
{
    if (state_of(d) & RENDER_STATE_PREPROCESSED) { write_output(s, d, files); }
    std::fflush(nullptr);
    _exit(stopped_exit_code());
}

void print_counts(const built_scene& built, const scene& s)
{
    for (const std::string& note : built.notes) { std::fprintf(stderr, "zirconlite: %s\n", note.c_str()); }
    std::fprintf(stderr, "%llu triangles, %zu lights\n", static_cast<unsigned long long>(built.triangles),
        s.lights.size());
}

int render(const render_options& o)
{
    const auto start = std::chrono::steady_clock::now();
    scene s = read_scene(o.scene);
    apply_options(o, s);
    const output_files files = prepare_output(s, o.output);

    progress_line progress(isatty(STDERR_FILENO));
    library_session session(progress);
    document* d = session.scene;
    import_limits limits;
    limits.memory_bytes = uint64_t(o.import_megabytes) << 20;
    limits.seconds = o.import_seconds;
    built_scene built = build_scene(s, d, limits);
    print_counts(built, s);
    build_view(s, d, built);

    zr_set_search_structure(s.render.search);
    if (!zr_build_voxel_grid(d))
    {
        progress.finish();
        end_if_stopped("the sorting of the scene");
        throw failure(exit_render_failed, "the scene cannot be sorted" + library_error());
    }
    end_if_stopped("the sorting of the scene");

    render_job job{};
    job.document = d;
    job.view = &d->views[1];
    if (s.render.region) { set_region(s, job); }
    zr_set_max_raytrace_threads(s.render.threads ? s.render.threads : -1);
    zr_set_calibration_frame(s.render.calibration);
    zr_rt_skip_preprocess(s.render.skip_preprocess);
    if (s.render.skip_preprocess) { measure_by_probes(d); }
    progress.restart();
    const bool ended = run_job(d, job);
    progress.finish();
    if (!ended) { leave_running_job(s, d, files); }

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
    write_output(s, d, files);
    if (stop_signal())
    {
        std::fprintf(stderr, "zirconlite: stopped; the picture holds what was reached\n");
        return stopped_exit_code();
    }
    std::fprintf(stderr, "done in %s\n", clock_text(seconds_since(start)).c_str());
    return exit_done;
}

} // namespace

std::function<int()> setup_render(CLI::App& command)
{
    auto options = std::make_shared<render_options>();
    add_render_options(command, *options);
    return [options] { return render(*options); };
}

} // namespace host
