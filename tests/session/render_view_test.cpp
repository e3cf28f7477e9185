#include "zirconlite/frame/render_view.h"

#include <gtest/gtest.h>

#include <cmath>

#include <string>

#include "tests/support/find_table.hpp"
#include "zirconlite/frame/document.h"
#include "zirconlite/frame/window.h"
#include "zirconlite/geometry/vector.hpp"

using zr::operator+;
using zr::operator-;
using zr::operator*;

namespace
{

document current;
int32_t legend_flag;

document* open_document; // what the host answers

document* on_get_current_doc() { return open_document; }
int32_t on_set_legend(render_view*, int32_t flag)
{
    legend_flag = flag;
    return 42;
}

void expect_near(const vector3& a, const vector3& b)
{
    EXPECT_NEAR(a.x, b.x, 1e-12);
    EXPECT_NEAR(a.y, b.y, 1e-12);
    EXPECT_NEAR(a.z, b.z, 1e-12);
}

/// A camera at (0, -2, 1) that looks along y.
struct View : testing::Test
{
    View()
    {
        current = {};
        open_document = &current;
        current.world_offset = { 10, 0, 0 };
        current.model_to_world = 2.0;
        current.bounds = { { 0, 0, 0 }, { 100, 10, 10 } };
        view.position = { 0, -2, 1 };
        view.target = { 0, 3, 1 };
        view.right = { 1, 0, 0 };
        view.up = { 0, 0, 1 };
        view.back = { 0, -1, 0 };
    }
    void expect_world_in_step() const
    {
        expect_near(view.world_position, (view.position + current.world_offset) * 2.0);
        expect_near(view.world_target, (view.target + current.world_offset) * 2.0);
    }
    render_view view = {};
    host_functions host{ { { "host_get_current_doc", reinterpret_cast<void*>(on_get_current_doc) },
        { "host_set_legend", reinterpret_cast<void*>(on_set_legend) } } };
};

constexpr double quarter = 1.5707963267948966;

} // namespace

TEST_F(View, MovesLeadWhereTheySay)
{
    struct
    {
        const char* what;
        int32_t (*move)(double, render_view*);
        double amount;
        int32_t level;
        vector3 position, target;
    } const cases[] = {
        { "walk", zr_view_move, 1.5, 0, { 0, -0.5, 1 }, { 0, 4.5, 1 } },
        { "turn", zr_view_turn, quarter, 0, { 0, -2, 1 }, { -5, -2, 1 } },
        { "look up", zr_view_look_up_or_down, quarter, 0, { 0, -2, 1 }, { 0, -2, 6 } },
        { "orbit", zr_view_orbit, quarter, 0, { 5, 3, 1 }, { 0, 3, 1 } },
        { "orbit up", zr_view_orbit_up_or_down, quarter, 0, { 0, 3, 6 }, { 0, 3, 1 } },
        { "pan up", zr_view_pan_vertical, 2, 0, { 0, -2, 3 }, { 0, 3, 3 } },
        { "pan right", zr_view_pan_horizontal, 2, 0, { 2, -2, 1 }, { 2, 3, 1 } },
        { "pan right, level", zr_view_pan_horizontal, 2, 1, { 2, -2, 1 }, { 2, 3, 1 } },
        { "dolly", zr_view_dolly, 0.5, 0, { 0, 0.5, 1 }, { 0, 3, 1 } },
        { "dolly back", zr_view_dolly, -0.5, 0, { 0, -7, 1 }, { 0, 3, 1 } },
        { "dolly back for ever", zr_view_dolly, -1, 0, { 0, -2, 1 }, { 0, 3, 1 } },
    };
    const render_view start = view;
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        view = start;
        view.level_moves = c.level;
        EXPECT_EQ(c.move(c.amount, &view), 1);
        expect_near(view.position, c.position);
        expect_near(view.target, c.target);
        expect_near(zr::cross(view.right, view.up), view.back);
        // The camera still looks at its target.
        expect_near(view.back, zr::normalized(view.position - view.target));
        expect_world_in_step();
    }
}

TEST_F(View, ADollyStopsShortOfTheTarget)
{
    const vector3 start = view.position;
    zr_view_dolly(0.5, &view);
    zr_view_dolly(0.5, &view);
    zr_view_dolly(-0.5, &view);
    zr_view_dolly(-0.5, &view);
    expect_near(view.position, start);
    view.position = { 0, 2.01, 1 }; // 0.99 away; the scene's largest side is 100
    zr_view_dolly(0.5, &view);
    EXPECT_EQ(view.position.y, 2.01);
    zr_view_dolly(-0.5, &view);
    EXPECT_NEAR(view.position.y, 1.02, 1e-12);
}

TEST_F(View, ANewPictureKeepsTheExposureAndFitsTheWindow)
{
    struct
    {
        int32_t width, height;
        double reduction;
    } const cases[] = { { 1000, 500, 2 }, { 1001, 500, 3 }, { 500, 500, 1 }, { 20, 1501, 4 } };
    zr_handle window = zr_new_memory_window(499, 499, u"");
    render_view picture = {};
    zr_init_view(&current, &picture, nullptr);
    EXPECT_EQ(picture.tone_method, TONE_HISTOGRAM);
    EXPECT_EQ(picture.contrast, 0.5f);
    picture.view_flags = VIEW_TONE_VALID;
    picture.tone_scale = 3.0;
    picture.projection = PROJECTION_PARALLEL;
    picture.scroll_x = 9;
    view.window = window;
    view.tone_scale = 1.0;
    view.projection = PROJECTION_SPHERE;
    view.cached_frame = zr_malloc(8);
    for (const auto& c : cases)
    {
        const int32_t size[] = { c.width, c.height };
        legend_flag = 7;
        EXPECT_EQ(zr_new_render_view(&picture, &view, size), 42);
        EXPECT_EQ(legend_flag, 0);
        EXPECT_EQ(picture.reduction, c.reduction);
        EXPECT_EQ(picture.zoom, 1 / c.reduction);
        EXPECT_EQ(picture.width, c.width);
    }
    EXPECT_EQ(picture.projection, PROJECTION_PERSPECTIVE) << "the view's own projection, which was parallel";
    EXPECT_EQ(picture.tone_scale, 3.0);
    EXPECT_EQ(picture.view_flags, uint32_t(VIEW_TONE_VALID));
    EXPECT_EQ(picture.scroll_x, 0);
    EXPECT_EQ(picture.scan_marker, -1);
    EXPECT_NE(picture.scanline_lock, nullptr);
    EXPECT_EQ(picture.cached_frame, nullptr) << "two views must not free one block";
    expect_near(picture.target, view.target);
    picture.projection = PROJECTION_TWO_POINT;
    zr_new_render_view(&picture, &view, nullptr);
    EXPECT_EQ(picture.projection, PROJECTION_TWO_POINT);
    EXPECT_EQ(picture.width, 500);
    EXPECT_EQ(picture.reduction, 1.0);
    zr_term_view(&picture);
    zr_term_view(&view);
    zr_free_window(window);
}

TEST(ImagePlacement, PicturesAreKeptInTheWindow)
{
    image_placement p = {};
    p.picture_size[0] = 200;
    p.picture_size[1] = 100;
    p.client_size[0] = 100;
    p.client_size[1] = 100;
    p.zoom = p.reduction = 1;
    p.cop[0] = p.cop[1] = 0;
    int32_t scroll[2];
    EXPECT_EQ(zr_adjust_COP(&p, p.client_size, scroll), 1);
    EXPECT_EQ(p.cop[0], 0.25);
    EXPECT_EQ(p.cop[1], 0.5);
    EXPECT_EQ(scroll[0], 0);
    EXPECT_EQ(scroll[1], 50);
    const double delta[] = { 0.5, 0.5 };
    EXPECT_EQ(zr_pan_image(&p, p.client_size, delta, scroll), 1);
    EXPECT_EQ(scroll[0], 50);
    const int32_t visible[] = { 300, 50 };
    p.cop[1] = 0;
    EXPECT_EQ(zr_adjust_COP(&p, visible, scroll), 2);
    EXPECT_EQ(scroll[1], 100) << "the bar counts from above";
    int32_t out[2];
    const double corner[] = { 0, 0 };
    p.cop[0] = 0.5;
    p.cop[1] = 0.5;
    image_pixel_to_display_pixel(&p, corner, out);
    EXPECT_EQ(out[0], -49) << "trunc(50 - 100 + 0.5)";
    EXPECT_EQ(out[1], 0);
}

namespace
{
std::string drawn;
}

TEST(ImagePlacement, TheWalkVisitsEveryPositionOnce)
{
    image_placement p = {};
    p.picture_size[0] = 2;
    p.picture_size[1] = 1;
    p.client_size[0] = 4;
    p.client_size[1] = 3;
    p.zoom = p.reduction = 1;
    p.cop[0] = p.cop[1] = 0.5;
    p.begin_row = [](image_placement*, int32_t blank) { drawn += blank ? "\nb" : "\nr"; };
    p.put_pixel = [](image_placement*) { drawn += '#'; };
    p.put_blank = [](image_placement*) { drawn += '.'; };
    p.next_pixel = [](image_placement*, int32_t blank) { drawn += blank ? '-' : '+'; };
    drawn.clear();
    EXPECT_EQ(zr_display_image(&p), 1);
    // left = 1 - 2 = -1 and top = 0 - 1 = -1: the picture lies in columns 1 and 2 of row 1.
    EXPECT_EQ(drawn, "\nb.-.-.-.-\nr.-#+#+.-\nb.-.-.-.-");
    EXPECT_EQ(p.first_x, 0);
    EXPECT_EQ(p.first_y, -1);
}
