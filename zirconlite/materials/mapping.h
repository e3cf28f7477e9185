/** @file
 *  `mapping`: the frame and projection by which points of an object get pattern coordinates. */
#ifndef ZIRCONLITE_MATERIALS_MAPPING_H
#define ZIRCONLITE_MATERIALS_MAPPING_H

#include "zirconlite/types.h"

ZR_EXTERN_C_BEGIN

typedef struct ray ray;

/** Values of `mapping.kind`. */
enum mapping_kind
{
    MAPPING_NONE = 0,
    MAPPING_BOX = 1,
    MAPPING_CYLINDER = 2,
    MAPPING_SPHERE = 3,
    MAPPING_PLANAR = 4,
    MAPPING_ANGULAR_CYLINDER = 5,
    MAPPING_ANGULAR_SPHERE = 6,
    MAPPING_VERTEX = 7 /**< u, v are the vertex coordinates of the first set, w is 0; the point stays. An
                          object without coordinates is mapped as MAPPING_NONE */
};

/** A mapping of an object. All zero is none: coordinates come from the world point by the box rule. */
typedef struct mapping
{
    int32_t kind;      /**< a mapping_kind */
    matrix4 transform; /**< world to mapping space; the fourth row is not used. Not for MAPPING_VERTEX */
    double scale[3];   /**< factors on u, v, w after the projection; with MAPPING_VERTEX 0 stands for 1 */
    double angular_scale[3]; /**< angular kinds: the cylinder reads [0] and [2], the sphere [0] and [1] */
} mapping;

/** The argument of zr_apply_mapping. The five pointers may not be NULL. */
typedef struct apply_record
{
    const vector3* point_in;       /**< world point to map */
    vector3* point_out;            /**< the mapped point: `uvw_out` itself for the kinds 2 to 6 */
    vector3* uvw_out;              /**< receives the coordinates, factors of the mapping included */
    const vector3* normal_in;      /**< unit normal at the point */
    vector3* normal_out;           /**< receives the normal in mapping space */
    const struct mapping* mapping; /**< NULL none */
    double pattern_scale[2]; /**< kinds 5 and 6: taken out of u and v, as the material multiplies it in */
} apply_record;

/** Maps a point and normal. MAPPING_VERTEX projects as planar here: who has the object puts its coordinates
 * in. Any thread. Returns 1; 0 for MAPPING_NONE, which runs the box projection with no scale. */
ZR_API int32_t zr_apply_mapping(apply_record* record);

/** @{ */
/** The projections, in mapping space. Return 1. */
ZR_API int32_t zr_planar_map(const vector3* point, const vector3* normal, vector3* uvw);
ZR_API int32_t zr_box_map(const vector3* point, const vector3* normal, vector3* uvw);
ZR_API int32_t zr_cylinder_map(const vector3* point, const vector3* normal, vector3* uvw);
ZR_API int32_t zr_sphere_map(const vector3* point, const vector3* normal, vector3* uvw);
ZR_API int32_t zr_angular_cylinder_map(const vector3* point, const vector3* normal, double scale_u,
    double scale_v, const double pattern_scale[2], vector3* uvw);
ZR_API int32_t zr_angular_sphere_map(const vector3* point, const vector3* normal, const double scale_pair[2],
    const double pattern_scale[2], vector3* uvw);
/** @} */

/** The coordinates of set 0 or 1 at the ray's hit, from the vertices of the object hit. 0 where there is no
 * object, or none with such coordinates; else 1. Any thread. */
ZR_API int32_t zr_get_uv_from_vertices(const ray* r, int32_t set, float uv_out[2]);

ZR_EXTERN_C_END

#endif
