/** @file
 *  Windows for hosts that have no window system, or that want to hear of finished jobs without one: a window
 *  handle names a callback, a queue of commands, or a window that exists in memory only. And the dialogs
 *  that a host may install. */
#ifndef ZIRCONLITE_FRAME_WINDOW_H
#define ZIRCONLITE_FRAME_WINDOW_H

#include "zirconlite/types.h"

ZR_EXTERN_C_BEGIN

/** A window that hands each command, such as ZR_COMMAND_JOB_ENDED, to `on_command`, on the thread that
 *  posts it. That may be a job's own thread, which the callback must not wait for. NULL when memory is
 *  exhausted. */
ZR_API zr_handle zr_window_from_callback(void (*on_command)(void* context, uint32_t command), void* context);

/** A window that keeps commands until zr_next_command takes them. NULL when memory is exhausted. */
ZR_API zr_handle zr_new_queue_window(void);

/** A window in memory with a drawing area in pixels and a text. Commands wait as in a queue window. NULL
 *  when memory is exhausted. */
ZR_API zr_handle zr_new_memory_window(int32_t width, int32_t height, const char16_t* text);

/** Frees a window with its children and its menu; NULL does nothing. No job may post to it any more. */
ZR_API void zr_free_window(zr_handle window);

/** Puts a command to a window. Any thread. 0 for NULL, when 65536 commands wait, or when memory is
 *  exhausted. */
ZR_API int32_t zr_post_command(zr_handle window, uint32_t command);

/** Takes the oldest command. 0 when none came within `milliseconds`; a negative time waits for ever. */
ZR_API int32_t zr_next_command(zr_handle window, int64_t milliseconds, uint32_t* command_out);

ZR_API void zr_set_window_size(zr_handle window, int32_t width, int32_t height); /**< pixels */
ZR_API int32_t zr_set_window_text(zr_handle window, const char16_t* text);       /**< 0 on failure */
/** The text; empty for NULL. Valid until the next change. */
ZR_API const char16_t* zr_get_window_text(zr_handle window);
/** Puts `child` behind the other children of `parent`, which owns it from then on. 0 on failure. */
ZR_API int32_t zr_add_child_window(zr_handle parent, zr_handle child);

/** An empty menu; NULL when memory is exhausted. */
ZR_API zr_handle zr_new_menu(void);
/** Puts an item behind the others. `submenu` may be NULL; the menu owns it from then on. 0 on failure. */
ZR_API int32_t zr_add_menu_item(
    zr_handle menu, int32_t id, uint32_t state, const char16_t* text, zr_handle submenu);
/** Text of the item at a position, from 0; NULL behind the last. Valid until the next change. */
ZR_API const char16_t* zr_get_menu_item_text(zr_handle menu, int32_t position);
/** Gives a window its menu, which it owns from then on. 0 for a null window. */
ZR_API int32_t zr_set_window_menu(zr_handle window, zr_handle menu);
ZR_API void zr_free_menu(zr_handle menu); /**< of no window; NULL does nothing */

typedef struct zr_exposure_dialog zr_exposure_dialog;

/** Kinds of message box. */
enum message_box_kind
{
    MESSAGE_BOX_INFORMATION = 0, /**< to be read */
    MESSAGE_BOX_QUESTION = 1     /**< to be answered */
};

/** Answers to a question. */
enum message_box_answer
{
    MESSAGE_BOX_CANCEL = 0,
    MESSAGE_BOX_YES = 1,
    MESSAGE_BOX_NO = 2
};

/** A question for a file to write, or to read. All texts but `path` are only lent for the call. */
typedef struct zr_save_dialog
{
    const char16_t* title;                  /**< title of the dialog */
    const char16_t* folder;                 /**< where to start; empty for the dialog's own choice */
    int32_t filter_count;                   /**< number of filters */
    const char16_t* const* filter_names;    /**< such as "BMP (*.bmp)" */
    const char16_t* const* filter_patterns; /**< such as "*.bmp" */
    const char16_t* default_extension;      /**< without a dot */
    int32_t filter;     /**< in: the one to start with; out: the one in force; counted from 1 */
    char16_t path[256]; /**< in: the name to start with; out: the full path */
} zr_save_dialog;

/** The controls of the exposure dialog and what its buttons do. While `locked` is not 0 the other controls
 * are disabled: their values are not taken. */
struct zr_exposure_dialog
{
    int32_t locked;                            /**< check box */
    int32_t tone_method;                       /**< a tone_method */
    float brightness;                          /**< -5 to 5, in steps of 0.125 */
    float contrast;                            /**< 0.001 to 0.999, in steps of 0.05 */
    float source_gain;                         /**< 0 to 4, in steps of 0.125 */
    double ambient_gain;                       /**< 0 to 2, in steps of 0.1 */
    int32_t has_ambient_gain;                  /**< 0: there is no such control */
    void (*apply)(zr_exposure_dialog* dialog); /**< takes the values and shows the picture under them */
    void (*reset)(zr_exposure_dialog* dialog); /**< puts the defaults into the controls, but for the lock */
    int32_t (*load)(
        zr_exposure_dialog* dialog, zr_handle parent); /**< from a file that is asked for; 1 when done */
    int32_t (*save)(
        zr_exposure_dialog* dialog, zr_handle parent); /**< likewise; the values are taken first */
    void* library;                                     /**< the library's own */
};

/** The host's dialogs. An entry that is NULL, or no table at all: a question counts as cancelled, and an
 *  information goes to `host_status_message`. */
typedef struct zr_dialogs
{
    void* context; /**< handed to each function */
    /** Shows `text` over `parent` (may be NULL) until it is answered; a message_box_answer. */
    int32_t (*message_box)(void* context, zr_handle parent, const char16_t* text, int32_t kind);
    /** Asks for a file to write, and before an existing one is overwritten. 1; 0 when cancelled. */
    int32_t (*save_file)(void* context, zr_handle parent, zr_save_dialog* dialog);
    /** Asks for an existing file to read, by the same record. 1; 0 when cancelled. */
    int32_t (*open_file)(void* context, zr_handle parent, zr_save_dialog* dialog);
    /** Shows the exposure dialog until it is closed: 1; 0 when cancelled, which brings the old exposure back.
     */
    int32_t (*adjust_exposure)(void* context, zr_handle parent, zr_exposure_dialog* dialog);
} zr_dialogs;

/** Installs a copy of `dialogs`; NULL takes them away. While no job runs. Returns 1. */
ZR_API int32_t zr_install_dialogs(const zr_dialogs* dialogs);

/** Serves the messages that wait for the host's windows, and returns. */
typedef void (*zr_message_pump)(void* context);

/** Installs what is called, again and again on the thread that waits, while zr_build_voxel_grid waits for its
 *  builder thread. It must not start another build or a render, or close the document. NULL takes it away:
 * the thread only waits then. While nothing is built. Returns 1. */
ZR_API int32_t zr_install_message_pump(zr_message_pump pump, void* context);

ZR_EXTERN_C_END

#endif
