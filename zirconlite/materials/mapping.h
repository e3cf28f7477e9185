/** @file
 *  `mapping`: the frame and projection by which points of an object get pattern coordinates. */
#ifndef ZIRCONLITE_MATERIALS_MAPPING_H
#define ZIRCONLITE_MATERIALS_MAPPING_H

#include "zirconlite/frame/types.h"

ZR_EXTERN_C_BEGIN

/** Values of `mapping.kind`. */
enum mapping_kind
{
    MAPPING_NONE = 0,
    MAPPING_BOX = 1,
    MAPPING_CYLINDER = 2,
    MAPPING_SPHERE = 3,
    MAPPING_PLANAR = 4,
    MAPPING_ANGULAR_CYLINDER = 5,
    MAPPING_ANGULAR_SPHERE = 6
};

/** A mapping of an object. All zero is none: coordinates come from the world point by the box rule. */
typedef struct mapping
{
    int32_t kind;            /**< a mapping_kind */
    matrix4 transform;       /**< world to mapping space; the fourth row is not used */
    double scale[3];         /**< factors on u, v, w after the projection */
    double angular_scale[3]; /**< angular kinds: the cylinder reads [0] and [2], the sphere [0] and [1] */
} mapping;

ZR_EXTERN_C_END

#endif
