#include "zirconlite/frame/host_callbacks.hpp"

#include <gtest/gtest.h>

#include "tests/support/find_table.hpp"

namespace host = zr::host;

namespace
{

int32_t answer_zero(int32_t, document*, render_view*, int32_t, float, int32_t) { return 0; }
int32_t find_nothing(const char16_t*, char16_t*) { return 1; }

} // namespace

TEST(HostCallbacks, EmptySlotsGiveTheNeutralAnswer)
{
    host::look_up_all(nullptr);
    zr_enable_hostfuncs(1);
    vector3 points[2] = {};
    double angles[2] = {};
    host_view_data view = {};
    char16_t text[ZR_PATH_CAPACITY] = u"x";
    host::draw_line(points, points, 2);
    host::status_message(u"^text");
    host::format_io(0, angles, text, 0);
    host::change_cursor(nullptr);
    host::set_scrollbars(nullptr);
    EXPECT_EQ(host::get_current_doc(), nullptr);
    EXPECT_EQ(host::set_legend(nullptr, 0), 0);
    EXPECT_FALSE(host::pickpoint(u"", points));
    EXPECT_FALSE(host::pickpoint_ht(u"", points, points, 0));
    EXPECT_FALSE(host::pickbeam(u"", points, angles, angles + 1));
    EXPECT_FALSE(host::get_viewdir_and_fov(&view));
    EXPECT_EQ(host::display_raytrace(nullptr), 0);
    EXPECT_EQ(host::get_model_path(), nullptr);
    EXPECT_EQ(host::hwnd(), nullptr);
    EXPECT_EQ(host::hwnd_parent(), nullptr);
    EXPECT_FALSE(host::adjust_decal(nullptr));
    EXPECT_FALSE(host::is_background());
    EXPECT_GT(host::get_button_height(), 0);
    host::get_model_extension(text);
    EXPECT_EQ(text[0], 0);
    host::ask_color_material_table();
    EXPECT_EQ(host::color_material_table(), nullptr);
    EXPECT_TRUE(host::progress(PROGRESS_RAYTRACE, nullptr, nullptr, PROGRESS_STRIP, 0.5f));
    EXPECT_FALSE(host::findfile(u"a", text));
    EXPECT_EQ(host::search_for_lib_files(u"*", u"", nullptr, nullptr), 0);
    EXPECT_EQ(host::low_memory(), 0);
    EXPECT_EQ(host::select_bitmap(nullptr, nullptr), -1);
    EXPECT_EQ(host::get_new_library_name(nullptr, 1, text), -1);
    zr_enable_hostfuncs(0);
}

TEST(HostCallbacks, OnlySomeCodesStopOnZeroAndOnlyWhileEnabled)
{
    const host_functions functions({ { "host_progress", reinterpret_cast<void*>(answer_zero) },
        { "host_findfile", reinterpret_cast<void*>(find_nothing) } });
    struct
    {
        int32_t code;
        bool goes_on;
    } const cases[] = { { 100, false }, { 101, false }, { 102, true }, { 200, false }, { 201, false },
        { 202, true }, { 3, false }, { 1, false }, { 2, true }, { -1, true }, { 1001, true } };
    for (const auto& c : cases)
    {
        EXPECT_EQ(host::progress(0, nullptr, nullptr, c.code, 0.0f), c.goes_on) << c.code;
    }
    char16_t path[ZR_PATH_CAPACITY];
    EXPECT_TRUE(host::findfile(u"a", path));
    zr_enable_hostfuncs(0);
    EXPECT_TRUE(host::progress(0, nullptr, nullptr, PROGRESS_GRID_STARTS, 0.0f));
    EXPECT_FALSE(host::findfile(u"a", path));
}
