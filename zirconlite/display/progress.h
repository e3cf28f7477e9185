/** @file
 *  The progress of long operations: a bar, and the record that a progress window would show. A host that
 *  offers `host_progress` gets reports instead of a window. */
#ifndef ZIRCONLITE_DISPLAY_PROGRESS_H
#define ZIRCONLITE_DISPLAY_PROGRESS_H

#include "zirconlite/types.h"

ZR_EXTERN_C_BEGIN

/** One bar. Written by the working thread, read by whoever draws it; a half-written text shows for one
 *  repaint at most. */
typedef struct progress_bar
{
    double fraction;        /**< 0 to 1 */
    char16_t text[64];      /**< such as "42%", ended by 0 */
    zr_handle bar_window;   /**< window that shows the bar; NULL none */
    int32_t client_rect[4]; /**< left, top, right, bottom of the bar's drawing area, pixels */
} progress_bar;

/** Values of `progress.state`. */
enum progress_state
{
    PROGRESS_WORKING = 0,
    PROGRESS_WINDOW_UP = 1,
    PROGRESS_FINISHED = 2,
    PROGRESS_CANCELLED = -1
};

/** A long operation as a window would show it. */
typedef struct progress
{
    int32_t state;       /**< a progress_state; polled by waiters, see zr_wait_for_state_variable */
    zr_handle window;    /**< the progress window; NULL none */
    char16_t title[256]; /**< title of the window */
    char16_t line1[256], line2[256], line3[256]; /**< lines of text above the bar */
    progress_bar bar;                            /**< the bar */
    zr_handle bar_window;                        /**< window that shows the bar; NULL none */
    zr_handle parent; /**< window over which the progress window opens; NULL none */
} progress;

ZR_EXTERN_C_END

#endif
