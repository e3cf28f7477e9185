/** @file
 *  The render job: one controlling thread, a pool of workers, and passes over the picture, each finer than
 *  the last. docs/render-job.md draws its states. */
#ifndef ZIRCONLITE_JOBS_RENDER_JOB_H
#define ZIRCONLITE_JOBS_RENDER_JOB_H

#include "zirconlite/display/progress.h"
#include "zirconlite/types.h"

ZR_EXTERN_C_BEGIN

typedef struct document document;
typedef struct image_buffer image_buffer;
typedef struct render_view render_view;

/** Bits of `render_job.flags`. */
enum
{
    JOB_PREVIEW = 0x1,       /**< adds to the preview of a display; refused without one */
    JOB_REGION = 0x2,        /**< render only `region` */
    JOB_HOST_FUNCTIONS = 0x8 /**< raise `host_functions_enabled` for the length of the job */
};

/** Command posted to `document.notify_window` when a job ends. */
#define ZR_COMMAND_JOB_ENDED 10001

/** Made and owned by the host; it stays alive until the job has ended. */
typedef struct render_job
{
    uint32_t flags;            /**< JOB_* bits */
    progress_bar progress;     /**< moved by the job */
    struct document* document; /**< the scene to render */
    struct render_view* view;  /**< the camera, which receives the picture */
    double region[4]; /**< left, top, right, bottom as fractions of the image, rows counted from below, so top
                           is the lower edge; in pixels the job lowers left and top to multiples of 16, right
                           and bottom to multiples of 4 */
    int32_t status;   /**< 1 once zr_raytrace has started the job */
} render_job;

/** Prepares the environment, the ground and the ambient term for shading without a job. Returns 1; 0 when
 * memory fails. */
ZR_API int32_t zr_init_raytrace(document* doc, render_view* view);

/** Starts a render and returns at once. 1; -2 when the image buffer cannot be made; 0 (see zr_last_error)
 *  when a setting is out of range, the view is not projected, a job still runs, be it another document's, or
 *  no thread can be started. A call from the answer to command 10001 waits for the old job's end first. */
ZR_API int32_t zr_raytrace(render_job* job);

/** Asks a running job to stop and waits for it; the image keeps what was reached. Returns 1; 0 for no
 *  document, and on the job's own thread, where the job stops after the callback that called this. */
ZR_API int32_t zr_pause_raytracing(document* doc, zr_handle parent_window);

ZR_API int32_t zr_pause_preview_rt(document* doc); /**< kept for hosts that call it; returns 1 */
ZR_API int32_t zr_is_preview_image_valid(void);    /**< 1 once a preview job has finished */

/** Waits until no job of the document runs: 1, or 0 when `milliseconds` passed first (negative: no limit).
 *  Right in every case, with or without the completion command. */
ZR_API int32_t zr_wait_for_render(document* doc, int32_t milliseconds);

/** Stores a thread limit of 1 to 8 (more is clamped to 8, -1 gives 8; other counts change nothing). Returns
 * the stored value. */
ZR_API int32_t zr_set_max_raytrace_threads(int32_t count);

/** With 1, jobs run no preprocess pass and keep the tone operator of the view. Returns `flag`. */
ZR_API int32_t zr_rt_skip_preprocess(int32_t flag);
/** With 1, the next job ends after the preprocess pass. Returns 1. */
ZR_API int32_t zr_set_calibration_frame(int32_t flag);

ZR_API int32_t is_preprocessing(void); /**< nonzero while a grid or frustum build runs */

/** Hit distances of the corner samples of pass 3 go to `buffer`, `size` (width, height) f32 values, row by
 *  row from below, while enabled. The caller keeps the buffer. Returns 1. */
ZR_API int32_t zr_init_ray_z_buffer(int32_t enable, float* buffer, const int32_t size[2]);

/** Shows the picture through the host or the display; `wait_flag` 1 lets it be skipped when busy. */
ZR_API void display_raytrace_image(render_view* view, int32_t wait_flag);

/** Takes the place of the library's display by `host_display_raytrace` when 1. Returns 1. */
ZR_API int32_t zr_external_display(int32_t flag);

/** Luminance that the ambient stand-in gives a perfectly white surface, per channel, from the last job or
 *  zr_init_raytrace. */
ZR_API void zr_get_ambient_color(float rgb_out[3]);

ZR_EXTERN_C_END

#endif
