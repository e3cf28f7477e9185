/** @file
 *  What the test host records, and how it answers. The module exports one `host_record`; a test finds it by
 *  its name. */
#ifndef TESTS_HOST_MODULE_H
#define TESTS_HOST_MODULE_H

#include "zirconlite/frame/host.h"

ZR_EXTERN_C_BEGIN

/** Numbers of the callbacks, in the library's order of look-up. */
enum
{
    CALL_DRAW_LINE,
    CALL_STATUS_MESSAGE,
    CALL_FORMAT_IO,
    CALL_CHANGE_CURSOR,
    CALL_GET_CURRENT_DOC,
    CALL_SET_LEGEND,
    CALL_SET_SCROLLBARS,
    CALL_PICKPOINT,
    CALL_PICKPOINT_HT,
    CALL_PICKPOINT_HT_LW,
    CALL_PICKBEAM,
    CALL_GET_VIEWDIR_AND_FOV,
    CALL_GET_BUTTON_HEIGHT,
    CALL_DISPLAY_RAYTRACE,
    CALL_GET_MODEL_PATH,
    CALL_HWND,
    CALL_HWND_PARENT,
    CALL_ADJUST_DECAL,
    CALL_IS_BACKGROUND,
    CALL_GET_MODEL_EXTENSION,
    CALL_GET_COLOR_MATERIAL_TABLE,
    CALL_PROGRESS,
    CALL_FINDFILE,
    CALL_SEARCH_FOR_LIB_FILES,
    CALL_LOW_MEMORY,
    CALL_SELECT_BITMAP,
    CALL_GET_NEW_LIBRARY_NAME,
    CALL_COUNT
};

/** Codes of host_progress that are counted one by one: -2 to 255, each in the place of itself plus 2. */
#define HOST_PROGRESS_CODES 258

/** Last arguments of host_progress. */
typedef struct progress_call
{
    int32_t kind, code, zero;
    float fraction;
    document* document;
    render_view* view;
} progress_call;

/** Counters are atomic; the rest is read when no job runs. */
typedef struct host_record
{
    int32_t calls[CALL_COUNT];
    int32_t progress_calls[HOST_PROGRESS_CODES];
    progress_call last_progress;
    char16_t messages[16][128]; /**< texts of host_status_message, the latest 16, by call number modulo 16 */
    render_view* last_legend_view;
    int32_t last_legend_flag;
    render_view* last_shown_view;

    /* Answers. All zero but `progress_answers`, which the module sets to 1. */
    int32_t progress_answers[HOST_PROGRESS_CODES];
    int32_t progress_zero_after; /**< counts down with each call of code 1; at 1 the answer is 0; 0 never */
    int32_t low_memory_answer;
    int32_t legend_answer;
    int32_t findfile_answer;
    document* current_doc;
    char16_t findfile_path[ZR_PATH_CAPACITY];
    char16_t model_path[ZR_PATH_CAPACITY];
    void (*on_progress)(const progress_call* call);  /**< called on the job's thread; NULL none */
    void (*on_low_memory)(void);                     /**< NULL none */
    void (*on_status_message)(const char16_t* text); /**< called on the thread that reports; NULL none */
} host_record;

ZR_EXTERN_C_END

#endif
