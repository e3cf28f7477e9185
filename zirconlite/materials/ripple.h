/** @file
 *  `ripple`: rings of waves on an object, a property of kind PROPERTY_RIPPLES. */
#ifndef ZIRCONLITE_MATERIALS_RIPPLE_H
#define ZIRCONLITE_MATERIALS_RIPPLE_H

#include "zirconlite/types.h"

ZR_EXTERN_C_BEGIN

/** One source of rings. Read-only while rendering. */
typedef struct ripple
{
    struct ripple* next; /**< next ripple of the object */
    vector3 center;      /**< model units */
    double frequency;    /**< 1 / wavelength */
    float amplitude;     /**< tilt of the normal at the centre */
    float decay;         /**< what is left after one wavelength, 0 to 1 */
    float phase;         /**< radians */
} ripple;

ZR_EXTERN_C_END

#endif
