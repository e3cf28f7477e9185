// Primary rays: from a position in the picture to a shaded result.
#include "zirconlite/frame/jitter.hpp"
#include "zirconlite/frame/job_state.hpp"
#include "zirconlite/geometry/scene_object.h"
#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/picture/projection.h"
#include "zirconlite/raytrace/pixel_sampler.hpp"
#include "zirconlite/raytrace/shading.hpp"

namespace zr
{

namespace
{

constexpr double column_offsets[grid_side] = { -0.4999, -0.25, 0.0, 0.25, 0.4999 };
constexpr double row_offsets[grid_side] = { 0.4999, 0.25, 0.0, -0.25, -0.4999 };
constexpr double footprint_share = 0.2;

void start_primary(ray& r, int32_t thread, const double position[2], int32_t sample_index);
void set_stratum(ray& r);
void set_footprint(const render_view& view, ray& r);

} // namespace

bool aim_primary(document& doc, render_view& view, ray& r, int32_t thread, const double position[2],
    const double stratum[2])
{
    start_primary(r, thread, position, 0);
    r.stratum[0] = stratum[0];
    r.stratum[1] = stratum[1];
    if (!make_ray(&doc, &view, position, &r)) { return false; }
    set_footprint(view, r);
    clip_ray(&view, &r);
    r.view = &view;
    r.document = &doc;
    return true;
}

bool trace_primary(document& doc, render_view& view, ray& r, int32_t thread, const double position[2],
    int32_t sample_index, background_function background)
{
    start_primary(r, thread, position, sample_index);
    if (!background || background == measured_background) { r.flags |= RAY_PREPROCESS; }
    if (!make_ray(&doc, &view, position, &r))
    {
        for (int i = 0; i < 3; ++i)
        {
            r.radiance[i] = 0.0;
            r.background[i] = r.simple_color[i] = r.light_radiance[i] = 0.0f;
        }
        return false;
    }
    set_footprint(view, r);
    clip_ray(&view, &r);
    r.view = &view;
    r.document = &doc;
    return trace_ray(doc, r, background);
}

float source_ratio_of(const ray& r)
{
    const double all = std::fmax(r.radiance[0], std::fmax(r.radiance[1], r.radiance[2]));
    if (!(all > geometry_zero)) { return 0.0f; }
    const float straight =
        std::fmax(r.light_radiance[0], std::fmax(r.light_radiance[1], r.light_radiance[2]));
    return float(straight / all);
}

void jittered_position(const double position[2], const double low[2], const double high[2], double result[2])
{
    double j[2];
    table_jitter(position, job.pixel_jitter_amplitude, j);
    for (int i = 0; i < 2; ++i) { result[i] = std::fmin(std::fmax(position[i] + j[i], low[i]), high[i]); }
}

namespace
{

void start_primary(ray& r, int32_t thread, const double position[2], int32_t sample_index)
{
    r.kind = RAY_PRIMARY;
    r.flags &= RAY_PROBE;
    r.thread = thread;
    r.reflect_depth = r.refract_depth = r.inside_count = 0;
    r.hit_object = nullptr;
    r.hit_ground = 0;
    r.parent = nullptr;
    r.material_id = 0;
    for (double& w : r.weight) { w = 1.0; }
    clear_results(r);
    r.hit_t = r.t_max = ZR_FAR;
    r.t_min = r.path_length = 0.0;
    r.pixel[0] = position[0];
    r.pixel[1] = position[1];
    r.pixel_x = int32_t(position[0]);
    r.pixel_y = int32_t(position[1]);
    r.sample_index = sample_index;
    set_stratum(r);
}

/// Offset of a cell; neighbouring pixels are mirror images, so a cell on a shared edge has one offset.
void set_stratum(ray& r)
{
    const double x = column_offsets[r.sample_index % grid_side], y = row_offsets[r.sample_index / grid_side];
    r.stratum[0] = r.pixel_x & 1 ? -x : x;
    r.stratum[1] = r.pixel_y & 1 ? -y : y;
}

void set_footprint(const render_view& view, ray& r)
{
    for (int i = 0; i < 2; ++i)
    {
        r.footprint[i] = footprint_share * r.pixel_size[i];
        r.footprint_slope[i] = view.projection == PROJECTION_PARALLEL || r.raw_length == 0.0
                                   ? 0.0
                                   : r.footprint[i] / r.raw_length;
    }
}

} // namespace

} // namespace zr
