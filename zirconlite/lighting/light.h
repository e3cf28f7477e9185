/** @file
 *  `light`: one record for every light source of a document, from a point light to the group that stands for
 *  a luminaire. Lengths are metres; lumens, candela, lux and kelvin are real ones; colours are three f32. */
#ifndef ZIRCONLITE_LIGHTING_LIGHT_H
#define ZIRCONLITE_LIGHTING_LIGHT_H

#include "zirconlite/types.h"

ZR_EXTERN_C_BEGIN

typedef struct document document;
typedef struct goniometry goniometry;
typedef struct light light;
typedef struct source_sample source_sample;
typedef struct sun_sky sun_sky;

/** Values of `light.type`. Any other value is treated as LIGHT_SPHERICAL. */
enum light_type
{
    LIGHT_SPHERICAL = 1, /**< point or small sphere */
    LIGHT_AREA = 2,
    LIGHT_CYLINDRICAL = 3,
    LIGHT_PARALLEL = 4, /**< distant light: one direction, no position */
    LIGHT_DAYLIGHT = 5, /**< window; lighting/daylight.h says what it needs */
    LIGHT_DISK = 6,
    LIGHT_RADIOSITY_SKY = 7, /**< the sky while a radiosity solver shoots it */
    LIGHT_SKY_PATCH = 8,     /**< one of those that lt_sky_create makes */
    LIGHT_SKY = 9,           /**< `sun_sky.sky_light` */
    LIGHT_GROUP = 999        /**< luminaire: gives its children a colour, emits nothing itself */
};

/** Values of `light.distribution`. */
enum light_distribution
{
    DISTRIBUTION_DEFAULT = 1, /**< diffuse on a LIGHT_AREA, else isotropic */
    DISTRIBUTION_SPOT = 2,
    DISTRIBUTION_GONIOMETRIC = 4,
    DISTRIBUTION_ISOTROPIC = 5,
    DISTRIBUTION_DIFFUSE = 6 /**< brightness converted as diffuse; a LIGHT_AREA emits so, in the exact light
                                  model a LIGHT_DISK and a LIGHT_CYLINDRICAL too */
};

/** Values of `light.brightness_unit`: which of the three strengths the user set. */
enum brightness_unit
{
    BRIGHTNESS_WATTS = 1,
    BRIGHTNESS_LUMENS = 2,
    BRIGHTNESS_CANDELA = 3
};

/** Bits of `light.flags`; the others belong to the host's editors. */
enum light_flag
{
    LIGHT_SUN_SHINES = 0x4,          /**< a window that the sun shines through at present */
    LIGHT_FRAME_ALONG_NORMAL = 0x80, /**< zr_decompose_light_matrix: the axis is `normal`, else -`normal` */
    LIGHT_KEPT = 0x800,              /**< kept by zr_lights_free with `all` = 0 */
    LIGHT_NO_HIGHLIGHT = 0x1000      /**< makes no highlights */
};

/** Bits of `source_sample.flags`. */
enum
{
    SAMPLE_SKIPPED = 0x1,
    SAMPLE_BACK_SIDE = 0x2 /**< the light reaches the back of the surface */
};

/** Corners of a window at most. */
#define LIGHT_MAX_VERTICES 10

/** One point on a source as seen from one shading point. The caller sets `u`, `v`. */
struct source_sample
{
    uint32_t flags;    /**< SAMPLE_* bits */
    double u, v;       /**< in: position on the source, 0 to 1; 0.5, 0.5 is the centre */
    vector3 point;     /**< out: the point on the source */
    vector3 direction; /**< out: unit vector from the shading point to `point` */
    double distance;   /**< out: metres; 1e12 for sources with no position */
    double color[3];   /**< out: cd (lux where `falloff` is 0) with distribution, without attenuation */
};

/** Samples a shooter should take for `point`: 1, 5 or 17. */
typedef int32_t (*light_sample_count)(const light* source, const vector3* point);
/** Fills `n` consecutive records for the shading point. Writes only to them; any thread. Returns 1. */
typedef int32_t (*light_sample)(const light* source, const vector3* point, source_sample* samples, int32_t n);

/** A light source. Owned by the list that it is inserted in; read-only while a job runs. Fields without a
 * remark on results are the host's to fill. */
struct light
{
    uint32_t flags;         /**< LIGHT_* bits */
    int32_t type;           /**< a light_type */
    vector3 position;       /**< centre of the source, world space */
    vector3 axis_u, axis_v; /**< unit vectors in the plane of the source, or along a tube */
    vector3 normal;         /**< unit: aim of a spot, normal of an area, direction of travel of a distant
                                 light (from the source toward the scene) */
    double length, height;  /**< rectangle, window, tube; metres */
    double radius;          /**< sphere, disk, tube; 0 makes a true point or line */
    double area;            /**< m^2 */
    int32_t vertex_count;   /**< at most LIGHT_MAX_VERTICES */
    vector3 vertices[LIGHT_MAX_VERTICES]; /**< corners of a window or an area, world space */
    char16_t name[256];                   /**< the host's name for the light */
    uint32_t host_data_size;              /**< bytes of `host_data` in use */
    unsigned char host_data[256];         /**< not read by the library; copied with the record */
    int32_t brightness_unit;              /**< a brightness_unit */
    /** @{ */
    /** strength in the three units; `candela` is the peak intensity, lumens per steradian */
    float lumens, candela, watts;
    /** @} */
    uint32_t bulb_index;           /**< row of the efficacy table, 0 to 6 */
    float dimmer;                  /**< on a LIGHT_PARALLEL: illuminance is `dimmer`^4 x 100000 lux */
    float fixture_scale;           /**< factor on the glow of the shape that belongs to the light */
    float cd_per_lm, lm_per_cd;    /**< results of the spot brightness */
    float color_temperature;       /**< kelvin; 5000 is white */
    float filter[3];               /**< factor per channel, 0 to 1 */
    int32_t distribution;          /**< a light_distribution */
    float beam_angle, field_angle; /**< radians from the axis: half the peak, and no light beyond */
    vector3 aim_point;             /**< target of a spot; `normal` follows from it where that is 0 */
    char16_t ies_path[260];        /**< file of the goniometric data; empty none */
    struct goniometry* goniometry; /**< owned; NULL none */
    double falloff;                /**< exponent of the distance; usually 2, 0 for no attenuation */
    double shadow_strength;        /**< 0 to 1; 0 casts no shadows. A blocked shadow ray leaves 1 less it of
                                        the light, but a point whose rays are all blocked gets none */
    double single_ray_fraction;    /**< for shots of a radiosity solver; 0 */
    float intensity_color[3];      /**< colour x `candela` */
    float flux_color[3];           /**< colour x `lumens` */
    /** @{ */
    /** results of the spot brightness: exponent of the cosine, cosine of `field_angle` */
    float spot_exponent, cos_field;
    /** @} */
    vector3 edge_normals[LIGHT_MAX_VERTICES]; /**< result: inward normals of a window's edges */
    double edge_offsets[LIGHT_MAX_VERTICES];  /**< result: plane offsets of a window's edges, metres */
    float sun_flux[3];                        /**< result: sunlight through a window */
    float opacity;                            /**< share of window light that is blocked, 0 to 0.999 */
    vector3 patch_directions[5];              /**< result: sample directions of a sky patch, unit vectors */
    double azimuth, altitude;                 /**< where a distant light is: -pi to pi, -pi/2 to pi/2 */
    float illuminance_color[3];               /**< colour x lux of a distant light */
    bounding_box world_bounds;                /**< copied from the document on insertion */
    /** @{ */
    /** links to the next sibling, the first light of a group, and the group above */
    light *next, *first_child, *parent;
    /** @} */
    light_sample_count sample_count; /**< operation of the type, set by the create function */
    light_sample sample;             /**< operation of the type, set by the create function */
    /** @{ */
    /** where the light came from: its material and its library entry; not read when rendering */
    char16_t material_name[256], material_library[260], library_entry[256], library_path[260];
    /** @} */
    uint32_t file_id;         /**< place of the light in a file of a solution; else the host's */
    uint32_t luminaire_flags; /**< the host's flags for a group */
    float simple_brightness;  /**< factor in simple mode */
    int32_t shadow_samples;   /**< soft shadow samples per shading point; below 1 counts as 1 */
    float sample_jitter;      /**< amplitude of the noise on a sample position, 0 to 1 */
    float disc_size;          /**< half-width of the disc of a distant light on a plane 5 m along the ray,
                                   0 to 2 */
    float plain_color[3];     /**< colour before any brightness */
    float simple_color[3];    /**< `plain_color` x `simple_brightness` */
    struct sun_sky* sun_sky;  /**< on the sky record and on windows */
    document* owner_document; /**< on the sky record only */
};

/** A new light: a copy of `template_light` with no `next` and `first_child`, and with a `goniometry` of its
 * own that shares the tables, prepared by its type and distribution. Every field that the host fills is
 * clamped to its range, NaN to a neutral value. A window takes its light from `sky`, which outlives it;
 * without one a LIGHT_DAYLIGHT is made as a sphere. A LIGHT_GROUP has `lumens` in `candela` and
 * `intensity_color`. The caller owns it until it is inserted, and frees it with zr_light_free. NULL when
 * memory fails. */
ZR_API light* zr_create_light(const light* template_light, struct sun_sky* sky);

/** Inserts `source` in the list at `head`, which is sorted by power with the strongest first; equal ones keep
 *  the order of insertion. A light below a group, and all lights below a group that is inserted, take its
 * colour. A LIGHT_PARALLEL is brought up to date from its `world_bounds` first. The list owns the light.
 * Returns 1. */
ZR_API int32_t zr_insert_light_source(light** head, light* source, void* reserved);
/** The same with the document's bounds copied into the light; raises `light_count` when `head` is the
 *  document's list, by the lights and groups below a group, else by 1. -1 for a window light while
 *  `sun_sky_flags` is not 3: the caller keeps it. */
ZR_API int32_t zr_insert_light_source_ex(light** head, light* source, document* doc);

/** Frees a light with its `goniometry`; a group does not own the one it names. Returns 1; NULL is fine. */
ZR_API int32_t zr_light_free(light* source);
/** Frees a sibling chain, with `with_children` the subtree of each too. Returns 1. */
ZR_API int32_t zr_lights_free_ex(light* first, int32_t with_children);
/** Frees all lights, or with `all` 0 those without LIGHT_KEPT, and recounts. Returns 1. */
ZR_API int32_t zr_lights_free(document* doc, int32_t all);

/** @{ */
/** Walk over all lights that are not groups; NULL at the end. */
ZR_API light* first_leaf(light* node);
ZR_API light* next_leaf(light* node);
/** @} */

/** @{ */
/** Derive `lumens` and `candela` from the unit that the user set. Return 1. */
ZR_API int32_t zr_get_isotropic_brightness(light* source);
ZR_API int32_t zr_get_diffuse_brightness(light* source);
ZR_API int32_t zr_get_spot_brightness(light* source);
ZR_API int32_t zr_get_goniometric_brightness(light* source);
/** @} */
ZR_API int32_t zr_get_cd_per_lm(const light* source, double* result); /**< returns 1 */

/** Lumens per candela of a spot cone whose intensity is cos^exponent to the field angle. Angles in radians;
 *  beams below 2 degrees and fields below half a degree are raised to that. */
ZR_API double spot_light_lm_per_cd(
    double beam_angle, double field_angle, float* exponent_out, float* cos_field_out);
/** The same by the integral of the distribution itself, 2 pi (1 - f^(e + 1)) / (e + 1) with f the cosine of
 *  the field: what the exact light model takes. */
ZR_API double zr_spot_light_lm_per_cd_exact(
    double beam_angle, double field_angle, float* exponent_out, float* cos_field_out);

/** Works out the colour fields from temperature, filter, groups above and strength. Returns 1. */
ZR_API int32_t zr_get_color_intensity(light* source);

/** Colour of a temperature in kelvin, against a white of 5000 K: ratios of Planck's law at 0.6, 0.56 and
 *  0.44 micrometres to the power 0.15. Temperatures at or below 0 give 1, 1, 1. */
ZR_API void CT_to_RGB(float temperature, float rgb_out[3]);

/** @{ */
/** A light's frame as an axis and a turn about it, and back. `axes` is u, v, n. Return 1. */
ZR_API int32_t zr_decompose_light_matrix(const light* source, vector3 axes[3], double* angle_out);
ZR_API int32_t zr_compose_light_matrix(light* source, vector3 axes[3], double angle);
/** @} */

/** Integral of a function over the sphere by a midpoint rule of n rows of altitude by 2n of azimuth. */
ZR_API double get_distribution_factor(
    int32_t n, double (*function)(void* context, double azimuth, double altitude), void* context);

/** @{ */
/** Prepare a light of one shape: operations, strength, colours. */
ZR_API void lt_spherical_create(light* source);
/** A rectangle or parallelogram of three corners in `vertices`; with fewer than three in `vertex_count` about
 *  `position`, `length` along `axis_u` by `height` along `axis_v`. `normal` becomes square to it, on the side
 * that it pointed to. */
ZR_API void lt_area_create(light* source);
/** A tube of `length` and `radius` along `axis_u` with its middle at `position`; with `radius` 0 a line. */
ZR_API void lt_cylindrical_create(light* source);
ZR_API void lt_disk_create(light* source);
ZR_API void lt_parallel_create(light* source);
/** @} */

ZR_EXTERN_C_END

#endif
