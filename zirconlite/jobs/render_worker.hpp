/// @file
/// A worker of a render job: one thread that renders the strips which the job thread hands it.
#pragma once

#include "zirconlite/frame/document.h"
#include "zirconlite/picture/image_buffer.h"
#include "zirconlite/platform/threads.hpp"

namespace zr
{

/// Values of `render_worker.pass`.
inline constexpr int32_t preprocess_pass = -1;
inline constexpr int32_t final_pass = 3;
inline constexpr int32_t converging_pass = 4; ///< a round of the converging sampler
inline constexpr int32_t filling_pass = 5;    ///< a round that fills the light cache

} // namespace zr

struct sampling_run;

/// Filled by the job thread before each strip; the worker only reads it, but for `stopped`.
struct render_worker
{
    struct document* document;
    render_view* view;
    int32_t index; ///< from 0; the thread index of every ray
    zr_handle thread;
    zr::platform::event *start_event, *done_event;
    double x0, y0, x1, y1; ///< strip, end exclusive; the fraction 0.5 where a pass works on pixel centres
    double x_step, y_step;
    int32_t skip_x, skip_y; ///< pixels at multiples of both were done by the pass before; 0 skips nothing
    int32_t width, height;
    int32_t pass;                  ///< -1, 1, 2, 3, 4: a round of `sampling`, 5: of `filling`
    struct sampling_run* sampling; ///< NULL but in pass 4
    struct cache_filling* filling; ///< NULL but in pass 5
    uint32_t strip_pixels;
    image_buffer* image;
    int32_t row_mark;       ///< its low byte becomes the rows' signature when the strip is done
    int32_t quit;           ///< 1 ends the thread at its next start
    int32_t stopped;        ///< 1 when the worker left its strip and ended; read after `done_event`
    ray_counters* counters; ///< the view's
    double position_low[2], position_high[2]; ///< sample positions are clamped to this box
};

namespace zr
{

/// Makes `count` workers of the document and starts their threads, at the lowest priority. Returns how many
/// run; with none, memory or threads are exhausted.
int32_t make_workers(document& doc, render_view& view, int32_t count);

/// Ends the threads and frees the workers. Workers that a stop has ended already are fine.
void end_workers(document& doc);

} // namespace zr
