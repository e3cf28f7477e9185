/// @file
/// Look-up of the host's functions and the wrappers over them.
#include "zirconlite/frame/host_callbacks.hpp"

#include "zirconlite/frame/module_state.hpp"
#include "zirconlite/platform/modules.hpp"
#include "zirconlite/platform/threads.hpp"

namespace zr::host
{

namespace
{

constexpr const char* names[] = {
    "host_draw_line",
    "host_status_message",
    "host_format_io",
    "host_change_cursor",
    "host_get_current_doc",
    "host_set_legend",
    "host_set_scrollbars",
    "control_pickpoint",
    "control_pickpoint_ht",
    "control_pickpoint_ht_lw",
    "control_pickbeam",
    "control_get_viewdir_and_fov",
    "host_get_button_height",
    "host_display_raytrace",
    "host_get_model_path",
    "host_hwnd",
    "host_hwnd_parent",
    "host_adjust_decal",
    "host_is_background",
    "host_get_model_extension",
    "host_get_color_material_table",
    "host_progress",
    "host_findfile",
    "host_search_for_lib_files",
    "host_low_memory",
    "host_select_bitmap",
    "host_get_new_library_name",
};
static_assert(sizeof(names) / sizeof(names[0]) == slot_count);

/// A host that makes room may itself allocate; asking it again from there would never end.
thread_local bool inside_low_memory = false;

void fill_slot(slot s, zr_handle module);
bool stops_on_zero(int32_t code);
template <class Function> Function* enabled_in_slot(slot s);
template <class Function> Function* in_slot(slot s);

} // namespace

void look_up_all(zr_handle module)
{
    for (int s = 0; s < slot_count; ++s) { fill_slot(static_cast<slot>(s), module); }
    platform::store_word(&the_module.color_material_table, nullptr);
}

void look_up_progress(zr_handle module) { fill_slot(slot_progress, module); }

bool offers(slot s) { return platform::load_word(&the_module.host[s]) != nullptr; }

bool offers_enabled(slot s)
{
    return offers(s) && platform::load_word(&the_module.host_functions_enabled) != 0;
}

void draw_line(const vector3* from, const vector3* to, int32_t color_index)
{
    if (auto* f = in_slot<host_draw_line_function>(slot_draw_line)) { f(from, to, color_index); }
}

void status_message(const char16_t* text)
{
    if (auto* f = in_slot<host_status_message_function>(slot_status_message)) { f(text); }
}

void format_io(int32_t direction, double* value, void* text, int32_t kind)
{
    if (auto* f = in_slot<host_format_io_function>(slot_format_io)) { f(direction, value, text, kind); }
}

void change_cursor(zr_handle cursor)
{
    if (auto* f = in_slot<host_change_cursor_function>(slot_change_cursor)) { f(cursor); }
}

document* get_current_doc()
{
    auto* f = in_slot<host_get_current_doc_function>(slot_get_current_doc);
    return f ? f() : nullptr;
}

int32_t set_legend(render_view* view, int32_t flag)
{
    auto* f = in_slot<host_set_legend_function>(slot_set_legend);
    return f ? f(view, flag) : 0;
}

void set_scrollbars(const scroll_description* scroll)
{
    if (auto* f = in_slot<host_set_scrollbars_function>(slot_set_scrollbars)) { f(scroll); }
}

bool pickpoint(const char16_t* prompt, vector3* point_out)
{
    auto* f = in_slot<control_pickpoint_function>(slot_pickpoint);
    return f && f(prompt, point_out, 0) != 0;
}

bool pickpoint_ht(const char16_t* prompt, vector3* points_out, const vector3* reference, int32_t flag)
{
    auto* f = in_slot<control_pickpoint_ht_function>(slot_pickpoint_ht);
    return f && f(prompt, points_out, 1, reference, flag) != 0;
}

bool pickbeam(const char16_t* prompt, vector3* points, double* beam_out, double* field_out)
{
    auto* f = in_slot<control_pickbeam_function>(slot_pickbeam);
    return f && f(prompt, points, beam_out, field_out) != 0;
}

bool get_viewdir_and_fov(host_view_data* view_out)
{
    auto* f = in_slot<control_get_viewdir_and_fov_function>(slot_get_viewdir_and_fov);
    return f && f(view_out) != 0;
}

int32_t get_button_height()
{
    auto* f = in_slot<host_get_button_height_function>(slot_get_button_height);
    return f ? f() : 26;
}

int32_t display_raytrace(render_view* view)
{
    auto* f = in_slot<host_display_raytrace_function>(slot_display_raytrace);
    return f ? f(view) : 0;
}

const char16_t* get_model_path()
{
    auto* f = in_slot<host_get_model_path_function>(slot_get_model_path);
    return f ? f() : nullptr;
}

zr_handle hwnd()
{
    auto* f = in_slot<host_hwnd_function>(slot_hwnd);
    return f ? f(1) : nullptr;
}

zr_handle hwnd_parent()
{
    auto* f = in_slot<host_hwnd_parent_function>(slot_hwnd_parent);
    return f ? f() : nullptr;
}

bool adjust_decal(void* decal)
{
    auto* f = in_slot<host_adjust_decal_function>(slot_adjust_decal);
    if (f) { f(decal); }
    return f != nullptr;
}

bool is_background()
{
    auto* f = in_slot<host_is_background_function>(slot_is_background);
    return f && f() != 0;
}

void get_model_extension(char16_t* extension_out)
{
    extension_out[0] = 0;
    if (auto* f = in_slot<host_get_model_extension_function>(slot_get_model_extension)) { f(extension_out); }
}

void ask_color_material_table()
{
    auto* f = in_slot<host_get_color_material_table_function>(slot_get_color_material_table);
    if (!f || color_material_table()) { return; }
    platform::store_word(&the_module.color_material_table, f());
}

void* color_material_table() { return platform::load_word(&the_module.color_material_table); }

bool progress(int32_t kind, document* doc, render_view* view, int32_t code, float fraction)
{
    auto* f = enabled_in_slot<host_progress_function>(slot_progress);
    return !f || f(kind, doc, view, code, fraction, 0) != 0 || !stops_on_zero(code);
}

bool findfile(const char16_t* name, char16_t* path_out)
{
    auto* f = enabled_in_slot<host_findfile_function>(slot_findfile);
    return f && f(name, path_out) != 0;
}

int32_t search_for_lib_files(
    const char16_t* pattern, const char16_t* subdirectory, host_library_callback callback, void* context)
{
    auto* f = enabled_in_slot<host_search_for_lib_files_function>(slot_search_for_lib_files);
    return f ? f(pattern, subdirectory, callback, context) : 0;
}

bool may_ask_for_memory() { return offers_enabled(slot_low_memory) && !inside_low_memory; }

int32_t low_memory()
{
    auto* f = may_ask_for_memory() ? in_slot<host_low_memory_function>(slot_low_memory) : nullptr;
    if (!f) { return 0; }
    inside_low_memory = true;
    const int32_t answer = f();
    inside_low_memory = false;
    return answer;
}

int32_t select_bitmap(zr_handle window, void* selection)
{
    auto* f = enabled_in_slot<host_select_bitmap_function>(slot_select_bitmap);
    return f ? f(window, selection) : -1;
}

int32_t get_new_library_name(zr_handle window, int32_t kind, char16_t* name_out)
{
    auto* f = enabled_in_slot<host_get_new_library_name_function>(slot_get_new_library_name);
    return f ? f(window, kind, name_out) : -1;
}

namespace
{

void fill_slot(slot s, zr_handle module)
{
    platform::store_word(&the_module.host[s], platform::find_in_module(module, names[s]));
}

bool stops_on_zero(int32_t code)
{
    return code == PROGRESS_GRID_STARTS || code == PROGRESS_GRID_ADVANCES ||
           code == PROGRESS_FRUSTUM_STARTS || code == PROGRESS_FRUSTUM_ADVANCES || code == PROGRESS_STRIP ||
           code == PROGRESS_PASS_1_DONE;
}

template <class Function> Function* enabled_in_slot(slot s)
{
    return offers_enabled(s) ? in_slot<Function>(s) : nullptr;
}

template <class Function> Function* in_slot(slot s)
{
    return reinterpret_cast<Function*>(platform::load_word(&the_module.host[s]));
}

} // namespace

} // namespace zr::host
