/** @file
 *  From pixels to rays: the six projections, the lens, the clip planes, and the mappings between directions
 *  and the pixels of light-probe and latitude-longitude pictures. */
#ifndef ZIRCONLITE_PICTURE_PROJECTION_H
#define ZIRCONLITE_PICTURE_PROJECTION_H

#include "zirconlite/types.h"

ZR_EXTERN_C_BEGIN

typedef struct document document;
typedef struct ray ray;
typedef struct render_view render_view;

/** Sets the view's image and pixel size and the process-wide projection state. Called after every change of
 *  eye, lens or size, before the next ray; one view is projected at a time. A parallel view's image size is
 *  the host's. Returns 1; 0 (see zr_last_error) when the lens length or the picture's size is not above 0, or
 *  eye and target coincide. */
ZR_API int32_t zr_init_projection(render_view* view);

/** The ray through `position` (pixels, x from the left, y from the bottom, may be fractional). Reads the
 *  ray's `stratum`. 1; 0 outside a light probe's circle. Any thread. */
ZR_API int32_t make_ray(const document* doc, render_view* view, const double position[2], ray* r);
/** Narrows `t_min` and `t_max` by the view's clip planes. */
ZR_API void clip_ray(const render_view* view, ray* r);

/** Direction of a light-probe pixel; `azimuth` and `altitude` may be NULL. 1; 0 outside the circle. */
ZR_API int32_t zr_hdri_pixels_to_vector(
    float x, float width, float y, float height, vector3* direction, float* azimuth, float* altitude);
/** The inverse. Returns 1. */
ZR_API int32_t zr_hdri_vector_to_pixels(
    const vector3* direction, float width, float height, float* x, float* y);
/** Pixel of a latitude-longitude picture. Returns 1. */
ZR_API int32_t zr_equirectangular_vector_to_pixels(
    const vector3* direction, float width, float height, float* x, float* y);

ZR_EXTERN_C_END

#endif
