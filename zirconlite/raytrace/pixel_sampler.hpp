/// @file
/// Where rays are shot: primary rays, and the adaptive sampling of a pixel over a 5 by 5 grid of cells that
/// neighbouring pixels share. After Painter and Sloan, "Antialiased ray tracing by adaptive progressive
/// refinement", SIGGRAPH 1989, with a fixed tree of squares.
#pragma once

#include "zirconlite/environment/environment.hpp"
#include "zirconlite/frame/document.h"
#include "zirconlite/geometry/ray.h"
#include "zirconlite/picture/image_buffer.h"

namespace zr
{

inline constexpr int grid_side = 5;
inline constexpr int grid_cells = grid_side * grid_side;
inline constexpr int centre_cell = 12;

/// What one sample saw.
struct sample_values
{
    float radiance[3];
    float background[3];
    float simple_color[3];
    float source_ratio;
    float sky_variance;     ///< as in `ray`
    float soft_radiance[3]; ///< `radiance` in the space that pixels are averaged in
    float soft_background[3];
    float alpha;
};

/// `sample_cell.object` beside the numbers of objects; 0 is "nothing was hit".
inline constexpr uint32_t empty_cell = 0xffffffffu;

struct sample_cell
{
    uint32_t object; ///< number of the object hit, or empty_cell
    sample_values values;
};

/// What a pixel yields.
struct pixel_result
{
    sample_values values;
    float depth;
    uint16_t id;
};

/// Bits of `pixel_request.flags`.
enum
{
    PIXEL_FIRST_OF_LINE = 0x1,
    PIXEL_LAST_OF_LINE = 0x2,
    PIXEL_SEEDS_CELL_4 = 0x10,
    PIXEL_SEEDS_CELL_20 = 0x20,
    PIXEL_SEEDS_CELL_24 = 0x40
};

/// A sample of an earlier pass that is a corner of the pixel.
struct earlier_sample
{
    pixel_components components;
    float alpha;
    uint32_t object;
};

/// The sampling of one pixel by one thread.
struct pixel_request
{
    document* doc;
    render_view* view;
    int32_t thread;
    double position[2];                         ///< the pixel's middle
    uint32_t flags;                             ///< PIXEL_* bits
    const earlier_sample* earlier;              ///< null none
    const ray* prototype;                       ///< limits and counters of the worker's rays
    const double *position_low, *position_high; ///< samples are clamped to this box
};

/// Makes the stores of `thread_count` threads for pictures of `width` pixels. False when memory fails.
bool make_aa_stores(int32_t thread_count, int32_t width);
void free_aa_stores();
/// Empties the line store of a thread; at the start of each strip.
void clear_line_store(int32_t width, int32_t thread);

/// Shoots one primary ray through `position` (pixels). `r` brings limits and counters, and takes the results.
/// Whether something was hit; nothing, and all results 0, outside the projection.
bool trace_primary(document& doc, render_view& view, ray& r, int32_t thread, const double position[2],
    int32_t sample_index, background_function background);

/// Makes the ray through `position` with the offset `stratum` on the lens, -0.5 to 0.5 in each axis. `r`
/// brings limits and counters. False outside the projection.
bool aim_primary(document& doc, render_view& view, ray& r, int32_t thread, const double position[2],
    const double stratum[2]);

/// Samples a whole pixel.
void sample_pixel(const pixel_request& request, pixel_result& result);

/// Share of the light that came straight from light sources.
float source_ratio_of(const ray& r);

/// `position` plus jitter, clamped to the box.
void jittered_position(const double position[2], const double low[2], const double high[2], double result[2]);

/// The ray depth buffer of zr_init_ray_z_buffer.
struct ray_z_buffer
{
    float* depth; ///< null while disabled
    int32_t width, height;
};
extern ray_z_buffer z_buffer;

} // namespace zr
