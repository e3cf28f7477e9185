/** @file
 *  `goniometry`: a light's intensity by direction, as measured. Lights made from one template share its
 * tables. */
#ifndef ZIRCONLITE_LIGHTING_GONIOMETRY_H
#define ZIRCONLITE_LIGHTING_GONIOMETRY_H

#include "zirconlite/types.h"

ZR_EXTERN_C_BEGIN

/** A photometric table. The record belongs to one light; the tables belong to all records that share them and
 * go with the last. Read-only while rendering. */
typedef struct goniometry
{
    float lumens;                             /**< total output: `lm_per_cd` x `peak_candela` */
    float peak_candela;                       /**< the largest value of the file, with its multipliers */
    float lm_per_cd;                          /**< integral of `rows` over the sphere; at least 1e-12 */
    int32_t vertical_count, horizontal_count; /**< sizes of the two tables of angles */
    int32_t symmetry;                         /**< a goniometry_symmetry */
    float* vertical_angles;                   /**< `vertical_count`, radians, rising */
    float* horizontal_angles;                 /**< `horizontal_count`, radians, rising */
    float** rows;     /**< one of `vertical_count` values for each horizontal angle; the peak is 1 */
    int32_t* sharers; /**< records that share the tables, this one included; NULL: this one alone */
} goniometry;

/** Values of `goniometry.symmetry`: how an azimuth is folded into the table. */
enum goniometry_symmetry
{
    GONIOMETRY_FULL = 0,     /**< not folded; the table runs from 0 to 2 pi */
    GONIOMETRY_AXIAL = 1,    /**< one row for all azimuths */
    GONIOMETRY_QUADRANT = 2, /**< rows from 0 to pi / 2, mirrored in both planes */
    GONIOMETRY_HALF = 3,     /**< rows from 0 to pi, mirrored in the plane of 0 and pi */
    GONIOMETRY_SIDE = 4      /**< rows from pi / 2 to 3 pi / 2, mirrored in the plane of these two */
};

/** A zeroed record; NULL when memory fails. The caller frees it with zr_free_goniometry. */
ZR_API goniometry* zr_new_goniometry(void);

/** A further record with the same tables; NULL for NULL and when memory fails. On the host's thread. */
ZR_API goniometry* zr_share_goniometry(goniometry* table);

/** Frees the record, and its tables where no other record shares them; NULL is fine. Tables, rows and the
 * array of rows each come from zr_malloc. */
ZR_API void zr_free_goniometry(goniometry* table);

/** Intensity in one direction as a share of the peak, 0 to 1; linear between the angles of the table, 0 at
 * and beyond the first and the last vertical angle. Azimuths turn counter-clockwise seen from above for a
 * table whose axis points down.
 *
 *  @param table its angles rise and its counts are those of its tables; NULL gives 0
 *  @param azimuth    radians, -2 pi to 2 pi; others give 0
 *  @param polar      radians from the axis
 *  Any thread. */
ZR_API double zr_goniometry_value(const goniometry* table, double azimuth, double polar);

ZR_EXTERN_C_END

#endif
