/** @file
 *  The fixed types that every public record uses: the export mark, vectors, matrices, boxes, handles and
 *  the packed forms of normals and texture coordinates. */
#ifndef ZIRCONLITE_TYPES_H
#define ZIRCONLITE_TYPES_H

#include <stddef.h>
#include <stdint.h>
#ifdef __cplusplus
#define ZR_API extern "C" __attribute__((visibility("default")))
#define ZR_EXTERN_C_BEGIN                                                                                    \
    extern "C"                                                                                               \
    {
#define ZR_EXTERN_C_END }
#else
#include <uchar.h>
/** An exported function; in C++ with C linkage. */
#define ZR_API extern __attribute__((visibility("default")))
/** Begins the declarations of a header. */
#define ZR_EXTERN_C_BEGIN
/** Ends the declarations of a header. */
#define ZR_EXTERN_C_END
#endif

/** Three f64: a point or a vector. World space is right-handed, x east, y north, z up. */
typedef struct vector3
{
    double x, y, z; /**< components */
} vector3;

/** Sixteen f64 by rows; a point is a column on its right, so the translation is in the last column.
 */
typedef struct matrix4
{
    double m[4][4]; /**< row, column */
} matrix4;

/** An axis-parallel box. An empty box has `min` 1e12 and `max` -1e15 on every axis. */
typedef struct bounding_box
{
    vector3 min, max; /**< opposite corners */
} bounding_box;

/** A unit vector in three 10-bit fields: x in bits 20 to 29, y in 10 to 19, z in 0 to 9. The top bit of a
 *  field is its sign, the lower nine bits are trunc(|c| x 511). Bits 30 and 31 are zero. */
typedef uint32_t packed_normal;

/** A texture coordinate pair; 0 means none, 1 to 65535 stand for 0.0 to 1.0. */
typedef struct packed_uv
{
    uint16_t u, v; /**< the two coordinates */
} packed_uv;

/** Distances of this size and beyond mean "no hit"; also the reciprocal of a direction component of 0. */
#define ZR_FAR 1e12

/** A handle of a thread, window, module or file. 0 is none; an opening that failed gives
 *  ZR_INVALID_HANDLE. */
typedef void* zr_handle;
/** The handle of an opening that failed. */
#define ZR_INVALID_HANDLE ((zr_handle)(intptr_t)-1)

#endif
