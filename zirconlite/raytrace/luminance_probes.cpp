// Measuring a scene's luminance by probe rays, without a render.
#include <cmath>

#include "zirconlite/frame/document.h"
#include "zirconlite/frame/jitter.hpp"
#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/picture/tone.h"
#include "zirconlite/raytrace/direct_light.hpp"
#include "zirconlite/raytrace/pixel_sampler.hpp"

namespace zr
{

namespace
{

constexpr double probe_step = 16.0;

/// How one of the two measurements shoots.
struct probe_plan
{
    int32_t width, height; ///< area covered, pixels
    double margin;         ///< left out at the right and upper edge
    int32_t reflect_limit, refract_limit;
    uint32_t ray_flags;
    int32_t sample_index;
    background_function background;
};

struct measurement
{
    double log_sum;
    int64_t count;
};

bool is_locked(const render_view& view);
measurement measure(document& doc, render_view& view, const probe_plan& plan);
measurement shoot_probes(document& doc, render_view& view, const probe_plan& plan);
ray make_probe(const probe_plan& plan);
double probe_luminance(const ray& r, float& largest);
double adapted(const measurement& m, double brightness);

} // namespace

} // namespace zr

using namespace zr;

double zr_get_world_log_avg_luminance(document* doc, render_view* view)
{
    if (is_locked(*view)) { return view->world_luminance; }
    const bool shallow = view->tone_method == TONE_HISTOGRAM;
    const probe_plan plan = { view->window_width, view->window_height, probe_step, shallow ? 1 : 0,
        shallow ? 2 : 0, RAY_PROBE, centre_cell, nullptr };
    view->world_luminance = adapted(measure(*doc, *view, plan), view->brightness);
    return view->world_luminance;
}

int32_t zr_set_rt_world_log_avg_luminance(document* doc, render_view* view)
{
    if (is_locked(*view)) { return 1; }
    if (!prepare_thread_lights(*doc, 1)) { return 0; }
    const probe_plan plan = { view->width, view->height, 0.0, doc->reflect_limit, doc->refract_limit, 0, 0,
        environment_background };
    const measurement m = measure(*doc, *view, plan);
    view->world_luminance = adapted(m, view->brightness);
    view->measured_luminance = adapted(m, 0.0);
    return 1;
}

namespace zr
{

namespace
{

bool is_locked(const render_view& view)
{
    return (view.exposure_flags & EXPOSURE_LOCKED) && (view.view_flags & VIEW_TONE_VALID);
}

/// Shoots the plan's probes with the document's flags and per-thread tables set for it.
measurement measure(document& doc, render_view& view, const probe_plan& plan)
{
    const uint32_t flags = doc.render_flags;
    doc.render_flags = 0;
    fill_random_tables();
    const int32_t size[2] = { plan.width, plan.height };
    make_histogram(&view, size);
    const measurement m = shoot_probes(doc, view, plan);
    if (m.count > 0) { finish_histogram(&view, std::pow(10.0, m.log_sum / m.count)); }
    doc.render_flags = flags;
    view.view_flags |= VIEW_TONE_VALID;
    return m;
}

measurement shoot_probes(document& doc, render_view& view, const probe_plan& plan)
{
    measurement m = {};
    for (double y = 0.5; y < plan.height - plan.margin; y += probe_step)
    {
        for (double x = 0.5; x < plan.width - plan.margin; x += probe_step)
        {
            ray r = make_probe(plan);
            const double position[2] = { x, y };
            trace_primary(doc, view, r, 0, position, plan.sample_index, plan.background);
            float largest;
            const double l = probe_luminance(r, largest);
            if (l > 0.0)
            {
                m.log_sum += std::log10(l);
                ++m.count;
                histogram_add_sample(&view, largest);
            }
            else if (view.tone_method == TONE_HISTOGRAM) { histogram_add_sample(&view, 0.001f); }
        }
    }
    return m;
}

ray make_probe(const probe_plan& plan)
{
    ray r = {};
    r.flags = plan.ray_flags;
    r.reflect_limit = plan.reflect_limit;
    r.refract_limit = plan.refract_limit;
    return r;
}

/// Luminance of what a probe brought back, radiance and background together.
double probe_luminance(const ray& r, float& largest)
{
    float sum[3];
    for (int i = 0; i < 3; ++i)
    {
        const double surface = r.radiance[i] > 0.0 ? r.radiance[i] : 0.0;
        sum[i] = float(surface + (r.background[i] > 0.0f ? r.background[i] : 0.0f));
    }
    largest = std::fmax(sum[0], std::fmax(sum[1], sum[2]));
    return luminance(sum);
}

double adapted(const measurement& m, double brightness)
{
    return m.count > 0 ? std::pow(10.0, m.log_sum / m.count - brightness) : 0.0;
}

} // namespace

} // namespace zr
