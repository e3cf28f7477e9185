/// @file
/// Translation of windows and menus, and their font.
#include "zirconlite/frame/module_state.hpp"
#include "zirconlite/frame/string_table.h"
#include "zirconlite/frame/window_font.hpp"
#include "zirconlite/platform/text.hpp"
#include "zirconlite/platform/windows.hpp"

namespace platform = zr::platform;

namespace
{

constexpr int32_t pixels_per_inch = 96;
constexpr int deepest_menu = 64;

int32_t window_font_height = -13;
char16_t window_font_name[32] = u"MS Sans Serif";
platform::window_font window_font = {};
bool window_font_made = false;

void make_window_font();
bool translate_window(zr_handle window, string_table table);
int32_t translate_menu(zr_handle menu, string_table table, int depth);

} // namespace

int32_t zr_init_window_text(zr_handle window, string_table table)
{
    make_window_font();
    const bool translated = translate_window(window, table);
    for (size_t i = 0; zr_handle child = platform::child_at(window, i); ++i)
    {
        platform::set_font(child, &window_font);
        translate_window(child, table);
    }
    zr_set_menu_text(platform::menu_of(window), table);
    return translated;
}

int32_t zr_set_menu_text(zr_handle menu, string_table table) { return translate_menu(menu, table, 0); }

zr_handle zr_get_window_font(void) { return window_font_made ? &window_font : nullptr; }

void zr_set_DC_font(zr_handle device_context)
{
    if (window_font_made) { platform::set_font(device_context, &window_font); }
}

namespace zr
{

void set_window_font_choice(int32_t height, const char16_t face[32])
{
    window_font_height = height;
    platform::copy_text(window_font_name, 32, face);
}

} // namespace zr

namespace
{

/// Once per process: windows keep the font's address.
void make_window_font()
{
    if (window_font_made) { return; }
    window_font_made = true;
    window_font.height = window_font_height;
    if (zr::the_module.os_platform == 0)
    {
        // Points to pixels, to the nearest.
        const int32_t scaled = window_font_height * pixels_per_inch;
        window_font.height = -((scaled + (scaled < 0 ? -36 : 36)) / 72);
    }
    platform::copy_text(window_font.face, 32, window_font_name);
}

bool translate_window(zr_handle window, string_table table)
{
    char16_t text[ZR_MESSAGE_CAPACITY];
    const bool is_key = zr_get_string_from_table(table, platform::window_text(window), text) != 0;
    if (is_key) { platform::set_window_text(window, text); }
    return is_key;
}

int32_t translate_menu(zr_handle menu, string_table table, int depth)
{
    if (!menu || depth > deepest_menu) { return 0; }
    for (size_t i = 0; const char16_t* item = platform::menu_item_text(menu, i); ++i)
    {
        char16_t text[ZR_MESSAGE_CAPACITY];
        if (zr_get_string_from_table(table, item, text)) { platform::set_menu_item_text(menu, i, text); }
        translate_menu(platform::submenu_at(menu, i), table, depth + 1);
    }
    return 1;
}

} // namespace
