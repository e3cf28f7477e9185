/// @file
/// Start and end of views, and the making of a view for a new picture.
#include "zirconlite/session/render_view.hpp"

#include <cmath>

#include "zirconlite/display/hooks.hpp"
#include "zirconlite/frame/host_callbacks.hpp"
#include "zirconlite/frame/memory.h"
#include "zirconlite/picture/image_buffer.h"
#include "zirconlite/platform/windows.hpp"

namespace
{

constexpr double half_film = 18.0; // mm

void copy_for_picture(render_view* view, const render_view* source);
void fit_to_window(render_view* view, const int32_t* size);

} // namespace

void zr_init_view(document* doc, render_view* view, zr_handle window)
{
    view->window = window;
    // Windows in memory are their own device context.
    view->device_context = window;
    view->document = doc;
    view->view_flags = 0;
    view->tone_method = TONE_HISTOGRAM;
    view->brightness = 0.0f;
    view->contrast = 0.5f;
    view->source_gain = 1.0f;
    view->tone_exponent = view->tone_scale = 1.0;
    view->background_exponent = view->background_scale = 1.0;
}

void zr_term_view(render_view* view)
{
    zr::free_view_frames(view);
    zr::free_scanline_lock(view);
}

int32_t zr_new_render_view(render_view* view, render_view* source, const int32_t* size)
{
    if (view->image) { zr_free_raytrace_buffer(view); }
    {
        const zr::platform::lock_scope hold(zr::display_lock());
        source->image = nullptr;
        if (view != source) { copy_for_picture(view, source); }
        if (view->projection == 0 || view->projection == PROJECTION_PARALLEL)
        {
            view->projection = PROJECTION_PERSPECTIVE;
        }
        fit_to_window(view, size);
        view->view_state = 1;
        view->display_type = 1;
        view->scroll_x = view->scroll_y = 0;
        view->view_centre[0] = view->view_centre[1] = 0.5;
        if (!view->scanline_lock) { view->scanline_lock = zr::platform::new_lock(); }
        view->scan_marker = -1;
    }
    return zr::host::set_legend(view, 0);
}

int32_t zr_begin_view_changes(void)
{
    if (auto* lock = zr::display_lock()) { zr::platform::take_lock(lock); }
    return 1;
}

int32_t zr_end_view_changes(void)
{
    if (auto* lock = zr::display_lock()) { zr::platform::release_lock(lock); }
    return 1;
}

int32_t zr_view_get_display_type(render_view* view)
{
    const zr::platform::lock_scope hold(zr::display_lock());
    return view->display_type;
}

int32_t zr_view_set_display_type(render_view* view, int32_t type)
{
    const zr::platform::lock_scope hold(zr::display_lock());
    view->display_type = type;
    return 1;
}

double zr_FOVtoMM(double fov) { return half_film / std::tan(fov / 2.0); }

double zr_MMtoFOV(double length) { return 2.0 * std::atan(half_film / length); }

double FOVtoMM(double fov) { return zr_FOVtoMM(fov); }

double MMtoFOV(double length) { return zr_MMtoFOV(length); }

namespace zr
{

void free_view_frames(render_view* view)
{
    zr_free(view->frustum_store);
    zr_free(view->cached_frame);
    view->frustum_store = view->cached_frame = nullptr;
}

void free_scanline_lock(render_view* view)
{
    platform::free_lock(static_cast<platform::lock*>(view->scanline_lock));
    view->scanline_lock = nullptr;
}

} // namespace zr

namespace
{

/// The camera and all settings come from `source`. The exposure, the projection and what the view owns stay:
/// a locked exposure holds over pictures, and two views must not free one block.
void copy_for_picture(render_view* view, const render_view* source)
{
    const render_view kept = *view;
    *view = *source;
    view->frustum_store = kept.frustum_store;
    view->view_flags = kept.view_flags;
    view->world_luminance = kept.world_luminance;
    view->measured_luminance = kept.measured_luminance;
    view->tone_exponent = kept.tone_exponent;
    view->tone_scale = kept.tone_scale;
    view->background_exponent = kept.background_exponent;
    view->background_scale = kept.background_scale;
    view->histogram = kept.histogram;
    view->projection = kept.projection;
    view->cached_frame = kept.cached_frame;
    view->scanline_lock = kept.scanline_lock;
}

void fit_to_window(render_view* view, const int32_t* size)
{
    int32_t client[2];
    const bool has_window = zr::platform::client_size(view->window, client);
    view->zoom = view->reduction = 1.0;
    if (!size)
    {
        view->width = client[0] + 1;
        view->height = client[1] + 1;
        return;
    }
    view->width = size[0];
    view->height = size[1];
    // Without a window nothing shows the picture, and nothing shrinks it.
    if (!has_window || size[0] < 1 || size[1] < 1) { return; }
    const double kx = std::ceil(size[0] / (client[0] + 1.0));
    const double ky = std::ceil(size[1] / (client[1] + 1.0));
    view->reduction = kx > ky ? kx : ky;
    view->zoom = 1.0 / view->reduction;
}

} // namespace
