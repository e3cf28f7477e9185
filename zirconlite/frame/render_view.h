/** @file
 *  `render_view`: a camera plus all that belongs to one picture of it, and the camera moves.
 *
 *  Threads: the host's thread owns the record and changes it only while no job renders it. A job writes the
 *  counters, the tone values and the picture from threads of its own; any thread may read them meanwhile. */
#ifndef ZIRCONLITE_FRAME_RENDER_VIEW_H
#define ZIRCONLITE_FRAME_RENDER_VIEW_H

#include "zirconlite/types.h"

ZR_EXTERN_C_BEGIN

typedef struct document document;
typedef struct image_buffer image_buffer;
typedef struct histogram histogram;
typedef struct pixel_cache pixel_cache;

/** Values of `render_view.projection`. */
enum projection
{
    PROJECTION_PARALLEL = 1,
    PROJECTION_PERSPECTIVE = 2,
    PROJECTION_TWO_POINT = 3, /**< perspective that keeps verticals parallel when the camera tilts */
    PROJECTION_CYLINDER = 4,  /**< cylindrical panorama */
    PROJECTION_SPHERE = 5,    /**< spherical panorama, latitude and longitude */
    PROJECTION_PROBE = 6      /**< light-probe angular map */
};

/** Bits of `render_view.view_flags`. */
enum
{
    VIEW_TONE_VALID = 0x4 /**< the tone values and histogram belong to this view */
};

/** Bits of `render_view.exposure_flags`. */
enum
{
    EXPOSURE_LOCKED = 0x1 /**< with VIEW_TONE_VALID set, measuring is skipped */
};

/** Bits of `render_view.display_flags`. */
enum
{
    DISPLAY_BACKGROUND = 0x1 /**< draw the background picture under the scene */
};

/** Values of `render_view.tone_method`. */
enum tone_method
{
    TONE_POWER = 0,
    TONE_HISTOGRAM = 1,
    TONE_FILM = 2 /**< one curve for every picture, see zr_set_film_exposure and zr_set_film_white */
};

/** Keeps the side where a x + b y + c z + d is 0 or above. */
typedef struct view_clip_plane
{
    double a, b, c, d; /**< coefficients */
} view_clip_plane;

/** Counts of one render, reset at its start. Written by the job when strips end; for the host to read. */
typedef struct ray_counters
{
    uint32_t pixels; /**< area of the render rectangle */
    /** @{ */
    /** rays from the eye, mirrored and transmitted rays, and hits that were shaded */
    uint32_t primary_rays, reflection_rays, transmission_rays, shaded_points;
    /** @} */
    uint32_t light_rays;  /**< sample rays of sun, sky and lights */
    uint32_t shadow_rays; /**< rays that tested whether a light is visible */
} ray_counters;

/** A camera with its picture. Public: the host writes the camera and reads the counters. */
typedef struct render_view
{
    int32_t view_state;                  /**< 1 after zr_new_render_view */
    int32_t display_type;                /**< what the window shows; under the display lock */
    uint32_t view_flags;                 /**< VIEW_* bits */
    int32_t projection;                  /**< a projection */
    double lens_length;                  /**< mm, of a film 36 mm wide; > 0 */
    vector3 position;                    /**< the eye, model units */
    vector3 target;                      /**< the point looked at, model units */
    vector3 right, up, back;             /**< unit axes of the camera; `back` points away from the scene */
    double near;                         /**< near plane distance, model units; below 0 none */
    double pano_angle, pano_fov;         /**< horizontal and vertical coverage of the cylinder, radians */
    int32_t clip_plane_count;            /**< number of `clip_planes` */
    view_clip_plane* clip_planes;        /**< `clip_plane_count` of them; owned by the host */
    int32_t level_moves;                 /**< 1: the pans act on the level plane */
    double image_width, image_height;    /**< image plane, model units or angles; set by zr_init_projection,
                                              for a parallel view by the host before it */
    double pixel_width, pixel_height;    /**< size of a pixel on the image plane */
    double pixel_aspect;                 /**< a pixel's height over its width; 0 reads as 1.0 */
    zr_handle window;                    /**< window that the view is shown in; NULL none */
    zr_handle device_context;            /**< drawing context of the window */
    int32_t window_width, window_height; /**< drawing area, pixels */
    image_buffer* image;                 /**< the rendered picture; owned by the view */
    int32_t width, height;               /**< pixels of the picture */
    int32_t scroll_x, scroll_y;          /**< scroll position of the picture in the window, pixels */
    double zoom, reduction; /**< `reduction` is the whole number by which the picture shrinks to fit the
                                 window; `zoom` is its reciprocal */
    double view_centre[2];  /**< fraction of the picture at the window's middle */

    double world_luminance;    /**< adaptation level: `measured_luminance` less `brightness` in log10 */
    double measured_luminance; /**< log-average luminance as measured */
    double tone_exponent, tone_scale;             /**< the operator for surfaces */
    double background_exponent, background_scale; /**< the operator for the background layer */
    struct histogram* histogram;                  /**< owned; NULL none */
    int32_t tone_method;                          /**< a tone_method */
    int32_t background_method; /**< the tone_method under which the picture's background was made, plus 1; a
                                  job sets it. 0: `tone_method` */
    uint32_t exposure_flags;   /**< EXPOSURE_* bits */
    float brightness;          /**< -5 to 5 */
    float contrast;            /**< 0.001 to 0.999 */
    float source_gain;         /**< 0 to 4; gain on light that came straight from light sources */

    vector3 world_position, world_target; /**< eye and target in metres, kept by every move */
    uint32_t display_flags;               /**< DISPLAY_* bits */
    float background_color[3];            /**< clear colour of the display */
    void* cached_frame;                   /**< the display's copy of the background picture */
    struct document* document;            /**< the scene; set by zr_init_view */
    void* scanline_lock;                  /**< guards `scan_marker` */
    int32_t scan_marker;                  /**< line drawn as the render's position; -1 none */
    float frame_aspect;                   /**< sub-frame: height over width of the whole frame; 0 none */
    float frame_low[2], frame_high[2];    /**< sub-frame: fractions 0 to 1 of the whole frame, y from below */
    void* frustum_store;                  /**< the library's screen frustum */
    struct ray_counters ray_counters;     /**< rays of the latest render */

    int32_t film_fixed; /**< film: 1 the exposure is that of `film_ev`, 0 it follows the log-average */
    float film_ev;      /**< exposure value at ISO 100 */
    int32_t film_automatic_white; /**< 1: `measured_white` counts in place of `film_white` */
    float film_white[3];          /**< light that is shown as white, luminance 1; 0 none */
    float measured_white[3];      /**< geometric mean of the picture's colour, luminance 1; 0 unknown */
    float measured_highlight;     /**< brightest channel that a quarter of the picture exceeds; 0 unknown */
} render_view;

typedef struct image_placement image_placement;

/** How a picture lies in a window, and what is done at each window position. */
struct image_placement
{
    int32_t picture_size[2];         /**< width and height of the picture, pixels */
    double cop[2];                   /**< fraction of the picture that lies at the window's middle */
    int32_t client_size[2];          /**< the window's drawing area, pixels */
    double zoom, reduction;          /**< as in the view */
    struct pixel_cache* pixel_cache; /**< cache of display values; NULL none */
    render_view* view;               /**< the view whose picture is shown */
    /** Called before each row; `blank` is 1 where the row lies outside the picture. */
    void (*begin_row)(image_placement* placement, int32_t blank);
    /** Called to step to the next position of a row. */
    void (*next_pixel)(image_placement* placement, int32_t blank);
    /** Called at a position with a picture pixel. */
    void (*put_pixel)(image_placement* placement);
    /** Called at a position outside the picture. */
    void (*put_blank)(image_placement* placement);
    int32_t row, column;      /**< the window position in hand */
    int32_t first_x, first_y; /**< the first picture pixel and row */
};

/** Ties a view to a document and a window and sets the exposure defaults: histogram operator, brightness 0,
 *  contrast 0.5, source gain 1. */
ZR_API void zr_init_view(document* doc, render_view* view, zr_handle window);

/** Frees what the view holds for the display. */
ZR_API void zr_term_view(render_view* view);

/** Makes `view` the copy of `source` for a new picture of `size` (width, height; NULL takes the window's
 *  size). Keeps the view's exposure and projection, of which 0 and 1 become 2; clears `source`'s image.
 *  Returns what `host_set_legend` returns, 0 without one. */
ZR_API int32_t zr_new_render_view(render_view* view, render_view* source, const int32_t* size);

/** @{ */
/** Camera moves. All take the display lock, keep `world_position` and `world_target` in step, return 1.
 * Scales and bounds are those of the host's current document; without one, those of the view's own. */
ZR_API int32_t zr_view_move(double amount, render_view* view);             /**< level walk, model units */
ZR_API int32_t zr_view_turn(double amount, render_view* view);             /**< radians about world z */
ZR_API int32_t zr_view_look_up_or_down(double amount, render_view* view);  /**< radians about `right` */
ZR_API int32_t zr_view_orbit(double amount, render_view* view);            /**< radians about the target */
ZR_API int32_t zr_view_orbit_up_or_down(double amount, render_view* view); /**< radians over the target */
ZR_API int32_t zr_view_pan_vertical(double amount, render_view* view);     /**< along `up`, model units */
ZR_API int32_t zr_view_pan_horizontal(double amount, render_view* view);   /**< along `right`, model units */
/** @} */
/** Moves the eye by the fraction `amount` of its way to the target; -0.5 undoes 0.5. A forward move is
 *  refused within 1 % of the scene's largest side. */
ZR_API int32_t zr_view_dolly(double amount, render_view* view);

/** @{ */
/** Take and release the display lock round several writes to a view. Both return 1. */
ZR_API int32_t zr_begin_view_changes(void);
ZR_API int32_t zr_end_view_changes(void);
/** @} */

/** @{ */
/** `display_type` of the view, read or set under the display lock. Setting returns 1. */
ZR_API int32_t zr_view_get_display_type(render_view* view);
ZR_API int32_t zr_view_set_display_type(render_view* view, int32_t type);
/** @} */

/** @{ */
/** Lens length in mm for a horizontal field of view in radians, 18 / tan(fov / 2), and back. */
ZR_API double FOVtoMM(double fov);
ZR_API double zr_FOVtoMM(double fov);
ZR_API double MMtoFOV(double length);
ZR_API double zr_MMtoFOV(double length);
/** @} */

/** Window position of a picture pixel. Returns 1. */
ZR_API int32_t image_pixel_to_display_pixel(
    const image_placement* placement, const double pixel[2], int32_t out[2]);
/** @{ */
/** Clamps `cop` so that the window is filled; `scroll` gets two bar positions of 0 to 100. Bit 1 of the
 *  result: x can scroll, bit 2: y can. */
ZR_API int32_t zr_adjust_COP(image_placement* placement, const int32_t visible[2], int32_t scroll[2]);
ZR_API int32_t zr_pan_image(
    image_placement* placement, const int32_t visible[2], const double delta[2], int32_t scroll[2]);
ZR_API void zr_set_COP(image_placement* placement);
/** @} */
/** Visits every window position in turn with the placement's functions. Returns 1. */
ZR_API int32_t zr_display_image(image_placement* placement);

ZR_EXTERN_C_END

#endif
