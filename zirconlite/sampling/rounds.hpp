/// @file
/// The rounds of the converging sampler. The picture is divided into blocks of 8 by 8 pixels, aligned in the
/// whole picture, and a block decides by its own pixels alone whether it needs more samples: a region of a
/// picture equals the cut-out of the whole. The error of a block comes from two halves of its samples, as
/// shown on a display: Dammertz, Hanika, Keller and Lensch, "A hierarchical automatic stopping condition for
/// Monte Carlo global illumination" (2010).
#pragma once

#include "zirconlite/frame/document.h"
#include "zirconlite/geometry/ray.h"
#include "zirconlite/picture/image_buffer.h"

/// The converging sampling of one picture.
struct sampling_run;

namespace zr
{

/// Pixels of a picture, end exclusive; rows from below.
struct pixel_rectangle
{
    int32_t left, bottom, right, top;
};

/// Makes the sums of the picture, its blocks and the tables of the sampler. Null, with the status set, when
/// memory fails. On the job's thread; end_sampling frees it.
sampling_run* begin_sampling(document& doc, render_view& view, image_buffer& image, const pixel_rectangle& r);
void end_sampling(sampling_run* run);

/// Readies a round that finds the light of one pixel in 16 by 16 of the whole picture, for the tone operator;
/// its threads call sample_blocks. False where light does not bounce: the probes of the strips will do.
bool begin_measuring(sampling_run& run);

/// The tone of the picture is set: the rounds may begin.
void begin_rounds(sampling_run& run);

/// Readies the next round. False when no block needs more samples.
bool next_round(sampling_run& run);

/// Takes blocks of the round until none is left; any number of threads. `prototype` brings limits and
/// counters. False when the job was stopped: blocks that were not reached keep the samples that they have.
bool sample_blocks(sampling_run& run, const ray& prototype, int32_t thread);

/// Readies a last round that takes the grain out of the picture; its threads call sample_blocks as before.
/// False where that was not asked for.
bool begin_denoising(sampling_run& run);

/// Counts what the round has reached; after all threads have returned. The share of the expected work, 0
/// to 1.
double measure_round(sampling_run& run);

} // namespace zr
