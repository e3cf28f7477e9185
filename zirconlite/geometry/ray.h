/** @file
 *  `ray`: one ray with its hit, its results, its weight and its recursion counters. A flat value that is
 *  copied whole to make a child ray; it lives on a worker's stack. */
#ifndef ZIRCONLITE_GEOMETRY_RAY_H
#define ZIRCONLITE_GEOMETRY_RAY_H

#include "zirconlite/types.h"

ZR_EXTERN_C_BEGIN

typedef struct document document;
typedef struct light light;
typedef struct ray_counters ray_counters;
typedef struct render_view render_view;
typedef struct scene_object scene_object;
typedef struct shadow_cache_entry shadow_cache_entry; /**< a thread's last blocker of one light */

/** Values of `ray.kind`. */
enum ray_kind
{
    RAY_PRIMARY = 1,
    RAY_REFLECTED = 2,
    RAY_TRANSMITTED = 3,
    RAY_SHADOW = 99
};

/** Bits of `ray.flags`. */
enum ray_flag
{
    RAY_PROBE = 0x1,       /**< solver or luminance probe: no ground, no frustum, no direct light by rays */
    RAY_PREPROCESS = 0x10, /**< preprocess probe of the render job */
    RAY_INSIDE = 0x40      /**< travels inside a transmissive solid */
};

/** One ray. Belongs to the thread that traces it. */
typedef struct ray
{
    int32_t kind;          /**< a ray_kind */
    uint32_t flags;        /**< RAY_* bits */
    int32_t thread;        /**< worker index */
    vector3 origin;        /**< start of the ray, model units */
    vector3 direction;     /**< unit length */
    vector3 inv_direction; /**< 1 / direction per axis; where that is below 1e-10 in size 1e12, or -1e15 */
    vector3 image_point;   /**< point on the image plane of a primary ray */
    vector3 raw_direction; /**< `image_point` - `origin` */
    double raw_length;     /**< its length; 1 for other than perspective rays */
    double pixel_size[2];  /**< size of a pixel on the image plane, model units */
    double footprint[2];   /**< size of the sample on the image plane */
    double footprint_slope[2];   /**< `footprint` / `raw_length`; 0 in a parallel projection */
    uint16_t screen_u, screen_v; /**< position in the picture for the screen frustum */

    double radiance[3];      /**< light brought back, times `weight`; -1 none */
    float background[3];     /**< background layer, times `weight`; -1 none */
    float simple_color[3];   /**< simple mode: the colour. Shadow rays: the filter, from 1, 1, 1 */
    float light_radiance[3]; /**< part of `radiance` that comes straight from light sources */
    double weight[3];        /**< what the eye sees of this branch */
    float sky_variance;      /**< of the luminance of `radiance`, by how many of the rays to the sky were
                                  blocked; (cd/m2)^2 */
    int32_t split_rays;      /**< rays that share the light of the branch's first blurred hit; 0 before it */

    /** @{ */
    /** reflections and refractions so far, and how many are allowed */
    int32_t reflect_depth, reflect_limit, refract_depth, refract_limit;
    /** @} */
    int32_t inside_count;                    /**< transmissive solids entered */
    struct shadow_cache_entry* shadow_cache; /**< shadow rays: entry of the light in the thread's cache */
    const struct light* shadow_light;        /**< shadow rays: the light tested; NULL for the sun */
    double pixel[2];                         /**< sample position in the image, pixels */
    int32_t pixel_x, pixel_y;                /**< the pixel that the ray was made for */
    int32_t sample_index;                    /**< cell of the pixel's 5 by 5 grid; 12 is the centre */
    double stratum[2];                       /**< offset in the pixel for `sample_index` */
    struct ray_counters* counters;           /**< the worker's own counters; NULL none */

    double hit_t;             /**< distance of the nearest hit; 1e12 none */
    double t_min, t_max;      /**< range of distances in which hits count */
    double path_length;       /**< distance from the eye along the first branch */
    scene_object* hit_object; /**< NULL none */
    uintptr_t hit_element;    /**< the kind's own reference to the element hit */
    vector3 hit_point;        /**< point of the nearest hit */
    /** @{ */
    /** unit normals at the hit: of the face, and between its vertices */
    vector3 geometric_normal, interpolated_normal;
    /** @} */
    vector3 facing_normal;     /**< `interpolated_normal`, flipped to face the ray */
    vector3 shading_normal;    /**< `facing_normal` after bumps */
    vector3 uv;                /**< mapping coordinates of the hit */
    vector3 map_point;         /**< `hit_point` when the object was hit */
    double element_coords[3];  /**< of a mesh face: the weights of vertices 2, 1, 0 */
    int32_t hit_ground;        /**< 1 when the ground plane was hit */
    struct document* document; /**< the scene */
    struct render_view* view;  /**< the camera */
    float alpha;               /**< 1 on a primary ray that ends in the background; behind clear surfaces what
                                    they pass of it */
    uint16_t material_id;      /**< `material.id` of the hit */
    const struct ray* parent;  /**< the ray that spawned this one; NULL on primary and shadow rays */
} ray;

ZR_EXTERN_C_END

#endif
