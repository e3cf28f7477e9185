/** @file
 *  The kinds of complex materials: which blend function gives the share of the first child. */
#ifndef ZIRCONLITE_MATERIALS_BLEND_H
#define ZIRCONLITE_MATERIALS_BLEND_H

#include "zirconlite/types.h"

ZR_EXTERN_C_BEGIN

typedef struct material material;

/** File codes of the kinds, as libraries store them. */
enum blend_kind
{
    BLEND_KIND_MARBLE = 0,
    BLEND_KIND_GRANITE = 1,
    BLEND_KIND_WOOD = 2,
    BLEND_KIND_TILE = 3,
    BLEND_KIND_MASK = 4,
    BLEND_KIND_BLEND = 5,
    BLEND_KIND_CLEAR_FINISH = 6,
    BLEND_KIND_ANGULAR = 7
};

/** Gives a complex material the blend and prepare functions, labels and `has_own_pattern` of a kind. 1; 0 for
 * a simple material, and for an unknown kind, which leaves it without a blend function. */
ZR_API int32_t zr_set_blend_kind(material* complex, int32_t kind);

/** The file code of a complex material's blend function; -1 for none of the kinds and for simple materials.
 */
ZR_API int32_t zr_get_blend_kind(const material* complex);

/** Works out `transform` of a complex material from `axis` (all zero: 0, 0, 1), `origin` and `rotation`.
 * Returns 1; 0 for a simple material. */
ZR_API int32_t zr_update_pattern_transform(material* complex);

/** A bump of a kind (1 rubble, 2 sandpaper, 3 pyramid; any other is rubble), put at the end of a simple
 *  material's list. `axis`, `origin` and `scale` (repeats per unit) are copied. 1; 0 for a complex material
 * and when memory fails. */
ZR_API int32_t zr_add_bump(material* simple, int32_t kind, const double axis[3], const double origin[3],
    double rotation, const double scale[3], double strength);

ZR_EXTERN_C_END

#endif
