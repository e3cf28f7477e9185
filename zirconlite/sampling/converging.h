/** @file
 *  The choice of pixel sampler, and the limits of the one that converges: rounds over the whole picture add
 * samples where they are needed, until the error left is below what was asked. docs/sampling.md shows what it
 * costs. */
#ifndef ZIRCONLITE_SAMPLING_CONVERGING_H
#define ZIRCONLITE_SAMPLING_CONVERGING_H

#include "zirconlite/types.h"

ZR_EXTERN_C_BEGIN

typedef struct document document;

/** How pixels are sampled; copied when a job starts. */
enum pixel_sampler
{
    SAMPLER_STRIPS = 0,    /**< three passes of strips with a fixed pattern per pixel */
    SAMPLER_CONVERGING = 1 /**< one path a sample, rounds until the error is small; exact light model only, in
                              the fast one and in simple mode a job takes the strips */
};

/** Indirect light, with the converging sampler; the strips sampler has the stand-in. */
enum indirect_light
{
    INDIRECT_AMBIENT = 0, /**< one even light stands in for it */
    INDIRECT_PATHS = 1,   /**< paths go on from diffuse surfaces; without bias but for `bounce_limit` */
    INDIRECT_CACHE = 2    /**< paths end at their second diffuse surface, where a cache keeps the light of all
                              bounces; the cache is filled before the picture */
};

/** When the converging sampler stops. */
typedef struct sampling_limits
{
    double noise; /**< error that may be left in a pixel as shown, in steps of 255; above 0 to 255; 2. With
                       denoising the picture is sampled to twice as much */
    int32_t min_samples; /**< a pixel; 1 to `max_samples`; 16 */
    int32_t max_samples; /**< a pixel; 1 to 1048576; 1024 */
    uint32_t seed;       /**< another seed gives another picture of the same error; 0 */
    double seconds;      /**< for the rounds; the picture ends with what they reached; 0: no limit */
} sampling_limits;

/** How far a running render has come, or the last one came. */
typedef struct sampling_progress
{
    double done_share;   /**< of the pixels, 0 to 1: those whose error is below `noise` */
    double error;        /**< root mean square error left, in steps of 255; 0 before it is known */
    double work_share;   /**< of the samples that are expected to be needed, 0 to 1 */
    double mean_samples; /**< a pixel */
} sampling_progress;

/** Chooses how pixels are sampled from the next job on; an unknown sampler changes nothing. Returns the one
 * in force before. Host's thread. */
ZR_API int32_t zr_set_pixel_sampler(document* doc, int32_t sampler);

/** @{ */
/** Sets when the converging sampler stops, from the next job on. Returns 1; 0, with nothing changed and
 *  zr_last_error set, where a value is out of its range. */
ZR_API int32_t zr_set_sampling_limits(document* doc, const sampling_limits* limits);
ZR_API void zr_get_sampling_limits(const document* doc, sampling_limits* limits_out);
/** @} */

/** Chooses how indirect light is found, from the next job on: the kind; after how
 *  many diffuse surfaces a path ends, 1 to 64, which INDIRECT_CACHE does not look at; and to how many times
 * the log-average luminance of the picture one sample's share of that light is clamped, which takes single
 * bright dots away and a little light with them, 0 for never, to 1e6. Returns 1; 0, with nothing changed and
 * zr_last_error set, for an unknown kind or a number out of range. Host's thread. */
ZR_API int32_t zr_set_indirect_light(document* doc, int32_t kind, int32_t bounce_limit, double clamp);

/** @{ */
/** The light that a document keeps for INDIRECT_CACHE. A job fills it for its view, and it stays until the
 * next one. zr_write_light_cache puts it in a file, beside the old one and in its place when it is whole.
 *  zr_read_light_cache takes it from there: later jobs of any view read it and add nothing, until the scene
 *  changes; a path that finds no light kept goes on. It refuses files of another scene, of another version
 * and damaged ones, with the document as it was. Return 1, or 0 with zr_last_error set. zr_free_light_cache
 *  forgets it; NULL is fine. Host's thread, while no job runs, with the scene whole and its sun set. */
ZR_API int32_t zr_read_light_cache(document* doc, const char16_t* path);
ZR_API int32_t zr_write_light_cache(const document* doc, const char16_t* path);
ZR_API void zr_free_light_cache(document* doc);
/** @} */

/** Whether the converging sampler ends with a filter that takes the grain out of what is shown, from the next
 * job on; the sums, and .hdr pictures with them, keep it. 24 bytes a pixel more.
 * Returns what was set before. Host's thread. */
ZR_API int32_t zr_set_denoising(document* doc, int32_t is_on);

/** Any thread, also while the job runs. */
ZR_API void zr_get_sampling_progress(sampling_progress* progress_out);

ZR_EXTERN_C_END

#endif
