#include "zirconlite/frame/job_state.hpp"

namespace zr
{

raytrace_settings raytrace_options = {
    .max_raytrace_threads = 8, .skip_preprocess = 0, .calibration_frame = 0
};

preview_tone_state preview_tone = { .scale = 1.0, .exponent = 1.0 };

job_state job = {
    .raytrace_active = 0,
    .simple_colors = 1,
    .preview_running = 0,
    .preview_valid = 0,
    .light_model = 0,
    .stops_early = 0,
    .converges = 0,
    .sky_light_samples = 0,
    .background_luminance = 0.0,
    .aa_threshold = 0.1,
    .pixel_jitter_amplitude = {},
    .gloss_jitter_amplitude = {},
    .translucency_jitter_amplitude = {},
    .bitmap_jitter_amplitude = {},
    .bounce_limit = 0,
    .caches_light = 0,
    .max_indirect = 0.0,
    .ambient_color = {},
    .simple_ambient_color = {},
};

} // namespace zr
