#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "tests/support/scene.hpp"
#include "zirconlite/frame/error.h"
#include "zirconlite/frame/job_state.hpp"
#include "zirconlite/frame/window.h"
#include "zirconlite/picture/tone.h"
#include "zirconlite/raytrace/solution.hpp"

namespace
{

using namespace zr;

/// Answers the exposure dialog with `user` in its scope.
struct exposure_user
{
    using acts = std::function<int32_t(zr_exposure_dialog&)>;
    explicit exposure_user(acts user) : act(std::move(user))
    {
        zr_dialogs dialogs = {};
        dialogs.context = this;
        dialogs.adjust_exposure = [](void* context, zr_handle, zr_exposure_dialog* dialog)
        { return static_cast<exposure_user*>(context)->act(*dialog); };
        zr_install_dialogs(&dialogs);
    }
    ~exposure_user() { zr_install_dialogs(nullptr); }
    acts act;
};

struct exposed : test::scene
{
    exposed()
    {
        doc->mode = MODE_RADIOSITY;
        doc->ambient_gain = 0.5;
        doc->render_state = RENDER_STATE_PREPROCESSED;
        view.tone_method = TONE_POWER;
        view.brightness = 0.25f;
        view.contrast = 0.6f;
        view.source_gain = 2.0f;
        view.measured_luminance = 100.0;
        apply_exposure(doc, &view);
    }
    std::string values() const
    {
        return std::to_string(view.tone_method) + (view.exposure_flags & EXPOSURE_LOCKED ? " locked " : " ") +
               std::to_string(view.brightness) + " " + std::to_string(view.contrast) + " " +
               std::to_string(view.source_gain) + " " + std::to_string(doc->ambient_gain);
    }
};

int ambient_updates;

} // namespace

TEST(ExposureDialog, TakesCancelsAndLocks)
{
    const std::string before = exposed().values();
    const std::string changed = "1 5.000000 0.600000 0.000000 1.500000";
    struct
    {
        const char *what, *acts; ///< c change, f film, l lock, u unlock, a apply, r reset, k OK
        std::string after;
    } const cases[] = {
        { "clamped to the ranges", "ck", changed },
        { "the film method", "cfk", "2" + changed.substr(1) },
        { "cancelled", "c", before },
        { "cancelled after it was applied", "ca", before },
        { "the defaults", "crk", "1 0.000000 0.500000 1.000000 0.900000" },
        { "locked: nothing else is taken", "lck", "0 locked 0.250000 0.600000 2.000000 0.500000" },
        { "locked: no reset", "lruk", before },
        { "a lock that was cancelled", "la", before },
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        exposed s;
        const double scale = s.view.tone_scale;
        const exposure_user user(
            [&](zr_exposure_dialog& d)
            {
                for (const char* act = c.acts; *act; ++act)
                {
                    if (*act == 'c')
                    {
                        d.tone_method = TONE_HISTOGRAM;
                        d.brightness = 9.0f;
                        d.contrast = NAN;
                        d.source_gain = -1.0f;
                        d.ambient_gain = 1.5;
                    }
                    if (*act == 'l' || *act == 'u') { d.locked = *act == 'l'; }
                    if (*act == 'f') { d.tone_method = TONE_FILM; }
                    if (*act == 'a') { d.apply(&d); }
                    if (*act == 'r') { d.reset(&d); }
                    if (*act == 'k') { return 1; }
                }
                return 0;
            });
        const int32_t kept = zr_adjust_exposure(nullptr, s.doc, 0, &s.view, nullptr);
        EXPECT_EQ(s.values(), c.after);
        EXPECT_EQ(kept != 0 || c.after == before, true);
        EXPECT_EQ(s.view.tone_scale == scale, s.view.brightness == 0.25f) << "the picture follows";
    }
    exposed s;
    EXPECT_EQ(zr_adjust_exposure(nullptr, s.doc, 0, &s.view, nullptr), 0) << "no dialog is installed";
    EXPECT_EQ(s.values(), before);
    s.doc->render_thread = &s;
    EXPECT_EQ(zr_adjust_exposure(nullptr, s.doc, 0, &s.view, nullptr), 0);
    EXPECT_EQ(zr_last_error()->code, ZR_ERROR_STATE);
    s.doc->render_thread = nullptr;
}

TEST(ExposureDialog, AChangedAmbientGainReachesTheSolutionAndThePreview)
{
    solution.update_ambient = [](document& d) { ambient_updates += d.ambient_gain == 1.5; };
    for (const int32_t iterations : { 0, 3 })
    {
        exposed s;
        s.doc->radiosity_iterations = iterations;
        render_view& preview = s.doc->views[0];
        preview.view_flags = VIEW_TONE_VALID;
        preview.exposure_flags = EXPOSURE_LOCKED;
        ambient_updates = 0;
        const exposure_user user(
            [](zr_exposure_dialog& d)
            {
                EXPECT_TRUE(d.has_ambient_gain);
                d.ambient_gain = 1.5;
                return 1;
            });
        EXPECT_EQ(zr_adjust_exposure(nullptr, s.doc, 0, &s.view, &preview), 1);
        EXPECT_EQ(ambient_updates, iterations ? 1 : 0);
        EXPECT_EQ((preview.view_flags & VIEW_TONE_VALID) == 0, iterations != 0);
        EXPECT_EQ(preview.brightness, 0.0f) << "only a preview that asks takes the values";
    }
    solution = {};
    preview_tone = { 1.0, 1.0 };
}
