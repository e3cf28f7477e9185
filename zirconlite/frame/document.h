/** @file
 *  `document`: the whole of one scene. A flat record that the host shares: it reads and writes the settings
 *  directly and hands the record to nearly every other function. The host changes nothing while a job runs.
 */
#ifndef ZIRCONLITE_FRAME_DOCUMENT_H
#define ZIRCONLITE_FRAME_DOCUMENT_H

#include "zirconlite/display/progress.h"
#include "zirconlite/environment/environment.h"
#include "zirconlite/frame/memory.h"
#include "zirconlite/frame/render_view.h"
#include "zirconlite/types.h"

ZR_EXTERN_C_BEGIN

typedef struct scene_object scene_object;
typedef struct light light;
typedef struct sun_sky sun_sky;
typedef struct voxel_grid voxel_grid; /**< see search/voxel_grid.h */
typedef struct material_entry material_entry;
typedef struct light_cache light_cache;                   /**< see sampling/light_cache.hpp */
typedef struct prepared_environment prepared_environment; /**< what a render derives from an `environment` */
typedef struct render_worker render_worker;               /**< one worker of a render */
typedef struct rpc_mesh rpc_mesh;                         /**< a mesh whose faces take pictures from a file */
typedef struct shooter shooter;                           /**< a patch in the solver's order of brightness */
typedef struct solver_worker solver_worker;               /**< one worker of the radiosity solver */

/** Values of `document.mode`. */
enum document_mode
{
    MODE_RAYTRACE = 0,  /**< no radiosity solution */
    MODE_RADIOSITY = 1, /**< a radiosity solution is part of the document */
    MODE_SIMPLE = 2     /**< non-physical colours, 4-byte pixels, the simple gamma */
};

/** Bits of `document.state_flags`. */
enum
{
    DOCUMENT_GRID_BUILT = 0x20 /**< the last build of the acceleration structure finished */
};

/** Bits of `document.sun_sky_flags`. */
enum
{
    SUN_SKY_SUN = 0x1,      /**< a sun takes part; also the solver shoots sun and sky itself */
    SUN_SKY_INDIRECT = 0x2, /**< without SUN_SKY_DIRECT_SKY: the sky reaches surfaces through windows only */
    SUN_SKY_EXTERIOR = 0x4, /**< a sun takes part, and the solver shoots sun and sky itself */
    SUN_SKY_DIRECT_SKY = 0x8, /**< the sky's direct share stays in the shading */
    SUN_SKY_SUN_MASK = 0x5,   /**< either of the two bits that say "a sun takes part" */
    SUN_SKY_WINDOWS = 0x3     /**< the one value at which window lights are accepted */
};

/** Bits of `document.render_state`. */
enum
{
    RENDER_STATE_PREPROCESSED = 0x1,
    RENDER_STATE_FINISHED = 0x2,
    RENDER_STATE_SAVED = 0x4,  /**< the picture has been written to a file */
    RENDER_STATE_CROPPED = 0x8 /**< the render is limited to `crop` */
};

/** Bits of `document.render_flags`. */
enum
{
    RENDER_NO_SUBDIVISION = 0x2,         /**< no adaptive subdivision of pixels */
    RENDER_SOFT_SHADOWS = 0x10,          /**< jitter area-light samples at `quality` 3 and above */
    RENDER_SHARP_REFLECTION = 0x20,      /**< no glossy spread on reflections */
    RENDER_SHARP_TRANSMISSION = 0x40,    /**< no glossy spread on transmission */
    RENDER_DEPTH_OF_FIELD = 0x80,        /**< at `quality` 3 and above */
    RENDER_DIRECT_OVER_SOLUTION = 0x400, /**< direct light by rays over a radiosity solution */
    RENDER_FAST = 0x1000,                /**< passes 1 and 2 only */
    RENDER_NO_GRAZING_FILTER = 0x4000,   /**< shadow rays ignore the grazing-angle correction */
    RENDER_OBJECT_IDS = 0x8000,          /**< the image keeps an object-id plane; `quality` 3 and above */
    RENDER_DEPTH_PLANE = 0x10000         /**< the image keeps a depth plane; `quality` 3 and above */
};

/** Bits of `document.environment_flags`. */
enum
{
    ENVIRONMENT_PICTURE = 0x1, /**< `environment` shows its background picture */
    ENVIRONMENT_HAZE = 0x2,
    ENVIRONMENT_CLOUDS = 0x4,           /**< `environment` shows clouds */
    ENVIRONMENT_GROUND = 0x8,           /**< a ground plane is present */
    ENVIRONMENT_ALPHA = 0x10,           /**< an alpha plane is wanted */
    ENVIRONMENT_REFLECT_NOTHING = 0x20, /**< reflected rays that leave the scene get no background */
    ENVIRONMENT_REFLECTED_OWN = 0x40,   /**< reflected rays use `reflected_environment` */
    ENVIRONMENT_REFLECTED_PICTURE = 0x80,
    ENVIRONMENT_REFLECTED_CLOUDS = 0x100,
    ENVIRONMENT_SKY_WITHOUT_SUN = 0x200, /**< the clear sky shows though no sun takes part */
    ENVIRONMENT_CLOUDS_ALWAYS = 0x400,
    ENVIRONMENT_HDR = 0x800, /**< `environment` shows its `hdr_view` */
    ENVIRONMENT_REFLECTED_HDR = 0x1000
};

/** How direct light is gathered; `document.light_model`, see docs/light-model.md. */
enum light_model
{
    LIGHT_MODEL_FAST = 0, /**< with the shortcuts of `fast_light_shortcuts` */
    LIGHT_MODEL_EXACT = 1 /**< what physics gives for the same light sources */
};

/** The sum of `reflect_limit` and `refract_limit` stays below this. */
#define RECURSION_LIMIT_SUM 42

/** One list of objects, with the arena that holds them. */
typedef struct object_group
{
    scene_object* first;                     /**< newest first */
    scene_object *list_word_1, *list_word_2; /**< NULL; not read */
    memory_list* memory;                     /**< owned */
    int32_t totals[15]; /**< saved with radiosity solutions; [0] is the count of objects */
    double area_sum;    /**< m^2 in model units */
} object_group;

/** Index of the object count in `object_group.totals`. */
#define OBJECT_GROUP_COUNT 0

/** A node of the list of blocks that are freed with the document. */
typedef struct free_list_node
{
    struct free_list_node* next; /**< next node */
    void* block;                 /**< from zr_malloc */
} free_list_node;

/** A scene with its settings. Made by zr_open_document, closed by zr_close_document. */
typedef struct document
{
    /* Identity */
    int32_t mode;                          /**< a document_mode */
    uint32_t state_flags;                  /**< DOCUMENT_* bits */
    int32_t units;                         /**< the host's unit code; 3 and 4 are not metric */
    vector3 world_offset;                  /**< host: added to model coordinates before `model_to_world` */
    double world_to_model, model_to_world; /**< host: scale between metres and model units, each way */

    /* Preprocess progress */
    progress progress_record; /**< shown while a grid or frustum is built */
    zr_handle notify_window;  /**< command 10001 goes here when a job ends */

    /* Objects */
    object_group radiosity_objects; /**< meshes that take part in radiosity */
    object_group scene_objects;     /**< render meshes, plants and image planes */
    memory_list* misc_memory;       /**< allocations tied to the scene as a whole */
    int32_t misc_totals[15];        /**< counts saved with radiosity solutions */

    /* Lights and sky */
    light* lights;                                 /**< owned list, strongest first */
    int32_t light_count;                           /**< number of lights and groups in the list */
    uint32_t sun_sky_flags;                        /**< SUN_SKY_* bits */
    struct sun_sky* sun_sky;                       /**< owned, never NULL */
    float tone_exponent_factor, tone_scale_factor; /**< 1.0; tone operator factors while the sky is in use */

    /* Extents and acceleration */
    bounding_box bounds; /**< of the whole scene, model units; meshes make it grow */
    double epsilon; /**< model units; 1e-6 of the largest extent, 1e-6 for an empty scene before a build */
    struct voxel_grid* voxel_grid;    /**< owned acceleration structure; NULL before the first build */
    int32_t build_count, build_total; /**< objects done and in all, of a running grid build */
    int32_t build_reentered;          /**< objects entered again while a cell was split */
    int32_t frustum_invalid;          /**< 1 demands a new build of the screen frustum; builds of the search
                                           structure set it */
    material_entry* materials;        /**< owned list */
    int32_t preprocess_stop;          /**< 1 asks a running grid or frustum build to stop; atomic */
    zr_handle preprocess_thread;      /**< while a build runs; NULL otherwise */
    int32_t frame_number;             /**< host: frame of an animation */
    memory_list* voxel_memory; /**< made by the first build; zr_mem_get_alloc gives the bytes that the grid or
                                    tree holds, 0 after zr_free_voxel_grid. It has no chunks */

    /* Radiosity */
    int32_t radiosity_iterations; /**< iterations of the solver so far */
    double mesh_tolerances[4];    /**< defaults of new meshes: contrast 0.6, patch area 2.0, element area 0.5,
                                     least area 0.01 */
    double unshot_fraction;       /**< 1.0; luminance of `unshot_energy` over that of `total_energy` */
    double scene_area;            /**< host: area of all surfaces, m^2; 0 switches the ambient stand-in off */
    double ambient_gain;          /**< guarded by the ambient lock */
    int32_t radiosity_threads;    /**< threads of the solver */
    int32_t solver_pause;         /**< 1 asks the solver to stop at once; atomic */
    zr_handle solver_thread;      /**< while the solver runs; NULL otherwise */
    zr_handle solver_event;       /**< set when the solver has work */
    int32_t solver_stage;         /**< 0 while lights are shot, 1 while patches are */
    int32_t shot_count;           /**< shots done so far; the sky's stage counts as one */
    double color_bleed;           /**< desaturates shot colours and `ambient`; exponent, 0.01 to 1 */
    float total_energy[3];        /**< of the lights and the sun */
    float light_energy[3];        /**< what no shot has sent yet */
    float unshot_energy[3];       /**< `light_energy` and the unshot energy of all patches */
    int32_t vertex_visits, sample_count, ray_count, blocked_count; /**< statistics of the shots */
    shooter* shooters;                                             /**< the eight patches with most energy */
    solver_worker* solver_workers;                                 /**< while the solver runs */
    int32_t solver_worker_count;                                   /**< number of `solver_workers` */
    int32_t update_interval;            /**< milliseconds between updates of the display; 15000 */
    double mean_reflectance[3];         /**< area-weighted mean reflectance of the scene, 0 to 1 */
    double ambient[3];                  /**< guarded by the ambient lock */
    double display_peak, radiance_peak; /**< largest channel of display colours, of radiance */

    /* Render control */
    float tone_default_exponent, tone_default_scale; /**< 1.1, 1.0 */
    int32_t stop_render;                             /**< 1 asks the render to stop; atomic */
    uint32_t render_state;                           /**< RENDER_STATE_* bits */
    zr_handle render_thread;                         /**< the job thread while it runs; NULL otherwise */
    render_worker* workers;                          /**< while a render runs; NULL otherwise */
    int32_t thread_count;                            /**< workers of the current render */
    int32_t render_pass;                             /**< 1, 2 or 3 while that pass runs */
    double current_line;                             /**< line that the pass has reached */

    /* Render settings, written by the host */
    uint32_t render_flags; /**< RENDER_* bits */
    double pixel_jitter;   /**< amplitude of the sample jitter, pixels */
    int32_t crop[4];       /**< left, top, right, bottom of the rendered rectangle; written by the job */
    double sky_scale;      /**< factor of sky light */
    int32_t reflect_limit, refract_limit; /**< recursion limits; their sum below RECURSION_LIMIT_SUM */
    int32_t quality;                      /**< 1 to 5 */
    double aa_level;                      /**< 0 to 1 */
    double lens_f_stop;                   /**< > 0 where depth of field is on */
    double focus_distance;                /**< model units */
    uint32_t environment_flags;           /**< ENVIRONMENT_* bits */
    double ground_height;                 /**< metres, relative to `world_offset` */
    char16_t *ground_material_library, *ground_material_name; /**< owned; NULL none */
    int32_t fog_type;    /**< 1 dark haze, 2 haze of `fog_color`, others light haze */
    float fog_color[3];  /**< linear, 0 to 1 */
    double fog_distance; /**< metres */
    float fog_strength;  /**< 0 to 1 */
    /** @{ */
    /** what all rays see on leaving the scene, and what reflected rays see with ENVIRONMENT_REFLECTED_OWN */
    struct environment environment, reflected_environment;
    /** @} */

    /* Views */
    int32_t current_view; /**< index into `views` */
    render_view views[2]; /**< 0 the interactive view, 1 the ray-traced image */

    /* Tail */
    float ambient_intensity;         /**< simple mode: factor of `ambient_color` */
    float ambient_color[3];          /**< simple mode: 1, 1, 1 */
    free_list_node* free_list;       /**< blocks freed with the document */
    void* owned_block;               /**< from zr_malloc; freed on close */
    int32_t gloss_samples;           /**< 1; rays per glossy reflection */
    float gloss_jitter;              /**< 0.0625 */
    int32_t translucency_samples;    /**< 1; rays per rough transmission */
    float translucency_jitter;       /**< 0.0625 */
    rpc_mesh* rpc_meshes;            /**< meshes whose faces take their pictures from a file */
    material_entry* plant_materials; /**< owned list */

    /* Beyond the host's classic fields */
    double default_smooth_cosine; /**< used where an object asks with -1.0; 0 on opening, a host sets it */
    int32_t light_model;          /**< a light_model; set by zr_set_light_model, copied at job start */
    int32_t sky_light_samples;    /**< 16; zr_set_sky_light_samples */
    double background_luminance;  /**< 0; zr_set_background_luminance */
    int32_t pixel_sampler;        /**< a pixel_sampler; zr_set_pixel_sampler */
    double sampling_noise;        /**< 2; with the next three: zr_set_sampling_limits */
    int32_t min_samples, max_samples; /**< 16, 1024; of a pixel */
    double sampling_seconds;          /**< 0: no limit */
    uint32_t sampling_seed;           /**< 0 */
    int32_t indirect_light;           /**< an indirect_light; zr_set_indirect_light */
    int32_t bounce_limit;             /**< 8; diffuse bounces of a path */
    int32_t denoise;                  /**< 0; zr_set_denoising */
    struct light_cache* light_cache;  /**< owned: what the last job with INDIRECT_CACHE kept; NULL none */
    double clamp_indirect;            /**< 0; of one sample, in log-average luminances; 0 never */
    int32_t light_early_stop;         /**< 0; zr_set_light_early_stop */
    prepared_environment* prepared_environments[2]; /**< owned: what renders work out from the two records */
    scene_object** object_table;                    /**< object by number; entry 0 is NULL */
    uint32_t object_table_count, object_table_capacity; /**< entries in use and allocated */
} document;

/** A new document with its defaults: quality, limits, `sky_scale`, the world scales and `scene_area` stay 0
 *  until the host sets them. The caller closes it. NULL when memory is exhausted. */
ZR_API document* zr_open_document(void);

/** Frees a document and all that it owns. No job may run. Returns 1; 0 for NULL or while a job runs. */
ZR_API int32_t zr_close_document(document* doc);

/** Empties the scene and keeps the settings, so that it can be sent again. No job may run. Returns 1; 0 for
 *  NULL or while a job runs. */
ZR_API int32_t zr_wipe_document(document* doc);

/** Sets the document that the display shows. 0 when no display is started. */
ZR_API int32_t zr_change_document(document* doc);

/** 0 for unit codes 3 and 4, else 1. */
ZR_API int32_t zr_is_doc_metric(const document* doc);

/** Kept for hosts that call it; does nothing. */
ZR_API void zr_document_reload(void);

/** Frees the blocks of the document's free list; returns 1. */
ZR_API int32_t zr_free_doc_free_list(document* doc);

/** Pushes `block` (from zr_malloc) on the free list. Returns 1, 0 when memory fails. */
ZR_API int32_t free_list_add(document* doc, void* block);
/** Frees `old_block`, a member of the list; `new_block` takes its place, or with NULL the node goes. 0 when
 *  `old_block` is not on the list. */
ZR_API int32_t free_list_swap(document* doc, void* old_block, void* new_block);
/** free_list_swap, else free_list_add: 1 swapped, 2 added, 0 when memory fails. */
ZR_API int32_t free_list_replace(document* doc, void* old_block, void* new_block);

/** Polls a word shared with another thread every `interval_ms`: until it is 0 with a `mask` of 0, else until
 *  it has a bit of `mask`. Returns the value last seen. */
ZR_API uint32_t zr_wait_for_state_variable_ex(const uint32_t* variable, int32_t interval_ms, uint32_t mask);
/** The same with 100 ms and mask 0xffffff. */
ZR_API uint32_t zr_wait_for_state_variable(const uint32_t* variable);

/** A filter that render and radiosity threads install when they start; NULL for none. It is called with the
 *  number of a fatal signal in such a thread, may show a last message, and must not return to the work. */
typedef void (*zr_exception_handler)(int32_t signal_number);
/** Installs the filter; NULL takes it away. Host's thread, while no job runs. */
ZR_API void zr_install_exception_handler(zr_exception_handler handler);

/** Chooses how direct light is gathered in `doc` from the next job on; an unknown model changes
 *  nothing. Returns the model in force before. */
ZR_API int32_t zr_set_light_model(document* doc, int32_t model);

/** Rays that each point sends to the sky and the environment in the exact light model, 0 to 4096; 0 takes
 * their light away. Coarse passes and faint reflections send fewer. Counts from the next job on. Returns the
 * number in force before, also when it refuses a new one. */
ZR_API int32_t zr_set_sky_light_samples(document* doc, int32_t count);

/** Whether the exact light model with the strips sampler tests the strongest lights of a point and some of
 *  the rest, whose mean transmission then stands for those that are left. Counts from the next job on.
 *  Returns the value in force before. */
ZR_API int32_t zr_set_light_early_stop(document* document, int32_t on);

/** Luminance that a background colour of 1 stands for as a light, in cd/m^2, for flat colours, gradients and
 *  pictures of 8 bits; hdr pictures have their own. With 0 it is the strength of the sky where a sun takes
 * part, and without a sun such backgrounds are seen but give no light. Returns the value in force before,
 * also when it refuses a new one (below 0, above 1e12). */
ZR_API double zr_set_background_luminance(document* doc, double luminance);

/** The object with this number, in constant time; NULL for 0 and unknown numbers. */
ZR_API scene_object* zr_object_from_number(const document* doc, uint32_t number);

ZR_EXTERN_C_END

#endif
