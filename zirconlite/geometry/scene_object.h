/** @file
 *  `scene_object`: everything that a ray can hit, known to the rest only through the table of operations of
 *  its kind. There are millions of them, so an object is small and carries no data twice. */
#ifndef ZIRCONLITE_GEOMETRY_SCENE_OBJECT_H
#define ZIRCONLITE_GEOMETRY_SCENE_OBJECT_H

#include "zirconlite/types.h"

ZR_EXTERN_C_BEGIN

typedef struct document document;
typedef struct light light;
typedef struct mapping mapping;
typedef struct material material;
typedef struct material_entry material_entry;
typedef struct object_vft object_vft;
typedef struct property_node property_node;
typedef struct ray ray;
typedef struct render_view render_view;
typedef struct screen_frustum screen_frustum; /**< see search/screen_frustum.h */
typedef struct surface surface;
typedef struct voxel_node voxel_node; /**< a cell of the voxel grid */

/** The common head of every primitive; the kind's own data follow. Lives in the arena of its document. */
typedef struct scene_object
{
    struct scene_object* next; /**< link in its list */
    const object_vft* vft;     /**< operations of its kind */
    uint32_t number;    /**< place in the document's object table, in order of creation from 1. 0 in an object
                             that a host links itself: zr_build_voxel_grid numbers those, oldest first */
    uint32_t kind_word; /**< a word of the kind's own: the `axes` of a y_face; 0 where a kind has no use */
} scene_object;

/** Type ids, `object_vft.type_id`. */
enum object_type
{
    OBJECT_RMESH = 1,
    OBJECT_Y_MESH = 2,
    OBJECT_GROUND = 200,
    OBJECT_PLANT_FIRST = 300,
    OBJECT_PLANT_LAST = 306,
    OBJECT_VDPLANE = 500
};

/** Bits of `mesh_attributes.flags`, the word that `get_flags` gives. */
enum object_flag
{
    OBJECT_REVERSED = 0x2,              /**< vertex order of faces is reversed when a face is built */
    OBJECT_THIN = 0x4,                  /**< light passes as through a sheet: no refraction, no inside */
    OBJECT_NO_DIRECT_LIGHT = 0x20,      /**< takes no direct light */
    OBJECT_NO_SOLVER_SHADOW = 0x80,     /**< casts no shadow for the solver's shadow rays */
    OBJECT_NO_SHADOW = 0x100,           /**< casts no shadow for the other shadow rays */
    OBJECT_NOT_RADIOSITY = 0x200,       /**< never made a radiosity mesh */
    OBJECT_NO_WINDOW_SHADOW = 0x400,    /**< skipped by shadow rays of window lights */
    OBJECT_NO_GROUP_SHADOW = 0x800,     /**< no shadow for lights of the group of its property 6 or 7 */
    OBJECT_GROUP_UNLIT = 0x2000,        /**< not lit by lights of its group property */
    OBJECT_NO_HIGHLIGHT = 0x8000,       /**< shows no highlights */
    OBJECT_LIGHT_SHAPE = 0x10000,       /**< the visible shape of a light: property 1 */
    OBJECT_PROPERTY_6 = 0x20000,        /**< has a property of kind PROPERTY_GROUP */
    OBJECT_PROPERTY_7 = 0x40000,        /**< has one of kind PROPERTY_GLOW */
    OBJECT_PROPERTY_8 = 0x80000,        /**< has one of kind PROPERTY_GLOW_FILTERED */
    OBJECT_TABLE_MATERIAL = 0x100000,   /**< the colour table's material is the first choice */
    OBJECT_PLAIN_FILTER = 0x200000,     /**< its shadow filter is not scaled by the incidence term */
    OBJECT_INNER_REFLECTION = 0x400000, /**< reflects on its inner side, too */
    OBJECT_FACE_TABLE = 0x1000000       /**< the mesh has a per-face table, property 10 */
};

/** Modes of `set_flags`. */
enum set_flags_mode
{
    FLAGS_ASSIGN = 0,
    FLAGS_SET = 1,
    FLAGS_CLEAR = 2
};

/** Kinds of `property_node`. */
enum property_kind
{
    PROPERTY_LIGHT_SHAPE = 1, /**< payload: the light whose shape this is */
    PROPERTY_LUMINOUS = 2,
    PROPERTY_DECALS = 3,
    PROPERTY_RIPPLES = 4,
    PROPERTY_GROUP = 6,         /**< payload: a light or group */
    PROPERTY_GLOW = 7,          /**< payload: a light */
    PROPERTY_GLOW_FILTERED = 8, /**< payload: a light */
    PROPERTY_FACES = 10,        /**< payload: count; `faces` */
    PROPERTY_RPC_DECALS = 11
};

/** A property of an object or mesh. Lives in the object's arena. */
struct property_node
{
    struct property_node* next; /**< next property */
    int32_t kind;               /**< a property_kind */
    /** What the kind says. */
    union
    {
        struct light* light; /**< kinds 1, 6, 7 and 8 */
        void* list;          /**< kinds 3, 4 and 11: head of a list of decals or ripples */
        intptr_t count;      /**< kind 10: of `faces` */
    } payload;
    float factor;      /**< kind 1: 1.0 at first; -1 black, above 0 a factor. Kinds 7, 8: brightness */
    float radiance[3]; /**< kind 2 */
    float color[3];    /**< kinds 1, 7, 8: what emission adds, filled at render start; kind 2: simple mode */
    float filter[3];   /**< kind 8 */
    scene_object** faces; /**< kind 10: the last triangle of each polygon, in input order */
};

/** What all faces of one mesh share. */
typedef struct mesh_attributes
{
    uint32_t flags;            /**< OBJECT_* bits */
    material_entry* material;  /**< material of the mesh; NULL none */
    struct mapping* mapping;   /**< NULL none */
    uint8_t color[4];          /**< r, g, b, colour index */
    property_node* properties; /**< list of properties; NULL none */
} mesh_attributes;

/** One triangle, valid during the callback only. */
typedef struct triangle_visit
{
    int32_t vertex_count;           /**< 3 */
    vector3 position[3], normal[3]; /**< corners and their unit normals */
    float color[3];                 /**< the default surface's `color` x `diffuse` */
    float opacity;                  /**< luminance of `transparent_color` x `transparent` */
    float transparent_color[3];     /**< linear, 0 to 1 */
    void* extra;                    /**< as handed to the visit */
} triangle_visit;
/** Called with each triangle of an object. */
typedef void (*triangle_callback)(const triangle_visit* visit, scene_object* object);

/** What the ray test of a triangle needs, as the object itself stores it. */
typedef struct triangle_coefficients
{
    float normal[3], plane_d;       /**< unit normal and minus its product with vertex 0 */
    float edge_a[2], edge_b[2];     /**< edge functions, on the two projection axes */
    float vertex_1[2], vertex_2[2]; /**< positions on the two axes */
    int32_t axes[2];                /**< 0, 1; 0, 2; or 1, 2 */
} triangle_coefficients;

/** Operations of one kind of object. A null slot means that the kind lacks the operation. */
struct object_vft
{
    uint32_t type_id; /**< an object_type */
    /** OBJECT_* bits. */
    uint32_t (*get_flags)(const scene_object* object);
    /** The effective material; never NULL. Any thread. */
    struct material* (*get_material)(const scene_object* object);
    /** The object's colour: r, g, b, colour index. */
    void (*get_color)(const scene_object* object, uint8_t color_out[4]);
    /** The head of the list of properties; NULL none. */
    property_node* (*get_properties)(const scene_object* object);
    /** Tests the object within [t_low, t_high] and the ray's own limits. Writes only into the ray, and
     *  returns 1, if its best hit was improved; of equal distances the object with the lower number wins. */
    int32_t (*intersect)(struct ray* r, scene_object* object, double t_low, double t_high);
    /** Enters the object in the cells of a grid that it touches. */
    void (*add_to_grid)(struct voxel_node* node, scene_object* object);
    /** Enters the object in the tiles of a frustum that it covers. */
    void (*add_to_frustum)(struct screen_frustum* frustum, scene_object* object);
    /** The object's box, model units. */
    void (*get_bounds)(const scene_object* object, bounding_box* box_out);
    void (*slot_9)(void); /**< null in all tables */
    /** Calls `callback` for each triangle. */
    void (*visit_triangles)(
        scene_object* object, void* reserved_1, void* reserved_2, triangle_callback callback, void* extra);
    /** Area in square model units. */
    float (*get_area)(const scene_object* object);
    /** Copies the object's mapping; 0 if it has none. */
    int32_t (*get_mapping)(const scene_object* object, struct mapping* mapping_out);
    /** The surface at the ray's hit. Any thread. */
    void (*get_surface)(scene_object* object, struct ray* r, struct surface* surface_out);
    /** Puts a property in front of the others. */
    void (*add_property)(scene_object* object, property_node* node);
    /** Changes flags as `mode`, a set_flags_mode, says. */
    void (*set_flags)(scene_object* object, uint32_t value, int32_t mode);
    /** Gives the object, or its whole mesh, a material. */
    void (*set_material)(scene_object* object, material_entry* entry);
    /** Gives the object, or its whole mesh, a colour. */
    void (*set_color)(scene_object* object, const uint8_t color[4]);
    /** Gives the object, or its whole mesh, a mapping, kept by pointer. */
    void (*set_mapping)(scene_object* object, struct mapping* m);
    /** 1 where edges of the object are seen one by one; 0 for parts of plants, between which the pixel
     * sampler asks for fewer samples. */
    int32_t (*sharp_edges)(const scene_object* object);
    /** The record behind the attributes, equal for all faces of one mesh; NULL for kinds without one. */
    const void* (*get_identity)(const scene_object* object);
    /** Adapts the object to a camera before a render, such as a plane that faces it. */
    void (*update_for_view)(scene_object* object, render_view* view);
    /** Vertex coordinates of set 0 or 1 at the weights w0, w1, w2; 0 if a vertex has none. */
    int32_t (*get_vertex_uv)(
        const scene_object* object, int32_t set, const double weights[3], float uv_out[2]);
    /** Optional: `intersect` of `count` objects, of this kind or others, named by their numbers in `table`,
     * in one call. The results are those of one call each. Returns 1 if the ray's best hit was improved. */
    int32_t (*intersect_many)(struct ray* r, scene_object* const* table, const uint32_t* numbers,
        size_t count, double t_low, double t_high);
    /** Optional: the coefficients of an object that is one triangle, tested as those of a y_face are. */
    void (*get_triangle)(const scene_object* object, triangle_coefficients* out);
    /** Goes with get_triangle, whose searches store distance, object and weights of a hit only: works out
     * point and normals from these, as intersect does. */
    void (*complete_hit)(struct ray* r, scene_object* object);
    /** Optional: 1 when no point of the object lets light through, from either side. Shadow rays then end at
     * it without `get_surface`; they ask the surface of every kind that leaves this slot empty. Any thread.
     */
    int32_t (*is_opaque)(const scene_object* object);
};

/** The tables of the exported kinds, so that a host can identify an object. */
ZR_API const object_vft* y_mesh_get_vft(void);

/** Calls `callback` for every triangle of the document's two lists, the general one first. Returns 1. */
ZR_API int32_t zr_display_objects(document* doc, triangle_callback callback, void* extra);

ZR_EXTERN_C_END

#endif
