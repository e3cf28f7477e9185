/** @file
 *  `y_mesh`, the plain render mesh: triangles with everything that a ray test needs worked out beforehand,
 *  over vertices that smooth faces share. */
#ifndef ZIRCONLITE_MESHES_Y_MESH_H
#define ZIRCONLITE_MESHES_Y_MESH_H

#include "zirconlite/meshes/mesh_build.h"

ZR_EXTERN_C_BEGIN

/** A vertex of a render mesh, in f32. */
typedef struct y_vertex
{
    float position[3]; /**< model units */
    float normal[3];   /**< unit normal, smoothed where faces share it */
    packed_uv uv[2];   /**< texture coordinates of the two sets */
} y_vertex;

/** Bits of `y_face.parts`: what follows the face in memory, in this order. */
enum
{
    Y_FACE_UV_0 = 0x1,    /**< f32 pairs of set 0 for corners 0, 1, 2 */
    Y_FACE_UV_1 = 0x2,    /**< the same of set 1 */
    Y_FACE_EXTENDED = 0x4 /**< a y_face_extension */
};

/** One triangle. `head.kind_word` is its `axes`: bits 28 to 31 the first projection axis, 24 to 27 the
 * second; six nibbles from the lowest name for min x, min y, min z, max x, max y, max z the vertex (0 to 2)
 * that holds that extreme. So a face needs no stored box. */
typedef struct y_face
{
    scene_object head;           /**< the common head */
    mesh_attributes* attributes; /**< what all faces of the mesh share */
    float normal[3];             /**< unit geometric normal; zero for a degenerate face, which is never hit */
    float plane_d;               /**< minus the normal times vertex 0 */
    float edge_a_first, edge_b_first;   /**< edge functions, coefficient on the first projection axis */
    float edge_a_second, edge_b_second; /**< and on the second */
    y_vertex* vertex[3];                /**< corners in order */
    float area;                         /**< square model units */
    uint32_t parts;                     /**< Y_FACE_* bits */
} y_face;

/** Further fields of an extended face. */
typedef struct y_face_extension
{
    float corner_u[3], corner_v[3]; /**< texture coordinates of the corners */
    int32_t image_id;               /**< number of the face's picture */
} y_face_extension;

/** One normal variant of an input vertex, while a mesh is built. */
typedef struct vertex_entry
{
    struct vertex_entry* next; /**< next variant of the same input vertex */
    y_vertex* vertex;          /**< the vertex of this variant */
    int32_t use_count;         /**< faces whose normals the vertex normal is the mean of */
} vertex_entry;

/** Makes a face over three input vertices and returns it unlinked and unnumbered; NULL when memory fails. The
 *  host links it at the head of `document.scene_objects`, raises the count there and lets `document.bounds`
 * grow to it; the next zr_build_voxel_grid numbers it. `vtx_table` has one entry per input vertex; `head`
 * gives next and vft. With `keep_vertices` the first entries are used as they are, without smoothing. */
ZR_API y_face* y_mesh_add_face(mesh_build* build, vertex_entry* vtx_table, const int32_t indices[3],
    const scene_object* head, mesh_attributes* attributes, int32_t keep_vertices);
/** The same, with room for a y_face_extension when `extended` is not 0. */
ZR_API y_face* y_mesh_add_face_ex(mesh_build* build, vertex_entry* vtx_table, const int32_t indices[3],
    const scene_object* head, mesh_attributes* attributes, int32_t keep_vertices, int32_t extended);
/** Frees the chained entries of a table of `count`, then the table; NULL does nothing. */
ZR_API void free_vtx_table(vertex_entry* vtx_table, int32_t count);

ZR_EXTERN_C_END

#endif
