/// @file
/// The process-wide state of the ray tracer: what hosts set between jobs, and what a job fixes at its start
/// for all of its workers to read.
#pragma once

#include <stdint.h>

namespace zr
{

/// The shortcuts of the fast light model. docs/light-model.md lists the largest error of each.
struct fast_light_shortcuts
{
    double shadow_accuracy;  ///< share of a point's potential that must be tested
    double light_cutoff;     ///< a light below this luminance is not listed
    double tail_share;       ///< a light under this share of `point_potential` ends exact testing
    double tail_factor;      ///< lights after that point count with this share
    double min_square;       ///< floor of the distance factor's denominator, 1 / pi
    double parallel_ambient; ///< share of a distant light's flux in the ambient stand-in
    double sky_share;        ///< further factor of `sky_scale` in the ambient stand-in with a sun
    double desaturation;     ///< exponent that pales the ambient stand-in
    double max_reflectance;  ///< of the scene's mean in the ambient stand-in
    double vertical_share;   ///< part of the ambient stand-in that follows the normal's height
};

inline constexpr fast_light_shortcuts fast_shortcuts = {
    .shadow_accuracy = 0.93,
    .light_cutoff = 0.03,
    .tail_share = 0.015,
    .tail_factor = 0.1,
    .min_square = 0.318309886184,
    .parallel_ambient = 0.1,
    .sky_share = 0.6,
    .desaturation = 0.25,
    .max_reflectance = 0.7,
    .vertical_share = 0.3,
};

/// Set by exported functions between jobs.
struct raytrace_settings
{
    int32_t max_raytrace_threads; ///< 1 to 8
    int32_t skip_preprocess;
    int32_t calibration_frame;
};
extern raytrace_settings raytrace_options;

/// The power curve of the preview, as the exposure dialog left it.
struct preview_tone_state
{
    double scale, exponent;
};
extern preview_tone_state preview_tone;

/// Diffuse bounces of a path at most.
inline constexpr int32_t max_bounces = 64;

/// Fixed at job start; workers only read it.
struct job_state
{
    int32_t raytrace_active; ///< 1 while a job thread runs; atomic
    int32_t simple_colors;   ///< nonzero when the job's document is in simple mode, and before the first job
    int32_t preview_running, preview_valid;
    int32_t light_model;         ///< copied from the document
    int32_t stops_early;         ///< copied from the document
    int32_t converges;           ///< nonzero when the job's pixels are sampled in rounds
    int32_t sky_light_samples;   ///< copied from the document
    double background_luminance; ///< what white of the background stands for, cd/m2; 0: by the sky
    double aa_threshold;         ///< square root of 1 - `aa_level`
    double pixel_jitter_amplitude[2];
    double gloss_jitter_amplitude[2];
    double translucency_jitter_amplitude[2];
    double bitmap_jitter_amplitude[2];
    int32_t bounce_limit;          ///< diffuse bounces of a path; 0: the ambient stand-in in place of them
    int32_t caches_light;          ///< nonzero where paths read the document's light cache
    double max_indirect;           ///< luminance of indirect light in one sample; cd/m2
    float ambient_color[3];        ///< light of the ambient stand-in
    float simple_ambient_color[3]; ///< simple mode: `ambient_intensity` x `ambient_color`
};
extern job_state job;

} // namespace zr
