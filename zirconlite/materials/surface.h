/** @file
 *  `surface`: what a material is at one point, the result of zr_resolve_surface. */
#ifndef ZIRCONLITE_MATERIALS_SURFACE_H
#define ZIRCONLITE_MATERIALS_SURFACE_H

#include "zirconlite/types.h"

ZR_EXTERN_C_BEGIN

typedef struct material material;
typedef struct ray ray;

/** Bits of `surface.flags`. */
enum surface_flag
{
    SURFACE_TEXTURED = 0x1,            /**< a picture or bump took part */
    SURFACE_THIN = 0x2,                /**< a sheet: light passes without refraction */
    SURFACE_NO_MIRROR = 0x4,           /**< mirrors nothing, whatever `reflect` is */
    SURFACE_SHARP_REFLECTION = 0x8,    /**< mirrored rays do not spread */
    SURFACE_SHARP_TRANSMISSION = 0x10, /**< transmitted rays do not spread */
    SURFACE_PASS_THROUGH = 0x20,       /**< transmission keeps the ray's kind; no Fresnel loss at shadows */
    SURFACE_OWN_LOBE = 0x40 /**< `highlight` is the material's own exponent, not one that follows `reflect` */
};

/** The four weights are parts of one unit of incoming light. Colours are linear. */
typedef struct surface
{
    uint32_t flags; /**< SURFACE_* bits */
    /** @{ */
    /** weights of diffuse, mirrored, diffusely transmitted and straight transmitted light */
    float diffuse, reflect, translucent, transparent;
    /** @} */
    /** @{ */
    /** the colours that go with the four weights */
    float color[3], reflect_color[3], translucent_color[3], transparent_color[3];
    /** @} */
    float filter[3];           /**< factor on light that passes in a straight line, for shadow rays */
    float highlight;           /**< exponent; 0 none */
    float ior;                 /**< index of refraction */
    float attenuation;         /**< loss per unit of distance inside a solid */
    float luminosity;          /**< self-emission, times `color`, cd/m^2 */
    float highlight_strength;  /**< factor on the highlight */
    float highlight_color[3];  /**< colour of the highlight */
    struct material* material; /**< the material that made it */
} surface;

/** The defaults: `diffuse` 1, the other weights 0, `color` and the transmission colours 0, `reflect_color`,
 *  `filter`, `highlight_color` and `ior` 1, all else 0. */
ZR_API void zr_void_surface(surface* s);

/** Works out the surface of `m` at the ray's hit. With a ray it writes the ray's `facing_normal`,
 *  `shading_normal` and `material_id`; with none it gives the material's neutral surface. Always returns 1:
 *  a null material gives the void surface. Any thread. */
ZR_API int32_t zr_resolve_surface(const material* m, ray* r, surface* s);

ZR_EXTERN_C_END

#endif
