/// @file
/// The passes of a render, run by the job thread.
#pragma once

#include "zirconlite/jobs/render_job.h"

namespace zr
{

/// Codes that a running job reports to `host_progress`, kind 1. PROGRESS_RENDERED, at its end, needs no job
/// record.
enum render_code
{
    render_stopped = -1,
    render_strip_starts = 1,
    render_preprocessed = 3
};

/// A job while its thread runs it.
struct job_run
{
    render_job& job;
    document& doc;
    render_view& view;
    int32_t strip_height;
    double pass_cost, pass_scale;     ///< progress constants of the quality
    int32_t left, top, right, bottom; ///< the render rectangle, pixels; rows from below, end exclusive
};

/// Reports to the host; false when it asks to stop.
bool report_render(job_run& run, render_code code);

/// Runs all passes. False when the job ends as stopped.
bool run_passes(job_run& run);

/// Stores the line that the display draws as the render's position; -1 none.
void set_scan_marker(render_view& view, int32_t line);

void show_percent(progress_bar& bar, double fraction);

} // namespace zr
