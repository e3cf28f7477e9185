/** @file
 *  What a host offers to the library: functions that its module exports under fixed names. The library looks
 *  all of them up once, at the start; one that is missing leaves its slot empty and is not called.
 *
 *  Each type below is the type of the function of the same name without "_function", so that a host can
 *  declare it: `host_progress_function host_progress;`. Texts are wide and belong to the library. "Enabled"
 *  marks those that are called only while zr_enable_hostfuncs is on.
 *
 *  Threads: unless said otherwise they are called on the thread that called into the library. The controlling
 *  thread of a job or build calls host_progress, host_status_message, host_display_raytrace and, to post its
 * end, a callback window. The workers of a render call host_low_memory alone, and only where they allocate.
 */
#ifndef ZIRCONLITE_FRAME_HOST_H
#define ZIRCONLITE_FRAME_HOST_H

#include "zirconlite/types.h"

ZR_EXTERN_C_BEGIN

typedef struct document document;
typedef struct render_view render_view;

/** Capacity, in code units with the end mark, of every path buffer that the library hands out. */
#define ZR_PATH_CAPACITY 1024

/** A picture that is larger than its window. */
typedef struct scroll_description
{
    int32_t image_width, image_height; /**< pixels */
    int32_t offset_x, offset_y;        /**< first visible pixel */
} scroll_description;

/** The host's current view. */
typedef struct host_view_data
{
    vector3 direction; /**< unit vector from the eye into the scene */
    double fov;        /**< horizontal field of view, radians */
} host_view_data;

/** Values of the `kind` of host_progress. */
enum progress_kind
{
    PROGRESS_PREPROCESS = 0,
    PROGRESS_RAYTRACE = 1,
    PROGRESS_RADIOSITY = 2
};

/** Codes of host_progress. For the STARTS and ADVANCES of grid and frustum, STRIP and PASS_1_DONE an answer
 * of 0 stops the operation; other answers and codes change nothing. */
enum progress_code
{
    PROGRESS_GRID_STARTS = 100,
    PROGRESS_GRID_ADVANCES = 101,
    PROGRESS_GRID_ENDS = 102,
    PROGRESS_FRUSTUM_STARTS = 200,
    PROGRESS_FRUSTUM_ADVANCES = 201,
    PROGRESS_FRUSTUM_ENDS = 202,
    PROGRESS_PASS_1_DONE = 3, /**< the preprocess pass finished */
    PROGRESS_STRIP = 1,       /**< a strip of a pass is about to start */
    PROGRESS_RENDERED = 2,    /**< the rendering finished normally */
    PROGRESS_STOPPED = -1     /**< the rendering was stopped */
};

typedef struct zr_find_data zr_find_data;

/** Called for each library file found; the result is merged into the search's. */
typedef int32_t (*host_library_callback)(const char16_t* directory, const zr_find_data* found, void* context);

/* In the order in which the library looks them up. */
/** Draws a line in the host's window. */
typedef int32_t host_draw_line_function(const vector3* from, const vector3* to, int32_t color_index);
/** One line of status text, perhaps with a leading "^". */
typedef int32_t host_status_message_function(const char16_t* text);
/** Converts a model-unit value to text (direction 0) or back (1); `text` is a buffer or an edit handle,
 *  `kind` is -1 for direction 1. */
typedef int32_t host_format_io_function(int32_t direction, double* value, void* text, int32_t kind);
/** Shows a cursor; NULL the host's own. */
typedef int32_t host_change_cursor_function(zr_handle cursor);
/** The document that is open in the host, or NULL. */
typedef document* host_get_current_doc_function(void);
/** `flag` 0 from zr_new_render_view, 1 from the display's keys. */
typedef int32_t host_set_legend_function(render_view* view, int32_t flag);
/** Sets the scroll bars of the host's window. */
typedef int32_t host_set_scrollbars_function(const scroll_description* scroll);
/** Nonzero when the user picked a point. `zero` is 0. */
typedef int32_t control_pickpoint_function(const char16_t* prompt, vector3* point_out, int32_t zero);
/** A light's position and target: `points_out` holds two. `one` is 1. */
typedef int32_t control_pickpoint_ht_function(
    const char16_t* prompt, vector3* points_out, int32_t one, const vector3* reference, int32_t flag);
/** A spot light's beam: position and target in `points`, beam and field in radians out. */
typedef int32_t control_pickbeam_function(
    const char16_t* prompt, vector3* points, double* beam_out, double* field_out);
/** Nonzero on success. */
typedef int32_t control_get_viewdir_and_fov_function(host_view_data* view_out);
/** Height of a button in the host's dialogs, pixels. */
typedef int32_t host_get_button_height_function(void);
/** Shows the picture in place of the library's own display. */
typedef int32_t host_display_raytrace_function(render_view* view);
/** The folder of the open model, which is searched for files with those below it; NULL or empty for none.
 *  The text stays valid until the next call. */
typedef const char16_t* host_get_model_path_function(void);
/** The host's window; `one` is 1. */
typedef zr_handle host_hwnd_function(int32_t one);
/** The window over which dialogs open. */
typedef zr_handle host_hwnd_parent_function(void);
/** Has the user place a decal. The answer is not read. */
typedef int32_t host_adjust_decal_function(void* decal);
/** Nonzero while the host runs in the background. */
typedef int32_t host_is_background_function(void);
/** Writes the extension of model files, at most 16 code units. */
typedef int32_t host_get_model_extension_function(char16_t* extension_out);
/** An array of `material_entry` by colour index, 256 of them, or NULL for none. Asked on the host's own
 * thread: when a mesh with a colour index is made, and when a render starts, until an array is given. The
 * library keeps that one, and reads it on any thread. */
typedef void* host_get_color_material_table_function(void);
/** Enabled. `fraction` is 0 to 1, `view` may be NULL, `zero` is 0. On the job's controlling thread. */
typedef int32_t host_progress_function(
    int32_t kind, document* doc, render_view* view, int32_t code, float fraction, int32_t zero);
/** Enabled. Nonzero when found, with the full name in `path_out`, of ZR_PATH_CAPACITY. Any thread. */
typedef int32_t host_findfile_function(const char16_t* name, char16_t* path_out);
/** Enabled. -1 ends the search with success, -2 skips the support folder, else a mask that is merged. */
typedef int32_t host_search_for_lib_files_function(
    const char16_t* pattern, const char16_t* subdirectory, host_library_callback callback, void* context);
/** Enabled. Memory is low or exhausted: 1 after making room, below 1 to give up. Any thread that allocates.
 *  Requests that it makes itself do not ask it again. */
typedef int32_t host_low_memory_function(void);
/** Enabled. Above 0 chosen, 0 cancelled, -1 to have the library's own dialog. */
typedef int32_t host_select_bitmap_function(zr_handle window, void* selection);
/** Enabled. `kind` 1 material or plant, 2 light. 0 cancelled, -1 for the library's own dialog. */
typedef int32_t host_get_new_library_name_function(zr_handle window, int32_t kind, char16_t* name_out);

ZR_EXTERN_C_END

#endif
