/** @file
 *  The one noise of the system and the sums of its octaves. The same point gives the same value in every
 *  render, on every thread.
 *
 *  K. Perlin, "An Image Synthesizer", SIGGRAPH 1985, for sums of noise over octaves. */
#ifndef ZIRCONLITE_MATERIALS_NOISE_H
#define ZIRCONLITE_MATERIALS_NOISE_H

#include "zirconlite/types.h"

ZR_EXTERN_C_BEGIN

/** Octaves that the sums of noise take at most. */
#define NOISE_MAX_OCTAVES 32

/** Lattice noise, each component in -0.5 to 0.5. `components` up to 3 are written; 0 and below write nothing.
 *  All zero before zr_init_ex. Returns 1. */
ZR_API int32_t zr_noise(const vector3* point, double* out, int32_t components);
/** The table entry of a lattice point. Returns 1. */
ZR_API int32_t zr_integer_noise(const int32_t cell[3], double out[3]);

/** @{ */
/** Sums of noise over octaves, each of half the weight and twice the frequency: one, two and three
   components. `octaves` is clamped to 0 to NOISE_MAX_OCTAVES. Return 1. */
ZR_API int32_t turb1(const vector3* point, double* out, int32_t octaves);
ZR_API int32_t turb2(const vector3* point, double out[2], int32_t octaves);
ZR_API int32_t turb3(const vector3* point, double out[3], int32_t octaves);
/** @} */

ZR_EXTERN_C_END

#endif
