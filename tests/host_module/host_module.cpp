/// @file
/// A host that is a module of its own: offers every callback, records the calls, answers as the test asks.
#include "tests/host_module/host_module.h"

extern "C" __attribute__((visibility("default"))) host_record the_host;
host_record the_host;

#define HOST_FUNCTION extern "C" __attribute__((visibility("default")))

namespace
{

int32_t count(int call) { return __atomic_fetch_add(&the_host.calls[call], 1, __ATOMIC_RELAXED); }

/// Every progress code goes on unless a test says otherwise.
__attribute__((constructor)) void set_answers()
{
    for (int32_t& answer : the_host.progress_answers) { answer = 1; }
}

void copy(char16_t* out, size_t capacity, const char16_t* text)
{
    size_t n = 0;
    while (text[n] && n + 1 < capacity)
    {
        out[n] = text[n];
        ++n;
    }
    out[n] = 0;
}

} // namespace

HOST_FUNCTION int32_t host_draw_line(const vector3*, const vector3*, int32_t)
{
    return count(CALL_DRAW_LINE);
}

HOST_FUNCTION int32_t host_status_message(const char16_t* text)
{
    const int32_t number = count(CALL_STATUS_MESSAGE);
    copy(the_host.messages[number % 16], 128, text);
    if (the_host.on_status_message) { the_host.on_status_message(text); }
    return 1;
}

HOST_FUNCTION int32_t host_format_io(int32_t, double*, void*, int32_t) { return count(CALL_FORMAT_IO); }
HOST_FUNCTION int32_t host_change_cursor(zr_handle) { return count(CALL_CHANGE_CURSOR); }

HOST_FUNCTION document* host_get_current_doc(void)
{
    count(CALL_GET_CURRENT_DOC);
    return the_host.current_doc;
}

HOST_FUNCTION int32_t host_set_legend(render_view* view, int32_t flag)
{
    count(CALL_SET_LEGEND);
    the_host.last_legend_view = view;
    the_host.last_legend_flag = flag;
    return the_host.legend_answer;
}

HOST_FUNCTION int32_t host_set_scrollbars(const scroll_description*) { return count(CALL_SET_SCROLLBARS); }

HOST_FUNCTION int32_t control_pickpoint(const char16_t*, vector3*, int32_t)
{
    count(CALL_PICKPOINT);
    return 0;
}

HOST_FUNCTION int32_t control_pickpoint_ht(const char16_t*, vector3*, int32_t, const vector3*, int32_t)
{
    count(CALL_PICKPOINT_HT);
    return 0;
}

HOST_FUNCTION int32_t control_pickpoint_ht_lw(void) { return count(CALL_PICKPOINT_HT_LW); }

HOST_FUNCTION int32_t control_pickbeam(const char16_t*, vector3*, double*, double*)
{
    count(CALL_PICKBEAM);
    return 0;
}

HOST_FUNCTION int32_t control_get_viewdir_and_fov(host_view_data*)
{
    count(CALL_GET_VIEWDIR_AND_FOV);
    return 0;
}

HOST_FUNCTION int32_t host_get_button_height(void)
{
    count(CALL_GET_BUTTON_HEIGHT);
    return 26;
}

HOST_FUNCTION int32_t host_display_raytrace(render_view* view)
{
    count(CALL_DISPLAY_RAYTRACE);
    the_host.last_shown_view = view;
    return 1;
}

HOST_FUNCTION const char16_t* host_get_model_path(void)
{
    count(CALL_GET_MODEL_PATH);
    return the_host.model_path[0] ? the_host.model_path : nullptr;
}

HOST_FUNCTION zr_handle host_hwnd(int32_t)
{
    count(CALL_HWND);
    return nullptr;
}

HOST_FUNCTION zr_handle host_hwnd_parent(void)
{
    count(CALL_HWND_PARENT);
    return nullptr;
}

HOST_FUNCTION int32_t host_adjust_decal(void*) { return count(CALL_ADJUST_DECAL); }

HOST_FUNCTION int32_t host_is_background(void)
{
    count(CALL_IS_BACKGROUND);
    return 0;
}

HOST_FUNCTION int32_t host_get_model_extension(char16_t* extension_out)
{
    extension_out[0] = 0;
    return count(CALL_GET_MODEL_EXTENSION);
}

HOST_FUNCTION void* host_get_color_material_table(void)
{
    count(CALL_GET_COLOR_MATERIAL_TABLE);
    return nullptr;
}

HOST_FUNCTION int32_t host_progress(
    int32_t kind, document* doc, render_view* view, int32_t code, float fraction, int32_t zero)
{
    count(CALL_PROGRESS);
    the_host.last_progress = { kind, code, zero, fraction, doc, view };
    if (the_host.on_progress) { the_host.on_progress(&the_host.last_progress); }
    const int32_t slot = code + 2;
    if (slot < 0 || slot >= HOST_PROGRESS_CODES) { return 1; }
    __atomic_fetch_add(&the_host.progress_calls[slot], 1, __ATOMIC_RELAXED);
    if (code == 1 && the_host.progress_zero_after > 0 && --the_host.progress_zero_after == 0) { return 0; }
    return the_host.progress_answers[slot];
}

HOST_FUNCTION int32_t host_findfile(const char16_t*, char16_t* path_out)
{
    count(CALL_FINDFILE);
    if (the_host.findfile_answer) { copy(path_out, ZR_PATH_CAPACITY, the_host.findfile_path); }
    return the_host.findfile_answer;
}

HOST_FUNCTION int32_t host_search_for_lib_files(
    const char16_t*, const char16_t*, host_library_callback, void*)
{
    count(CALL_SEARCH_FOR_LIB_FILES);
    return 0;
}

HOST_FUNCTION int32_t host_low_memory(void)
{
    count(CALL_LOW_MEMORY);
    if (the_host.on_low_memory) { the_host.on_low_memory(); }
    return the_host.low_memory_answer;
}

HOST_FUNCTION int32_t host_select_bitmap(zr_handle, void*)
{
    count(CALL_SELECT_BITMAP);
    return 0;
}

HOST_FUNCTION int32_t host_get_new_library_name(zr_handle, int32_t, char16_t*)
{
    count(CALL_GET_NEW_LIBRARY_NAME);
    return 0;
}
