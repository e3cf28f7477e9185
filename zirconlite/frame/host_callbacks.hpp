/// @file
/// All calls from the library to its host: one wrapper for each function of the host, with its guard.
/// A wrapper whose slot is empty, or whose guard is closed, gives the neutral answer given beside it.
#pragma once

#include "zirconlite/frame/host.h"

namespace zr::host
{

/// Slots in the order of look-up.
enum slot
{
    slot_draw_line,
    slot_status_message,
    slot_format_io,
    slot_change_cursor,
    slot_get_current_doc,
    slot_set_legend,
    slot_set_scrollbars,
    slot_pickpoint,
    slot_pickpoint_ht,
    slot_pickpoint_ht_lw, ///< looked up for hosts that offer it; never called
    slot_pickbeam,
    slot_get_viewdir_and_fov,
    slot_get_button_height,
    slot_display_raytrace,
    slot_get_model_path,
    slot_hwnd,
    slot_hwnd_parent,
    slot_adjust_decal,
    slot_is_background,
    slot_get_model_extension,
    slot_get_color_material_table,
    slot_progress,
    slot_findfile,
    slot_search_for_lib_files,
    slot_low_memory,
    slot_select_bitmap,
    slot_get_new_library_name,
    slot_count
};

void look_up_all(zr_handle module);      ///< fills every slot; unknown names leave theirs empty
void look_up_progress(zr_handle module); ///< replaces that slot alone
bool offers(slot s);                     ///< the slot is filled
bool offers_enabled(slot s);             ///< it is filled and host functions are enabled

void draw_line(const vector3* from, const vector3* to, int32_t color_index);
void status_message(const char16_t* text);
void format_io(int32_t direction, double* value, void* text, int32_t kind);
void change_cursor(zr_handle cursor);
document* get_current_doc();                         ///< null
int32_t set_legend(render_view* view, int32_t flag); ///< 0
void set_scrollbars(const scroll_description* scroll);
bool pickpoint(const char16_t* prompt, vector3* point_out); ///< false
bool pickpoint_ht(const char16_t* prompt, vector3* points_out, const vector3* reference, int32_t flag);
bool pickbeam(const char16_t* prompt, vector3* points, double* beam_out, double* field_out);
bool get_viewdir_and_fov(host_view_data* view_out); ///< false
int32_t get_button_height();                        ///< 26, which makes a library window 550 wide
int32_t display_raytrace(render_view* view);        ///< 0
const char16_t* get_model_path();                   ///< null
zr_handle hwnd();                                   ///< null
zr_handle hwnd_parent();                            ///< null
bool adjust_decal(void* decal);                     ///< false: nobody placed it
bool is_background();                               ///< false
void get_model_extension(char16_t* extension_out);  ///< an empty text
/// Asks the host for its colour table until it gives one, which is kept. On the host's thread: workers read
/// only what was kept.
void ask_color_material_table();
void* color_material_table(); ///< the table kept, or null; any thread
/// Whether the operation may go on: false only for the codes at which an answer of 0 stops it.
bool progress(int32_t kind, document* doc, render_view* view, int32_t code, float fraction);
bool findfile(const char16_t* name, char16_t* path_out); ///< false
int32_t search_for_lib_files(
    const char16_t* pattern, const char16_t* subdirectory, host_library_callback callback, void* context);
bool may_ask_for_memory();                                ///< low_memory() would reach the host
int32_t low_memory();                                     ///< 0, give up
int32_t select_bitmap(zr_handle window, void* selection); ///< -1, the library's own dialog
int32_t get_new_library_name(zr_handle window, int32_t kind, char16_t* name_out); ///< -1

} // namespace zr::host
