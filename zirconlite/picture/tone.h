/** @file
 *  From radiance to display values at read time: a power curve that follows from the scene's log-average
 *  luminance, and a capped histogram of log luminance; their inverses, the measurement, and the gamma. */
#ifndef ZIRCONLITE_PICTURE_TONE_H
#define ZIRCONLITE_PICTURE_TONE_H

#include "zirconlite/picture/image_buffer.h"
#include "zirconlite/types.h"

ZR_EXTERN_C_BEGIN

typedef struct document document;
typedef struct render_view render_view;

/** Bins of a histogram. */
#define HISTOGRAM_BINS 100

/** One bin of a histogram of log luminance. */
typedef struct histogram_bin
{
    uint32_t bin_count; /**< samples in the bin */
    float edge;         /**< log10 luminance of the lower edge */
    float curve;        /**< display value at `edge` after brightness and contrast */
    float cumulative;   /**< share of the samples below `edge` */
    float plain_curve;  /**< display value at `edge` before brightness and contrast */
} histogram_bin;

/** A capped histogram of log luminance and the display curve made from it. Written by the host's thread or
 * the job's controlling thread; read by any. Larson, Rushmeier, Piatko, "A Visibility Matching Tone
 * Reproduction Operator for High Dynamic Range Scenes", 1997. */
typedef struct histogram
{
    int32_t capacity;           /**< samples that fit */
    int32_t count;              /**< samples so far; after finish_histogram the total of the capped bins */
    float* samples;             /**< log10 of each sample; owned */
    float log_min, log_max;     /**< range of the samples, log10 of cd/m^2 */
    float lum_min, lum_max;     /**< the same range, cd/m^2 */
    float bin_width;            /**< in log10 */
    float inverse_bin_width;    /**< 1 / `bin_width` */
    float world_lum, log_world; /**< adaptation luminance, cd/m^2, and its log10 */
    float curve_exponent;       /**< 1.0, or raised in dim scenes */
    float curve_top;            /**< display value above `log_max` */
    histogram_bin bins[HISTOGRAM_BINS]; /**< in rising order of luminance */
} histogram;

/** Scale and exponent of the power curve for a log-average luminance in cd/m^2. 0 for a luminance of 0, with
 *  1 and 1; else 1. */
ZR_API int32_t get_tone_operator(
    double luminance, double* scale, double* exponent, double exponent_factor, double scale_factor);

/** Radiance to display value, in place. NaN and negative channels count as 0, infinity as the largest kept
 *  radiance. `plain` leaves the contrast step out. With the histogram operator the exponent and scale
 *  serve only while there is no finished histogram. 0 for black, else 1. Read-only on the view; any
 *  thread. */
ZR_API int32_t tone(const render_view* view, double exponent, double scale, float rgb[3], int32_t plain);
/** A picked colour to radiance, in place. The colour is linear, each channel clamped to 0 to 1; `tone` with
 *  `plain` and the same pair gives each channel to the power 1 / 2.2, that is the colour as a display
 *  shows it, within 2/255. With the histogram operator and no finished histogram gives black and returns
 *  0; else 1. Read-only on the view; any thread. */
ZR_API int32_t inverse_tone(const render_view* view, double exponent, double scale, float rgb[3]);
/** The display value of one unpacked pixel. Returns 1. */
ZR_API int32_t zr_get_rgb_from_pixel_components(
    const render_view* view, const pixel_components* components, float rgb[3]);

/** The bias curve: x at a = 0.5, and 0.5 for every a at x = 0.5. */
ZR_API double zr_gain(double x, double a);

/** Measures a picture by one pixel in 16 by 16. A picture without light gets luminances of 0 and tone
 *  values of 1.0; with the histogram operator so does one whose histogram finds no memory. A locked
 *  exposure that is in force is left alone. Returns 1; 0 for a view or picture of NULL. */
ZR_API int32_t zr_get_raytrace_tone_op(render_view* view, image_buffer* image);
/** The work of the above; `clear` zeroes each sampled slot and the slot to its right. */
ZR_API int32_t measure_image(
    document* doc, render_view* view, image_buffer* image, int32_t width, int32_t height, int32_t clear);
/** Measures by shooting probe rays over the window; returns the luminance, which `brightness` has lowered; of
 * a locked exposure that in force. No render may run. */
ZR_API double zr_get_world_log_avg_luminance(document* doc, render_view* view);
/** The same over the picture, with the job's ray limits; stores the results in the view. Returns 1. */
ZR_API int32_t zr_set_rt_world_log_avg_luminance(document* doc, render_view* view);
/** @{ */
/** Work out the four tone values from the two luminances. Return 1. */
ZR_API int32_t zr_set_raytrace_tone_operator(render_view* view);
ZR_API int32_t zr_get_raytrace_tone_op_from_world_lum(render_view* view);
/** @} */

/** A fresh histogram with room for the samples of a picture of that size. 1; -1 while the exposure is locked;
 *  0 when memory fails. */
ZR_API int32_t make_histogram(render_view* view, const int32_t size[2]);
/** 1; 0 with no histogram or when it is full; -1 while the exposure is locked. */
ZR_API int32_t histogram_add_sample(render_view* view, float value);
/** Builds the curve. 1; 0 with nothing to build; -1 while locked. */
ZR_API int32_t finish_histogram(render_view* view, double luminance);
/** Rebuilds the curve after a change of brightness or contrast. 0 with no histogram, else 1. */
ZR_API int32_t zr_modify_histogram(render_view* view);
ZR_API int32_t zr_free_histogram(histogram* h); /**< returns 1; NULL is fine */

/** The work of the exposure dialog's Apply: takes brightness, contrast, method and gain of the view into
 *  force on a picture that is rendered. Returns 1; 0 before the preprocess pass of a render. */
ZR_API int32_t apply_exposure(document* doc, render_view* view);

/** Has the user change the exposure of `view` by the host's dialog (zr_dialogs). Cancelled, or with no
 * dialog, the exposure is as it was. With `from_preview` not 0 the values also go to `preview_view`, whose
 * luminance is measured anew; it may be NULL otherwise. On the host's thread. Returns 1; 0 when cancelled and
 * while a render of the document runs. */
ZR_API int32_t zr_adjust_exposure(
    zr_handle parent, document* doc, int32_t from_preview, render_view* view, render_view* preview_view);

/** @{ */
/** The gamma of the simple mode, set and returned, for the whole process; below 1 counts as 1. Set while no
 * job runs. */
ZR_API void zr_change_simple_rt_gamma(double gamma);
ZR_API double zr_simple_rt_gamma(void);
/** @} */

/** Film: a fixed exposure (`is_fixed` 1) of `ev`, -32 to 32 at ISO 100, or one that follows the log-average
 * of the picture (0). With a fixed one `brightness` still counts. Returns 1; 0 for NULL or an `ev` out of
 * range. */
ZR_API int32_t zr_set_film_exposure(render_view* view, int32_t is_fixed, double ev);

/** Exposure value at ISO 100 of a camera: log2(N^2 / t x 100 / S). All arguments above 0, else 0. ISO
 * 2720:1974. */
ZR_API double zr_exposure_value(double f_stop, double shutter_seconds, double film_speed);

/** Film: the light that is shown as white, such as CT_to_RGB gives for a temperature; NULL leaves colours as
 * they are. With `is_automatic` 1 the mean colour of the picture as measured is taken half away, and `white`
 * is not read. Returns 1; 0 for a NULL view or a channel that is not above 0. */
ZR_API int32_t zr_set_film_white(render_view* view, int32_t is_automatic, const float white[3]);

ZR_EXTERN_C_END

#endif
