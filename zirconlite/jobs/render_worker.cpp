#include "zirconlite/jobs/render_worker.hpp"

#include "zirconlite/frame/document_state.hpp"
#include "zirconlite/geometry/scene_object.h"
#include "zirconlite/raytrace/direct_light.hpp"
#include "zirconlite/raytrace/pixel_sampler.hpp"
#include "zirconlite/raytrace/shading.hpp"
#include "zirconlite/sampling/cache_fill.hpp"
#include "zirconlite/sampling/rounds.hpp"

namespace zr
{

namespace
{

constexpr float nothing_hit_depth = -1.0f;
constexpr double lowest_position = 0.001;

/// What the worker's thread holds while it runs a strip.
struct strip_work
{
    render_worker& w;
    ray prototype;         ///< limits and counters of every ray
    ray_counters counters; ///< of this strip
};

bool start_worker(document& doc, render_view& view, int32_t index, size_t stack_bytes);
void worker_thread(void* argument);
bool run_strip(render_worker& w);
bool sample_strip(strip_work& work);
bool stopped(const render_worker& w);
void sample_whole_pixel(strip_work& work, double x, double y);
bool find_earlier(const render_worker& w, int32_t x, int32_t y, earlier_sample& sample, uint32_t& flags);
bool is_even(int32_t n);
void sample_block(strip_work& work, double x, double y);
void store_pixel(const render_worker& w, int32_t x, int32_t y, const pixel_components& components,
    float alpha, double depth, uint16_t id);
uint8_t plane_alpha(float alpha);
float plane_depth(double hit_t);
pixel_components components_of(const ray& r);
void mark_rows(const render_worker& w);
void add_counters(const ray_counters& from, ray_counters& to);
void free_worker(render_worker& w);

} // namespace

int32_t make_workers(document& doc, render_view& view, int32_t count)
{
    doc.thread_count = 0;
    doc.workers = static_cast<render_worker*>(zr_calloc(size_t(count), sizeof(render_worker)));
    if (!doc.workers) { return 0; }
    const size_t stack = shading_stack_bytes(doc.reflect_limit, doc.refract_limit);
    while (doc.thread_count < count && start_worker(doc, view, doc.thread_count, stack))
    {
        ++doc.thread_count;
    }
    if (doc.thread_count < count) { free_worker(doc.workers[doc.thread_count]); }
    return doc.thread_count;
}

void end_workers(document& doc)
{
    for (int32_t i = 0; i < doc.thread_count; ++i)
    {
        platform::store_word(&doc.workers[i].quit, 1);
        platform::signal_event(doc.workers[i].start_event);
    }
    for (int32_t i = 0; i < doc.thread_count; ++i)
    {
        platform::wait_for_thread(doc.workers[i].thread, -1);
        free_worker(doc.workers[i]);
    }
    zr_free(doc.workers);
    doc.workers = nullptr;
    doc.thread_count = 0;
}

namespace
{

bool start_worker(document& doc, render_view& view, int32_t index, size_t stack_bytes)
{
    render_worker& w = doc.workers[index];
    w.document = &doc;
    w.view = &view;
    w.index = index;
    w.width = view.width;
    w.height = view.height;
    w.image = view.image;
    w.counters = &view.ray_counters;
    for (int i = 0; i < 2; ++i)
    {
        w.position_low[i] = lowest_position;
        w.position_high[i] = ZR_FAR;
    }
    w.start_event = platform::new_event();
    w.done_event = platform::new_event();
    if (!w.start_event || !w.done_event) { return false; }
    w.thread = platform::start_thread(worker_thread, &w, stack_bytes);
    if (!w.thread) { return false; }
    platform::set_thread_priority(w.thread, platform::priority::lowest);
    return true;
}

void worker_thread(void* argument)
{
    auto& w = *static_cast<render_worker*>(argument);
    install_stored_exception_handler();
    for (;;)
    {
        platform::wait_event(w.start_event, -1);
        if (platform::load_word(&w.quit)) { return; }
        // The job learns of an unfinished strip here: a host may have taken its wish to stop back by then.
        const bool unfinished = !run_strip(w);
        w.stopped = unfinished;
        platform::signal_event(w.done_event);
        if (unfinished) { return; }
    }
}

bool run_strip(render_worker& w)
{
    strip_work work = { w, {}, {} };
    work.prototype.reflect_limit = w.document->reflect_limit;
    work.prototype.refract_limit = w.document->refract_limit;
    work.prototype.counters = &work.counters;
    reset_thread_lights(w.index);
    if (w.pass == final_pass) { clear_line_store(w.width, w.index); }
    const bool is_round = w.pass == converging_pass || w.pass == filling_pass;
    const bool done = w.pass == filling_pass ? fill_cells(*w.filling, work.prototype, w.index)
                      : is_round             ? sample_blocks(*w.sampling, work.prototype, w.index)
                                             : sample_strip(work);
    if (done && !is_round) { mark_rows(w); }
    add_counters(work.counters, *w.counters);
    return done;
}

/// False when the job was stopped: the strip's rows keep their signature then.
bool sample_strip(strip_work& work)
{
    render_worker& w = work.w;
    for (double y = w.y0; y < w.y1; y += w.y_step)
    {
        for (double x = w.x0; x < w.x1; x += w.x_step)
        {
            if (stopped(w)) { return false; }
            if (w.pass == final_pass) { sample_whole_pixel(work, x, y); }
            else { sample_block(work, x, y); }
        }
    }
    return true;
}

bool stopped(const render_worker& w) { return platform::load_word(&w.document->stop_render) == 1; }

void sample_whole_pixel(strip_work& work, double x, double y)
{
    render_worker& w = work.w;
    const auto px = int32_t(x), py = int32_t(y);
    earlier_sample earlier;
    pixel_request request = {};
    request.doc = w.document;
    request.view = w.view;
    request.thread = w.index;
    request.position[0] = x;
    request.position[1] = y;
    if (px == int32_t(w.x0)) { request.flags |= PIXEL_FIRST_OF_LINE; }
    if (px + 1 >= int32_t(w.x1)) { request.flags |= PIXEL_LAST_OF_LINE; }
    request.earlier = find_earlier(w, px, py, earlier, request.flags) ? &earlier : nullptr;
    request.prototype = &work.prototype;
    request.position_low = w.position_low;
    request.position_high = w.position_high;

    pixel_result result;
    sample_pixel(request, result);
    pixel_components c = {};
    for (int i = 0; i < 3; ++i)
    {
        c.surface[i] = result.values.radiance[i];
        c.background[i] = result.values.background[i];
        c.simple[i] = result.values.simple_color[i];
    }
    c.source_ratio = result.values.source_ratio;
    store_pixel(w, px, py, c, result.values.alpha, result.depth, result.id);
}

/// The earlier sample that is a corner of pixel (x, y), as far as the strip's neighbours have not been drawn
/// over. False when there is none.
bool find_earlier(const render_worker& w, int32_t x, int32_t y, earlier_sample& sample, uint32_t& flags)
{
    const bool right = x < w.x1 - 2, up = y < w.y1 - 2;
    int32_t sx = x, sy = y;
    if (is_even(x) && is_even(y)) {}
    else if (is_even(x + 1) && is_even(y) && right)
    {
        sx = x + 1;
        flags |= PIXEL_SEEDS_CELL_4;
    }
    else if (is_even(x) && is_even(y + 1) && up)
    {
        sy = y + 1;
        flags |= PIXEL_SEEDS_CELL_20;
    }
    else if (is_even(x + 1) && is_even(y + 1) && right && up)
    {
        sx = x + 1;
        sy = y + 1;
        flags |= PIXEL_SEEDS_CELL_24;
    }
    else { return false; }
    pixel_pointers p = {};
    image_buffer_pixel_pointers(w.image, sx, sy, &p);
    zr_unpack_internal_pixel(w.image, p.pixel, &sample.components, 0);
    sample.alpha = p.alpha ? *p.alpha / 255.0f : 1.0f;
    sample.object = zr_read_object_reference(w.image, p.pixel);
    return true;
}

bool is_even(int32_t n) { return n % 2 == 0; }

/// One ray for the block of pixels at (x, y).
void sample_block(strip_work& work, double x, double y)
{
    render_worker& w = work.w;
    const auto px = int32_t(x), py = int32_t(y);
    if (w.skip_x && w.skip_y && px % w.skip_x == 0 && py % w.skip_y == 0) { return; }
    const bool probe = w.pass == preprocess_pass;
    double position[2] = { x, y };
    if (!probe) { jittered_position(position, w.position_low, w.position_high, position); }
    ray r = work.prototype;
    trace_primary(
        *w.document, *w.view, r, w.index, position, 0, probe ? measured_background : environment_background);
    ++work.counters.primary_rays;
    store_pixel(w, px, py, components_of(r), r.alpha, r.hit_t, r.material_id);
    // The slot to the right belongs to a later pass; until then it says what this sample hit.
    zr_store_object_reference(
        w.image, zr_image_buffer_pixel(w.image, px, py), r.hit_object ? r.hit_object->number : 0u);
}

void store_pixel(const render_worker& w, int32_t x, int32_t y, const pixel_components& components,
    float alpha, double depth, uint16_t id)
{
    pixel_pointers p = {};
    image_buffer_pixel_pointers(w.image, x, y, &p);
    pack_pixel(w.image, &components, p.pixel);
    if (p.alpha) { *p.alpha = plane_alpha(alpha); }
    if (p.depth) { *p.depth = plane_depth(depth); }
    if (p.object_id) { *p.object_id = id; }
}

uint8_t plane_alpha(float alpha)
{
    const float clamped = alpha > 0.0f ? (alpha < 1.0f ? alpha : 1.0f) : 0.0f;
    return uint8_t(clamped * 255.0f + 0.5f);
}

float plane_depth(double hit_t) { return hit_t >= 1e11 ? nothing_hit_depth : float(hit_t); }

pixel_components components_of(const ray& r)
{
    pixel_components c = {};
    for (int i = 0; i < 3; ++i)
    {
        c.surface[i] = float(r.radiance[i]);
        c.background[i] = r.background[i];
        c.simple[i] = r.simple_color[i];
    }
    c.source_ratio = source_ratio_of(r);
    return c;
}

void mark_rows(const render_worker& w)
{
    // Strips of pixel centres end on a centre, which is the first of the next strip: its row is not ours.
    for (double y = w.y0; y < w.y1; y += 1.0)
    {
        platform::store_word(zr_image_buffer_signature(w.image, int32_t(y)), uint8_t(w.row_mark));
    }
}

void add_counters(const ray_counters& from, ray_counters& to)
{
    platform::add_to_word(&to.primary_rays, from.primary_rays);
    platform::add_to_word(&to.reflection_rays, from.reflection_rays);
    platform::add_to_word(&to.transmission_rays, from.transmission_rays);
    platform::add_to_word(&to.shaded_points, from.shaded_points);
    platform::add_to_word(&to.light_rays, from.light_rays);
    platform::add_to_word(&to.shadow_rays, from.shadow_rays);
}

void free_worker(render_worker& w)
{
    platform::close_thread(w.thread);
    platform::free_event(w.start_event);
    platform::free_event(w.done_event);
}

} // namespace

} // namespace zr
