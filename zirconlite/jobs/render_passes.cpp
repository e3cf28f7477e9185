#include "zirconlite/jobs/render_passes.hpp"

#include <stdio.h>

#include "zirconlite/frame/host_callbacks.hpp"
#include "zirconlite/frame/job_state.hpp"
#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/jobs/render_worker.hpp"
#include "zirconlite/picture/tone.h"
#include "zirconlite/raytrace/pixel_sampler.hpp"
#include "zirconlite/sampling/cache_fill.hpp"
#include "zirconlite/sampling/converging.h"
#include "zirconlite/sampling/rounds.hpp"

namespace zr
{

namespace
{

constexpr int32_t render_kind = 1;
constexpr int32_t min_final_strip = 16;

struct pass_shape
{
    int32_t pass;  ///< also the row mark
    double offset; ///< of the first sample in each axis, from the rectangle's corner
    double step;
    int32_t skip; ///< multiples of it were done before
};
constexpr pass_shape probe_shape = { preprocess_pass, 0.5, 16.0, 0 };
constexpr pass_shape coarse_shape = { 1, 0.0, 4.0, 0 };
constexpr pass_shape middle_shape = { 2, 0.0, 2.0, 4 };
constexpr pass_shape final_shape = { final_pass, 0.5, 1.0, 2 };

bool run_all_passes(job_run& run, sampling_run* sampling);
bool run_preprocess(job_run& run, sampling_run* sampling);
bool run_cache_rounds(job_run& run);
bool run_pass(job_run& run, const pass_shape& shape);
bool begin_round(job_run& run, const pass_shape& shape, double line);
int32_t start_round(job_run& run, const pass_shape& shape, double& line, double bottom);
void hand_out(job_run& run, const pass_shape& shape, int32_t worker, double y0, double y1);
void show_round(job_run& run, const pass_shape& shape, double line);
bool run_converging(job_run& run, sampling_run& sampling);
bool run_rounds(job_run& run, sampling_run& sampling);
double fraction_at(const job_run& run, int32_t pass, double line);
bool begin_converging_round(job_run& run, double fraction);
bool run_round(job_run& run, sampling_run* sampling, cache_filling* filling);
bool finish_round(job_run& run, int32_t started);
bool stop_asked(const job_run& run);

} // namespace

bool report_render(job_run& run, render_code code)
{
    return host::progress(render_kind, &run.doc, &run.view, code, float(run.job.progress.fraction));
}

void set_scan_marker(render_view& view, int32_t line)
{
    const platform::lock_scope held(static_cast<platform::lock*>(view.scanline_lock));
    view.scan_marker = line;
}

void show_percent(progress_bar& bar, double fraction)
{
    bar.fraction = fraction;
    char text[16];
    snprintf(text, sizeof text, "%i%%", int(fraction * 100.0));
    for (size_t i = 0; i < sizeof text; ++i) { bar.text[i] = char16_t(text[i]); }
}

bool run_passes(job_run& run)
{
    if (!job.converges || (run.doc.render_flags & RENDER_FAST)) { return run_all_passes(run, nullptr); }
    sampling_run* sampling =
        begin_sampling(run.doc, run.view, *run.view.image, { run.left, run.top, run.right, run.bottom });
    if (!sampling)
    {
        report_render(run, render_stopped);
        return false;
    }
    const bool done = run_all_passes(run, sampling);
    end_sampling(sampling);
    return done;
}

namespace
{

/// From the measuring to the finished picture. `sampling` is null for the strips.
bool run_all_passes(job_run& run, sampling_run* sampling)
{
    if (!run_preprocess(run, sampling)) { return false; }
    platform::set_bits(&run.doc.render_state, RENDER_STATE_PREPROCESSED);
    if (!report_render(run, render_preprocessed)) { return false; }

    run.doc.render_pass = 1;
    if (!run_pass(run, coarse_shape)) { return false; }
    display_raytrace_image(&run.view, 0);
    run.doc.render_pass = 2;
    if (!run_pass(run, middle_shape)) { return false; }
    set_scan_marker(run.view, -1);
    display_raytrace_image(&run.view, 0);
    if (run.doc.render_flags & RENDER_FAST) { return true; }
    if (sampling) { return run_converging(run, *sampling); }

    run.strip_height = run.strip_height / 2 > min_final_strip ? run.strip_height / 2 : min_final_strip;
    if (!make_aa_stores(run.doc.thread_count, run.view.width))
    {
        report_render(run, render_stopped);
        return false;
    }
    run.doc.render_pass = 3;
    if (!run_pass(run, final_shape)) { return false; }
    set_scan_marker(run.view, -1);
    display_raytrace_image(&run.view, 0);
    return true;
}

/// The sparse pass from which the tone operator follows; where light bounces, with that light.
bool run_preprocess(job_run& run, sampling_run* sampling)
{
    if (sampling && !run_cache_rounds(run)) { return false; }
    if (raytrace_options.skip_preprocess) { return true; }
    const bool measured = sampling && begin_measuring(*sampling) ? run_round(run, sampling, nullptr)
                                                                 : run_pass(run, probe_shape);
    if (!measured) { return false; }
    measure_image(&run.doc, &run.view, run.view.image, run.view.width, run.view.height, 1);
    if (!raytrace_options.calibration_frame) { return true; }
    raytrace_options.calibration_frame = 0;
    return false;
}

/// Keeps light in the scene before the picture. False when the job ends as stopped.
bool run_cache_rounds(job_run& run)
{
    if (!job.caches_light) { return true; }
    cache_filling* filling = begin_cache_fill(run.doc, run.view);
    bool goes_on = filling != nullptr, is_reported = false;
    while (goes_on && next_fill_round(*filling))
    {
        is_reported = !run_round(run, nullptr, filling);
        goes_on = !is_reported && keep_round(*filling);
    }
    if (!goes_on && !is_reported) { report_render(run, render_stopped); }
    end_cache_fill(filling);
    return goes_on;
}

bool run_pass(job_run& run, const pass_shape& shape)
{
    const bool whole = shape.pass == preprocess_pass;
    double line = (whole ? 0 : run.top) + shape.offset;
    const double bottom = whole ? run.view.height : run.bottom;
    while (line < bottom)
    {
        if (!begin_round(run, shape, line)) { return false; }
        const int32_t started = start_round(run, shape, line, bottom);
        if (!finish_round(run, started)) { return false; }
        show_round(run, shape, line);
    }
    return true;
}

/// Reports a round of strips that is about to start. False when the job is to end as stopped.
bool begin_round(job_run& run, const pass_shape& shape, double line)
{
    if (shape.pass == preprocess_pass)
    {
        if (!stop_asked(run)) { return true; }
        report_render(run, render_stopped);
        return false;
    }
    show_percent(run.job.progress, fraction_at(run, shape.pass, line));
    run.doc.current_line = line;
    if (!report_render(run, render_strip_starts)) { return false; }
    if (!stop_asked(run)) { return true; }
    report_render(run, render_stopped);
    return false;
}

/// One strip for each worker; `line` moves on. Returns the workers started.
int32_t start_round(job_run& run, const pass_shape& shape, double& line, double bottom)
{
    int32_t started = 0;
    while (started < run.doc.thread_count && line < bottom)
    {
        const double end = std::fmin(line + run.strip_height, bottom);
        hand_out(run, shape, started++, line, end);
        line = end;
    }
    return started;
}

void hand_out(job_run& run, const pass_shape& shape, int32_t worker, double y0, double y1)
{
    render_worker& w = run.doc.workers[worker];
    const bool whole = shape.pass == preprocess_pass;
    w.x0 = (whole ? 0 : run.left) + shape.offset;
    w.x1 = whole ? run.view.width : run.right;
    w.y0 = y0;
    w.y1 = y1;
    w.x_step = w.y_step = shape.step;
    w.skip_x = w.skip_y = shape.pass == final_pass ? 0 : shape.skip;
    w.pass = shape.pass;
    w.row_mark = shape.pass;
    w.strip_pixels = uint32_t((y1 - y0) * run.view.width);
    platform::signal_event(w.start_event);
}

void show_round(job_run& run, const pass_shape& shape, double line)
{
    if (shape.pass == preprocess_pass) { return; }
    const bool final_end = shape.pass == final_pass && line >= run.view.height;
    if (shape.pass != 1 && !final_end) { set_scan_marker(run.view, int32_t(line)); }
    if (!final_end) { display_raytrace_image(&run.view, 1); }
}

bool run_converging(job_run& run, sampling_run& sampling)
{
    run.doc.render_pass = converging_pass;
    begin_rounds(sampling);
    const bool done =
        run_rounds(run, sampling) && (!begin_denoising(sampling) || run_round(run, &sampling, nullptr));
    if (done) { display_raytrace_image(&run.view, 0); }
    return done;
}

/// Rounds until every block is good enough. False when the job ends as stopped.
bool run_rounds(job_run& run, sampling_run& sampling)
{
    const double coarse = fraction_at(run, final_pass, run.top);
    double fraction = coarse;
    while (next_round(sampling))
    {
        if (!begin_converging_round(run, fraction) || !run_round(run, &sampling, nullptr)) { return false; }
        fraction = coarse + (1.0 - coarse) * measure_round(sampling);
        display_raytrace_image(&run.view, 1);
    }
    return true;
}

/// Share of the job that is done when pass `pass` has reached `line`.
double fraction_at(const job_run& run, int32_t pass, double line)
{
    const int32_t rows = run.bottom - run.top - 1;
    const double f = rows > 0 ? (line - run.top) / rows : 0.0;
    if (pass == 1) { return f * 0.0625 / run.pass_cost * run.pass_scale; }
    if (pass == 2) { return (f * 0.1875 + 0.0625) * run.pass_scale / run.pass_cost; }
    const double before = 0.25 / run.pass_cost;
    return (1.0 - before) * f + before;
}

/// The host hears of each round, and may stop there.
bool begin_converging_round(job_run& run, double fraction)
{
    show_percent(run.job.progress, fraction);
    if (!report_render(run, render_strip_starts)) { return false; }
    if (!stop_asked(run)) { return true; }
    report_render(run, render_stopped);
    return false;
}

/// Hands a round of one of the two to all workers; each takes its parts until none is left.
bool run_round(job_run& run, sampling_run* sampling, cache_filling* filling)
{
    for (int32_t i = 0; i < run.doc.thread_count; ++i)
    {
        render_worker& w = run.doc.workers[i];
        w.pass = sampling ? converging_pass : filling_pass;
        w.sampling = sampling;
        w.filling = filling;
        platform::signal_event(w.start_event);
    }
    return finish_round(run, run.doc.thread_count);
}

/// False when the job was stopped meanwhile.
bool finish_round(job_run& run, int32_t started)
{
    bool goes_on = true;
    for (int32_t i = 0; i < started; ++i)
    {
        platform::wait_event(run.doc.workers[i].done_event, -1);
        goes_on &= !run.doc.workers[i].stopped && !stop_asked(run);
    }
    if (!goes_on) { report_render(run, render_stopped); }
    return goes_on;
}

bool stop_asked(const job_run& run) { return platform::load_word(&run.doc.stop_render) == 1; }

} // namespace

} // namespace zr
