/** @file
 *  How a host hands a polygon mesh to the library: `mesh_build` and zr_create_mesh. */
#ifndef ZIRCONLITE_MESHES_MESH_BUILD_H
#define ZIRCONLITE_MESHES_MESH_BUILD_H

#include "zirconlite/frame/memory.h"
#include "zirconlite/geometry/scene_object.h"

ZR_EXTERN_C_BEGIN

/** One polygon: indices into the vertices. Fewer than 3 corners give nothing. */
typedef struct mesh_polygon
{
    int32_t vertex_count;   /**< corners of the polygon */
    const int32_t* indices; /**< `vertex_count` of them, each from 0 to the mesh's vertex count - 1 */
} mesh_polygon;

/** The shape of a mesh. Read only during the call; the caller keeps it. */
typedef struct mesh_geometry
{
    int32_t vertex_count;         /**< number of `vertices` */
    const vector3* vertices;      /**< model units; finite */
    int32_t polygon_count;        /**< number of `polygons` */
    const mesh_polygon* polygons; /**< the faces */
    /** Optional texture coordinates per polygon corner, for the two sets: f32 pairs in the order of the
     *  corners of all polygons, as many pairs as the polygons' `vertex_count` add up to; any finite value.
     *  NULL none. Copied. */
    const float (*corner_uv[2])[2];
} mesh_geometry;

/** The part of the host's object record that the library reads. */
typedef struct object_descriptor
{
    uint32_t flags;            /**< OBJECT_* bits */
    double smooth_cosine;      /**< limit for shared vertex normals; -1.0: the document's default */
    struct mapping* mapping;   /**< NULL none; kept by pointer */
    int32_t luminous;          /**< 1: glows with `luminous_color` x (30001 ^ `brightness` - 1), cd/m^2 */
    float brightness;          /**< 0 to 1; with OBJECT_PROPERTY_7 and 8 that of the glow */
    float luminous_color[3];   /**< linear, 0 to 1 */
    void *decals, *ripples;    /**< lists of decals and of `ripple` records; NULL none */
    matrix4 transform;         /**< model to world of the object */
    char16_t* rpc_path;        /**< file of pictures for the faces; NULL none */
    void* rpc_settings;        /**< settings for that file; NULL none */
    int32_t rpc_settings_size; /**< bytes of `rpc_settings` */
} object_descriptor;

/** Bits of `mesh_build.build_flags`. */
enum
{
    MESH_FACE_TABLE = 0x2 /**< a per-face table is wanted */
};

/** Statistics that a build raises. */
typedef struct mesh_counters
{
    /** @{ */
    /** vertices, faces, and records of faces with a table, made so far */
    int32_t vertices, faces, face_records;
    /** @} */
} mesh_counters;

/** The argument of zr_create_mesh. Lists and totals are normally those of the document's
 *  `scene_objects`, see zr_init_mesh_build. */
typedef struct mesh_build
{
    object_descriptor* descriptor;   /**< the host's object; kept by the caller */
    struct light* light;             /**< for property 1 */
    struct light* group_light;       /**< for properties 6 to 8 */
    material_entry* material;        /**< material of the mesh; NULL none */
    void** rmesh_list_head;          /**< list of radiosity meshes */
    scene_object** object_list_head; /**< receives the faces, newest first */
    memory_list* objects;            /**< arena for objects and vertices */
    int32_t* object_count;           /**< raised by one for each face */
    mesh_counters* counters;         /**< NULL none */
    const mesh_geometry* geometry;   /**< the shape */
    bounding_box* bounds;            /**< grows with the vertices */
    double* total_area;              /**< grows with the faces */
    uint8_t color[4];                /**< r, g, b, colour index */
    uint8_t build_flags;             /**< MESH_* bits */
    int32_t face_count;              /**< size of the per-face table: the polygon count */
} mesh_build;

/** Fills `build` with the document's own lists, arena, bounds and totals, zero elsewhere. Returns 1. */
ZR_API int32_t zr_init_mesh_build(document* doc, mesh_build* build);

/** Builds a mesh and enters its faces in the document: in MODE_RADIOSITY, and without OBJECT_NOT_RADIOSITY,
 * as one that takes part in radiosity. Returns 1; 0 when the mesh has no vertices, an index or coordinate is
 * out of range or not finite, or memory fails (see zr_last_error). Indices and coordinates are checked before
 * anything is built; after a failure of memory the faces made so far stay. */
ZR_API int32_t zr_create_mesh(document* doc, mesh_build* build);

ZR_EXTERN_C_END

#endif
