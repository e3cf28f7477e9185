#include "zirconlite/jobs/render_job.h"

#include <cmath>
#include <initializer_list>

#include "zirconlite/display/hooks.hpp"
#include "zirconlite/environment/environment.hpp"
#include "zirconlite/environment/ground.hpp"
#include "zirconlite/environment/sky_light.hpp"
#include "zirconlite/frame/document_state.hpp"
#include "zirconlite/frame/host_callbacks.hpp"
#include "zirconlite/frame/jitter.hpp"
#include "zirconlite/frame/job_state.hpp"
#include "zirconlite/frame/module.h"
#include "zirconlite/frame/module_state.hpp"
#include "zirconlite/frame/status.hpp"
#include "zirconlite/frame/string_table.h"
#include "zirconlite/geometry/scene_object.h"
#include "zirconlite/jobs/render_job.hpp"
#include "zirconlite/jobs/render_passes.hpp"
#include "zirconlite/jobs/render_worker.hpp"
#include "zirconlite/lighting/light_model.hpp"
#include "zirconlite/lighting/sun_light.hpp"
#include "zirconlite/platform/random.hpp"
#include "zirconlite/platform/windows.hpp"
#include "zirconlite/raytrace/ambient.hpp"
#include "zirconlite/raytrace/direct_light.hpp"
#include "zirconlite/raytrace/emission_setup.h"
#include "zirconlite/raytrace/pixel_sampler.hpp"
#include "zirconlite/sampling/converging.h"
#include "zirconlite/search/preprocess.hpp"

namespace zr
{

namespace
{

constexpr int32_t max_threads = 8;
constexpr int32_t max_spread_rays = 1024;

enum message
{
    message_stopping = 5081,
    message_stopped = 5082,
    message_started = 5085,
    message_finished = 5086
};

/// Phases of the one job that may run in the process, see docs/render-job.md.
enum phase
{
    phase_idle,
    phase_running,
    phase_ending ///< the end has been reported; the thread takes its last steps
};

struct running_job
{
    int32_t phase;            ///< atomic
    zr_handle thread;         ///< kept until it has ended and was joined; under job_lock()
    document* doc;            ///< under job_lock()
    platform::event* may_run; ///< signalled when the handle is stored where everybody looks for it
};
running_job current = {};

bool external_display = false;

bool settle_any();
bool check_settings(const render_job& request);
bool prepare_environment_map(document& doc, render_view& view);
void update_objects_for_view(document& doc, render_view& view);
bool prepare_light(document& doc);
bool start_job(render_job& request);
void job_thread(void* argument);
bool prepare_job(job_run& run);
void set_quality_costs(job_run& run);
void limit_to_region(job_run& run);
void set_rectangle(const render_job& request, const render_view& view, int32_t rectangle[4]);
int32_t wanted_threads();
void copy_job_settings(const document& doc);
void finish_job(job_run& run, bool done);
void say(message m);
bool is_current_job_of(const document* doc);
bool join_job(int64_t milliseconds);
platform::lock* job_lock();
void forget_job();

} // namespace

bool settle_render(document* doc) { return !is_current_job_of(doc) || settle_any(); }

} // namespace zr

using namespace zr;

int32_t zr_init_raytrace(document* doc, render_view* view)
{
    job.simple_colors = doc->mode == MODE_SIMPLE;
    return prepare_environment_map(*doc, *view) && prepare_light(*doc);
}

int32_t zr_raytrace(render_job* job)
{
    if (!job || !job->document || !job->view)
    {
        report_failure(ZR_ERROR_ARGUMENT, "render: no job, document or view");
        return 0;
    }
    if (!settle_any() || !check_settings(*job)) { return 0; }
    document& doc = *job->document;
    render_view& view = *job->view;
    zr::job.simple_colors = doc.mode == MODE_SIMPLE;
    if (!prepare_environment_map(doc, view)) { return -2; }
    update_objects_for_view(doc, view);
    platform::store_word(&doc.stop_render, 0);
    if (!prepare_light(doc)) { return -2; }
    zr_free_raytrace_buffer(&view);
    view.image = new_image_buffer(&doc, view.width, view.height);
    if (!view.image) { return -2; }
    constexpr uint32_t display_starts_render = 2;
    constexpr uintptr_t as_raytrace = 9;
    send_display_message(display_starts_render, as_raytrace, 0);
    job->status = 1;
    job->status = start_job(*job);
    return job->status;
}

int32_t zr_pause_raytracing(document* doc, zr_handle)
{
    if (!doc) { return report_failure(ZR_ERROR_ARGUMENT, "render: no document"); }
    say(message_stopping);
    platform::store_word(&doc->stop_render, 1);
    // The job's own thread cannot wait for its end: the wish remains, and the job ends after the callback.
    if (!zr_wait_for_render(doc, -1)) { return 0; }
    platform::store_word(&doc->stop_render, 0);
    say(message_stopped);
    return 1;
}

int32_t zr_wait_for_render(document* doc, int32_t milliseconds)
{
    return !is_current_job_of(doc) || join_job(milliseconds);
}

int32_t zr_pause_preview_rt(document*) { return 1; }

int32_t zr_is_preview_image_valid(void) { return job.preview_valid; }

int32_t zr_set_max_raytrace_threads(int32_t count)
{
    if (count == -1 || count > max_threads) { raytrace_options.max_raytrace_threads = max_threads; }
    else if (count >= 1) { raytrace_options.max_raytrace_threads = count; }
    return raytrace_options.max_raytrace_threads;
}

int32_t zr_rt_skip_preprocess(int32_t flag) { return raytrace_options.skip_preprocess = flag; }

int32_t zr_set_calibration_frame(int32_t flag)
{
    raytrace_options.calibration_frame = flag;
    return 1;
}

int32_t is_preprocessing(void) { return platform::load_word(&preprocess_running); }

int32_t zr_init_ray_z_buffer(int32_t enable, float* buffer, const int32_t size[2])
{
    z_buffer = {};
    if (enable && buffer && size && size[0] > 0 && size[1] > 0) { z_buffer = { buffer, size[0], size[1] }; }
    return 1;
}

void display_raytrace_image(render_view* view, int32_t wait_flag)
{
    if (external_display) { host::display_raytrace(view); }
    else { show_image_on_display(view, wait_flag); }
}

int32_t zr_external_display(int32_t flag)
{
    external_display = flag != 0;
    return 1;
}

void zr_get_ambient_color(float rgb_out[3])
{
    for (int i = 0; i < 3; ++i) { rgb_out[i] = job.ambient_color[i]; }
}

namespace zr
{

namespace
{

/// Waits for a job in its last steps; one that still renders is refused.
bool settle_any()
{
    const int32_t now = platform::load_word(&current.phase);
    if (now == phase_running) { return report_failure(ZR_ERROR_STATE, "render: a job is running"); }
    return now == phase_idle || join_job(-1);
}

bool check_settings(const render_job& request)
{
    const document& d = *request.document;
    const render_view& v = *request.view;
    const auto refuse = [](const char* what)
    { return report_failure(ZR_ERROR_ARGUMENT, "render: %s", what); };
    if (d.reflect_limit < 0 || d.refract_limit < 0 || d.reflect_limit >= RECURSION_LIMIT_SUM ||
        d.refract_limit >= RECURSION_LIMIT_SUM || d.reflect_limit + d.refract_limit >= RECURSION_LIMIT_SUM)
    {
        return report_failure(ZR_ERROR_ARGUMENT,
            "render: reflect_limit %d and refract_limit %d; each must be 0 or above and their sum below %d",
            d.reflect_limit, d.refract_limit, RECURSION_LIMIT_SUM);
    }
    if (request.flags & JOB_PREVIEW) { return refuse("a preview needs a display, and none is started"); }
    if (v.width < 1 || v.height < 1) { return refuse("the picture has no pixels"); }
    if (!(v.pixel_width > 0.0) || !(v.pixel_height > 0.0) || !std::isfinite(v.pixel_width) ||
        !std::isfinite(v.pixel_height))
    {
        return refuse("the view is not projected; call zr_init_projection first");
    }
    if (!(d.aa_level >= 0.0 && d.aa_level <= 1.0)) { return refuse("aa_level must be 0 to 1"); }
    if (!std::isfinite(d.pixel_jitter) || !std::isfinite(d.gloss_jitter) ||
        !std::isfinite(d.translucency_jitter))
    {
        return refuse("pixel_jitter, gloss_jitter and translucency_jitter must be finite");
    }
    if (d.gloss_samples > max_spread_rays || d.translucency_samples > max_spread_rays)
    {
        return refuse("gloss_samples and translucency_samples must be at most 1024");
    }
    if ((d.render_flags & RENDER_DEPTH_OF_FIELD) && !(d.lens_f_stop > 0.0 && d.focus_distance > 0.0))
    {
        return refuse("depth of field needs lens_f_stop and focus_distance above 0");
    }
    if (!(request.flags & JOB_REGION)) { return true; }
    const double* f = request.region;
    const bool inside =
        f[0] >= 0.0 && f[0] <= f[2] && f[2] <= 1.0 && f[1] >= 0.0 && f[1] <= f[3] && f[3] <= 1.0;
    if (!inside) { return refuse("the region must lie in 0 to 1, left to right and top to bottom"); }
    int32_t rectangle[4];
    set_rectangle(request, v, rectangle);
    return (rectangle[0] < rectangle[2] && rectangle[1] < rectangle[3]) || refuse("the region has no pixels");
}

/// False when memory fails.
bool prepare_environment_map(document& doc, render_view& view)
{
    host::ask_color_material_table(); // workers do not ask
    view.background_method = view.tone_method + 1;
    prepare_sun(doc); // the sky round the scene follows from it
    if (!environment_prepare(doc, doc.environment, view) ||
        !environment_prepare(doc, doc.reflected_environment, view))
    {
        return false;
    }
    ground_prepare(doc);
    return true;
}

void update_objects_for_view(document& doc, render_view& view)
{
    for (scene_object* list : { doc.radiosity_objects.first, doc.scene_objects.first })
    {
        for (scene_object* object = list; object; object = object->next)
        {
            if (object->vft && object->vft->update_for_view) { object->vft->update_for_view(object, &view); }
        }
    }
}

/// False when memory fails.
bool prepare_light(document& doc)
{
    job.light_model = doc.light_model;
    job.sky_light_samples = doc.sky_light_samples;
    job.stops_early = doc.light_early_stop;
    job.background_luminance = doc.background_luminance;
    prepare_lights_for_model(&doc, doc.light_model);
    prepare_ambient(doc);
    return prepare_sky_light(doc);
}

bool start_job(render_job& request)
{
    const platform::lock_scope held(job_lock());
    current.may_run = platform::new_event();
    current.doc = request.document;
    platform::store_word(&current.phase, phase_running);
    current.thread = current.may_run ? platform::start_thread(job_thread, &request, 0) : nullptr;
    if (!current.thread)
    {
        forget_job();
        return report_failure(ZR_ERROR_MEMORY, "render: no thread can be started");
    }
    platform::store_word(&request.document->render_thread, current.thread);
    platform::signal_event(current.may_run);
    return true;
}

void job_thread(void* argument)
{
    render_job& request = *static_cast<render_job*>(argument);
    platform::wait_event(current.may_run, -1);
    install_stored_exception_handler();
    job_run run = { request, *request.document, *request.view, 0, 0, 0, 0, 0, 0, 0 };
    const bool prepared = prepare_job(run);
    if (the_module.toolkit_in_acad) { request.flags |= JOB_HOST_FUNCTIONS; }
    if (request.flags & JOB_HOST_FUNCTIONS) { zr_enable_hostfuncs(1); }
    if (!prepared) { report_render(run, render_stopped); }
    finish_job(run, prepared && run_passes(run));
}

/// Everything between the start of the thread and the first ray. False when memory or threads fail.
bool prepare_job(job_run& run)
{
    document& doc = run.doc;
    job.simple_colors = doc.mode == MODE_SIMPLE;
    set_scan_marker(run.view, -1);
    platform::srand15(600);
    set_quality_costs(run);
    doc.render_pass = 0;
    show_percent(run.job.progress, 0.0);
    limit_to_region(run);
    say(message_started);
    const int32_t threads = wanted_threads();
    run.strip_height = 64 / threads > 32 ? 64 / threads : 32;
    if (!prepare_thread_lights(doc, threads)) { return false; }
    fill_random_tables();
    zr_set_source_initial_luminance(doc.scene_objects.first);
    copy_job_settings(doc);
    platform::store_word(&job.raytrace_active, 1);
    return make_workers(doc, run.view, threads) > 0;
}

void set_quality_costs(job_run& run)
{
    const int32_t q = run.doc.quality;
    run.pass_cost = q >= 1 && q <= 5 ? double(1 << (q - 1)) : 2.0;
    run.pass_scale = 1.0;
    if (run.doc.render_flags & RENDER_FAST)
    {
        run.pass_cost = 1.0;
        run.pass_scale = 4.0;
    }
}

void limit_to_region(job_run& run)
{
    int32_t rectangle[4];
    set_rectangle(run.job, run.view, rectangle);
    run.left = rectangle[0];
    run.top = rectangle[1];
    run.right = rectangle[2];
    run.bottom = rectangle[3];
    uint32_t state = run.doc.render_state & ~uint32_t(RENDER_STATE_PREPROCESSED | RENDER_STATE_FINISHED |
                                                      RENDER_STATE_SAVED | RENDER_STATE_CROPPED);
    if (run.job.flags & JOB_REGION)
    {
        for (int i = 0; i < 4; ++i) { run.doc.crop[i] = rectangle[i]; }
        state |= RENDER_STATE_CROPPED;
    }
    platform::store_word(&run.doc.render_state, state);
    run.view.ray_counters = {};
    run.view.ray_counters.pixels = uint32_t(run.right - run.left) * uint32_t(run.bottom - run.top);
}

void set_rectangle(const render_job& request, const render_view& view, int32_t rectangle[4])
{
    const int32_t width = view.width, height = view.height;
    rectangle[0] = rectangle[1] = 0;
    rectangle[2] = width;
    rectangle[3] = height;
    if (!(request.flags & JOB_REGION)) { return; }
    const double* f = request.region;
    rectangle[0] = int32_t(width * f[0]) & ~15;
    rectangle[1] = int32_t(height * f[1]) & ~15;
    rectangle[2] = int32_t(width * f[2]) & ~3;
    rectangle[3] = int32_t(height * f[3]) & ~3;
}

int32_t wanted_threads()
{
    const int processors = platform::processor_count();
    return processors < raytrace_options.max_raytrace_threads ? processors
                                                              : raytrace_options.max_raytrace_threads;
}

void copy_job_settings(const document& doc)
{
    job.converges = doc.pixel_sampler == SAMPLER_CONVERGING && job.light_model == LIGHT_MODEL_EXACT &&
                    doc.mode != MODE_SIMPLE;
    const bool bounces = job.converges && doc.indirect_light != INDIRECT_AMBIENT;
    job.caches_light = bounces && doc.indirect_light == INDIRECT_CACHE;
    // Paths that find no light kept go on; only chance ends them.
    job.bounce_limit = job.caches_light ? max_bounces : bounces ? doc.bounce_limit : 0;
    job.aa_threshold = std::sqrt(std::fmax(1.0 - doc.aa_level, 0.0));
    for (int i = 0; i < 2; ++i)
    {
        job.pixel_jitter_amplitude[i] = doc.pixel_jitter;
        job.gloss_jitter_amplitude[i] = doc.gloss_jitter;
        job.translucency_jitter_amplitude[i] = doc.translucency_jitter;
        job.bitmap_jitter_amplitude[i] = 0.1;
    }
}

/// Reports the end: from here on the host may take the document back, and waits for the thread when it does.
void finish_job(job_run& run, bool done)
{
    document& doc = run.doc;
    const zr_handle window = doc.notify_window;
    const bool stop_word = platform::load_word(&doc.stop_render) != 0;
    const bool posts = !the_module.no_gl_driver && !stop_word;
    const bool lowers_host = run.job.flags & JOB_HOST_FUNCTIONS;
    if (done)
    {
        platform::set_bits(&doc.render_state, RENDER_STATE_FINISHED);
        show_percent(run.job.progress, 1.0);
    }
    set_scan_marker(run.view, -1);
    end_workers(doc);
    if (!done && lowers_host) { zr_enable_hostfuncs(0); }
    if (platform::load_word(&doc.stop_render) == 1) { say(message_stopped); }
    platform::store_word(&job.raytrace_active, 0);
    if (!done) { job.simple_colors = 0; }
    platform::store_word(&doc.render_thread, nullptr);
    platform::store_word(&current.phase, phase_ending);
    if (posts) { platform::post_command(window, ZR_COMMAND_JOB_ENDED); }
    if (!done) { return; }
    // The host may have given up its job record in the answer to the command.
    host::progress(PROGRESS_RAYTRACE, &doc, &run.view, PROGRESS_RENDERED, 1.0f);
    if (lowers_host) { zr_enable_hostfuncs(0); }
    say(message_finished);
}

void say(message m) { host::status_message(zr_get_message(nullptr, m)); }

bool is_current_job_of(const document* doc)
{
    const platform::lock_scope held(job_lock());
    return current.thread && current.doc == doc;
}

/// Joins the thread of an ended job. False when `milliseconds` passed first, and on that thread itself.
bool join_job(int64_t milliseconds)
{
    zr_handle thread;
    {
        const platform::lock_scope held(job_lock());
        if (!current.thread) { return true; }
        if (platform::is_current_thread(current.thread))
        {
            return report_failure(ZR_ERROR_STATE, "render: the job's own thread cannot wait for its end");
        }
        thread = platform::share_thread(current.thread);
    }
    const bool ended = platform::wait_for_thread(thread, milliseconds);
    const platform::lock_scope held(job_lock());
    // Another waiter may have taken this job away meanwhile, and the next one may be here.
    const bool still_current = current.thread == thread;
    platform::close_thread(thread);
    if (!ended || !still_current) { return ended; }
    platform::close_thread(current.thread);
    forget_job();
    return true;
}

platform::lock* job_lock()
{
    static platform::lock* const lock = platform::new_lock();
    return lock;
}

void forget_job()
{
    platform::free_event(current.may_run);
    current.thread = nullptr;
    current.doc = nullptr;
    current.may_run = nullptr;
    platform::store_word(&current.phase, phase_idle);
}

} // namespace

} // namespace zr
