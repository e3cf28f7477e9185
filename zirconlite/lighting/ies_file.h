/** @file
 *  Photometric files: LM-63 (.ies) of 1986 to 2019 and EULUMDAT (.ldt). They hold what a luminaire sends into
 *  each direction, as a laboratory measured it, with the lamps and the size of the opening. */
#ifndef ZIRCONLITE_LIGHTING_IES_FILE_H
#define ZIRCONLITE_LIGHTING_IES_FILE_H

#include "zirconlite/types.h"

ZR_EXTERN_C_BEGIN

typedef struct goniometry goniometry;

/** Values of `ies_file.format`. */
enum ies_format
{
    IES_LM63_1986 = 0, /**< no heading */
    IES_LM63_1991 = 1, /**< IESNA91 */
    IES_LM63_1995 = 2, /**< IESNA:LM-63-1995 */
    IES_LM63_2002 = 3, /**< IESNA:LM-63-2002 */
    IES_LM63_2019 = 4, /**< IES:LM-63-2019 */
    IES_EULUMDAT = 5
};

/** Values of `ies_file.photometric_type`: the sphere on which the angles lie. */
enum ies_photometric_type
{
    IES_TYPE_C = 1, /**< planes through a vertical axis; vertical angles from 0, straight down, to 180 */
    IES_TYPE_B = 2, /**< planes through a horizontal axis; vertical angle 0 is straight down, 90 is level */
    IES_TYPE_A = 3  /**< planes through a vertical axis; vertical angle 0 is level, -90 straight down */
};

/** Values of `luminous_opening.shape`. */
enum luminous_shape
{
    LUMINOUS_POINT = 0,
    LUMINOUS_RECTANGLE = 1,
    LUMINOUS_BOX = 2,      /**< a rectangle with luminous sides */
    LUMINOUS_DISK = 3,     /**< a circle or an ellipse */
    LUMINOUS_CYLINDER = 4, /**< upright, with `height` */
    LUMINOUS_SPHERE = 5,   /**< or an ellipsoid */
    LUMINOUS_TUBE = 6,     /**< a lying cylinder along the longer of `length` and `width` */
    LUMINOUS_UPRIGHT = 7   /**< a circle that faces the side */
};

/** The part of a luminaire that shines. */
typedef struct luminous_opening
{
    int32_t shape; /**< a luminous_shape */
    float width;   /**< across, from the plane of 90 to that of 270 degrees; metres */
    float length;  /**< along, from the plane of 0 to that of 180 degrees; metres */
    float height;  /**< metres */
} luminous_opening;

/** A photometric file as it was read. Counts and arrays agree; angles rise strictly and lie within the range
 *  of their type; values are finite and at least one of `candela` is above 0. Texts are UTF-8 without control
 *  characters. Owned by the caller, who frees it with zr_free_ies_file. */
typedef struct ies_file
{
    int32_t format;      /**< an ies_format */
    int32_t label_count; /**< lines of `labels` */
    char** labels;   /**< the lines above TILT=, such as "[LUMCAT] A-12"; for EULUMDAT made of its fields */
    char* tilt_name; /**< NONE, INCLUDE or the name of a file */
    int32_t lamp_to_luminaire; /**< 1 to 3: base up or down, or how it turns; 0 without tilt data */
    int32_t tilt_count;        /**< of the two tables of tilt, which are kept and not applied */
    float* tilt_angles;        /**< degrees, rising */
    float* tilt_factors;       /**< share of the lumens at each angle of tilt */
    int32_t lamp_count;        /**< at least 1 */
    float lumens_per_lamp;     /**< below 0 for absolute photometry: no lumens of a lamp are known */
    float candela_multiplier;  /**< factor of `candela`; above 0 */
    int32_t vertical_count;    /**< at least 1 */
    int32_t horizontal_count;  /**< at least 1 */
    int32_t photometric_type;  /**< an ies_photometric_type */
    int32_t units_type;        /**< 1 feet, 2 metres: unit of the three sizes */
    /** @{ */
    /** sizes of the opening as in the file, in its unit; below 0 is round */
    float width, length, height;
    /** @} */
    float ballast_factor;      /**< factor of `candela`; above 0 */
    float ballast_lamp_factor; /**< kept; in files of 2019 the way in which the file was made */
    float input_watts;         /**< electrical power of the whole luminaire */
    float* vertical_angles;    /**< degrees */
    float* horizontal_angles;  /**< degrees */
    float* candela;            /**< `horizontal_count` rows of `vertical_count` */
    luminous_opening opening;  /**< the sizes in metres, and what they mean */
} ies_file;

/** Reads a photometric file: EULUMDAT where the name ends in .ldt and no line starts with TILT=, else LM-63.
 * A file of tilt data is looked for beside it. Nothing is printed.
 *
 *  @return NULL on any failure, with file, line and reason in zr_last_error. On the host's thread. */
ZR_API ies_file* zr_open_ies_file(const char16_t* path);

/** Frees the record and all that belongs to it; NULL is fine. */
ZR_API void zr_free_ies_file(ies_file* file);

/** Reads a photometric file into `table`, whose former tables are freed. Types A and B are turned into
 * C.
 *
 *  @return 1; 0 on any failure, with `table` as it was and file, line and reason in zr_last_error.
 *  Nothing is printed. On the host's thread. */
ZR_API int32_t zr_read_ies_file(const char16_t* path, goniometry* table);

/** The same from a file that was opened. 0 only when memory fails. */
ZR_API int32_t zr_fill_goniometry(const ies_file* file, goniometry* table);

/** Writes the file anew: EULUMDAT where the name ends in .ldt, else LM-63 with the heading of 2002. What was
 * read comes back the same but for what a format has no place for; types A and B are turned into C for
 * EULUMDAT, whose direct ratios are written as 0. An existing file is replaced when all is written.
 *
 *  @return 1; 0 on any failure, with the reason in zr_last_error. On the host's thread. */
ZR_API int32_t zr_write_ies_file(const char16_t* path, const ies_file* file);

ZR_EXTERN_C_END

#endif
