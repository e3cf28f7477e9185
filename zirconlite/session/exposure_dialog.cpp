/// @file
/// The exposure dialog: what its controls hold, and what its buttons do to a document and its views.
#include <algorithm>
#include <cmath>

#include "zirconlite/frame/dialogs.hpp"
#include "zirconlite/frame/document.h"
#include "zirconlite/frame/host_callbacks.hpp"
#include "zirconlite/frame/job_state.hpp"
#include "zirconlite/frame/module_state.hpp"
#include "zirconlite/frame/status.hpp"
#include "zirconlite/jobs/render_job.h"
#include "zirconlite/picture/tone.h"
#include "zirconlite/platform/threads.hpp"
#include "zirconlite/raytrace/solution.hpp"
#include "zirconlite/settings/settings_files.h"

using namespace zr;

namespace
{

/// The values that the dialog changes.
struct exposure
{
    int32_t tone_method;
    uint32_t flags;
    float brightness, contrast, source_gain;
    double ambient_gain;
};
constexpr exposure defaults = { TONE_HISTOGRAM, 0, 0.0f, 0.5f, 1.0f, 0.9 };

/// What the buttons work on.
struct dialog_work
{
    document& doc;
    render_view& view;
    render_view* preview; ///< null unless the dialog was called from the preview
    bool applied;
    bool ambient_changed;
};

void apply(zr_exposure_dialog* dialog);
void reset(zr_exposure_dialog* dialog);
int32_t load(zr_exposure_dialog* dialog, zr_handle parent);
void fill_controls(zr_exposure_dialog& c, const exposure& e);
int32_t save(zr_exposure_dialog* dialog, zr_handle parent);
dialog_work& work_of(const zr_exposure_dialog* dialog);
exposure exposure_of(const document& d, const render_view& v);
exposure asked_for(const zr_exposure_dialog& c, const exposure& present);
double in_range(double value, double low, double high, double otherwise);
void take(dialog_work& w, const exposure& e);
void set_exposure(render_view& v, const exposure& e);
void set_ambient_gain(dialog_work& w, double gain);
bool has_solution(const document& d);

} // namespace

int32_t zr_adjust_exposure(
    zr_handle parent, document* doc, int32_t from_preview, render_view* view, render_view* preview_view)
{
    if (!doc || !view || (from_preview && !preview_view))
    {
        return report_failure(ZR_ERROR_ARGUMENT, "exposure: no document or view");
    }
    if (platform::load_word(&doc->render_thread))
    {
        return report_failure(ZR_ERROR_STATE, "exposure: a render of the document runs");
    }
    dialog_work w = { *doc, *view, from_preview ? preview_view : nullptr, false, false };
    const exposure before = exposure_of(*doc, *view);
    zr_exposure_dialog dialog = {};
    dialog.locked = (before.flags & EXPOSURE_LOCKED) != 0;
    fill_controls(dialog, before);
    dialog.has_ambient_gain = doc->mode == MODE_RADIOSITY;
    dialog.apply = apply;
    dialog.reset = reset;
    dialog.load = load;
    dialog.save = save;
    dialog.library = &w;
    const bool kept = ask_for_exposure(parent, &dialog);
    if (kept) { apply(&dialog); }
    else if (w.applied) { take(w, before); }
    if (w.ambient_changed && has_solution(*doc) && preview_view)
    {
        preview_view->view_flags &= ~uint32_t(VIEW_TONE_VALID);
    }
    return kept;
}

namespace
{

void apply(zr_exposure_dialog* dialog)
{
    dialog_work& w = work_of(dialog);
    w.applied = true;
    take(w, asked_for(*dialog, exposure_of(w.doc, w.view)));
}

void reset(zr_exposure_dialog* dialog)
{
    if (!dialog->locked) { fill_controls(*dialog, defaults); }
}

int32_t load(zr_exposure_dialog* dialog, zr_handle parent)
{
    dialog_work& w = work_of(dialog);
    const exposure before = exposure_of(w.doc, w.view);
    if (dialog->locked || !zr_load_exposure_config(parent, &w.doc, &w.view)) { return 0; }
    // The file's values go to the controls; the buttons decide whether they are taken.
    fill_controls(*dialog, exposure_of(w.doc, w.view));
    set_exposure(w.view, before);
    w.doc.ambient_gain = before.ambient_gain;
    return 1;
}

void fill_controls(zr_exposure_dialog& c, const exposure& e)
{
    c.tone_method = e.tone_method;
    c.brightness = e.brightness;
    c.contrast = e.contrast;
    c.source_gain = e.source_gain;
    c.ambient_gain = e.ambient_gain;
}

int32_t save(zr_exposure_dialog* dialog, zr_handle parent)
{
    dialog_work& w = work_of(dialog);
    const exposure before = exposure_of(w.doc, w.view), asked = asked_for(*dialog, before);
    set_exposure(w.view, asked);
    w.doc.ambient_gain = asked.ambient_gain;
    const int32_t saved = zr_save_exposure_config(parent, &w.doc, &w.view);
    set_exposure(w.view, before);
    w.doc.ambient_gain = before.ambient_gain;
    return saved;
}

dialog_work& work_of(const zr_exposure_dialog* dialog) { return *static_cast<dialog_work*>(dialog->library); }

exposure exposure_of(const document& d, const render_view& v)
{
    return { v.tone_method, v.exposure_flags, v.brightness, v.contrast, v.source_gain, d.ambient_gain };
}

/// What the controls ask for; locked, only the lock.
exposure asked_for(const zr_exposure_dialog& c, const exposure& present)
{
    exposure e = present;
    if (c.locked)
    {
        e.flags |= EXPOSURE_LOCKED;
        return e;
    }
    e.flags &= ~uint32_t(EXPOSURE_LOCKED);
    const bool is_known = c.tone_method >= TONE_POWER && c.tone_method <= TONE_FILM;
    e.tone_method = is_known ? c.tone_method : TONE_HISTOGRAM;
    e.brightness = float(in_range(c.brightness, -5.0, 5.0, present.brightness));
    e.contrast = float(in_range(c.contrast, 0.001, 0.999, present.contrast));
    e.source_gain = float(in_range(c.source_gain, 0.0, 4.0, present.source_gain));
    e.ambient_gain = in_range(c.ambient_gain, 0.0, 2.0, present.ambient_gain);
    return e;
}

double in_range(double value, double low, double high, double otherwise)
{
    return std::isfinite(value) ? std::clamp(value, low, high) : otherwise;
}

/// Puts an exposure into force on the picture, if one is rendered, and on the preview.
void take(dialog_work& w, const exposure& e)
{
    static char wait_cursor; // its address is the handle
    set_exposure(w.view, e);
    set_ambient_gain(w, e.ambient_gain);
    if (w.doc.render_state & RENDER_STATE_PREPROCESSED)
    {
        host::change_cursor(&wait_cursor);
        apply_exposure(&w.doc, &w.view);
        display_raytrace_image(&w.view, 0);
        host::change_cursor(nullptr);
    }
    if (!w.preview) { return; }
    set_exposure(*w.preview, e);
    const double luminance = zr_get_world_log_avg_luminance(&w.doc, w.preview);
    w.preview->world_luminance = luminance;
    get_tone_operator(luminance, &preview_tone.scale, &preview_tone.exponent, 1.1, 1.0);
}

void set_exposure(render_view& v, const exposure& e)
{
    v.tone_method = e.tone_method;
    v.exposure_flags = e.flags;
    v.brightness = e.brightness;
    v.contrast = e.contrast;
    v.source_gain = e.source_gain;
}

void set_ambient_gain(dialog_work& w, double gain)
{
    if (w.doc.mode != MODE_RADIOSITY || gain == w.doc.ambient_gain) { return; }
    {
        const platform::lock_scope held(the_module.ambient_lock);
        w.doc.ambient_gain = gain;
    }
    w.ambient_changed = true;
    if (has_solution(w.doc) && solution.update_ambient) { solution.update_ambient(w.doc); }
}

bool has_solution(const document& d) { return d.mode == MODE_RADIOSITY && d.radiosity_iterations >= 1; }

} // namespace
