/** @file
 *  The vector and matrix kernel: frames from an axis and an angle, a general inverse, box corners, and the
 *  packed forms of normals and texture coordinates. Nothing here allocates or fails with a message. */
#ifndef ZIRCONLITE_GEOMETRY_VECTOR_H
#define ZIRCONLITE_GEOMETRY_VECTOR_H

#include "zirconlite/types.h"

ZR_EXTERN_C_BEGIN

/** Two unit vectors square to `axis`. An axis whose x and y are both below `tolerance` in size runs along z
 *  and gives u = (z, 0, -x); any other u = (-y, x, 0). v = axis x u. Returns 1. */
ZR_API int32_t zr_make_axes(const vector3* axis, vector3* u_out, vector3* v_out, double tolerance);

/** Writes the rotation by `angle` (radians) about the unit vector `axis` (Rodrigues' formula) into the upper
 *  left 3 by 3 of `matrix` and leaves the rest alone. Returns 1. */
ZR_API int32_t fill_rotation_matrix(const vector3* axis, double angle, matrix4* matrix);

/** World to frame: moves `origin` to 0, turns by `angle` about the unit vector `axis`, and reads off the
 *  coordinates along u, v (from zr_make_axes with 1e-5) and `axis`. Returns 1. */
ZR_API int32_t zr_build_matrix(const vector3* axis, const vector3* origin, double angle, matrix4* matrix_out);
/** The same with u = `u_axis` as given and v = `axis` x `u_axis`. Returns 1. */
ZR_API int32_t zr_build_matrix_ex(
    const vector3* axis, const vector3* u_axis, const vector3* origin, double angle, matrix4* matrix_out);
/** zr_build_matrix without the origin. Returns 1. */
ZR_API int32_t zr_build_rt_matrix(const vector3* axis, double angle, matrix4* matrix_out);

/** Gauss-Jordan inverse with full pivoting. Returns the pivots found, 0 to 4; below 4 the matrix is singular
 *  and `destination` holds nothing of use. `inverse_determinant_out` and `smallest_pivot_out` are set to 0
 *  first. */
ZR_API int32_t InvertMatrix(
    const matrix4* source, matrix4* destination, double* inverse_determinant_out, double* smallest_pivot_out);

/** 1 if the transform mirrors: the determinant of its 3 by 3 part is below 0. */
ZR_API int32_t zr_transform_reverses_normals(const matrix4* matrix);

/** One over the length of each column of the 3 by 3 part; 0 for a column of length 0. Returns 1. */
ZR_API int32_t zr_transform_get_inverse_scale(const matrix4* matrix, double scale_out[3]);

/** Row i of `r_out` is row i of `matrix` times the inverse scale i; `t_out` the same times `factor`. The
 *  fourth row of both is that of `matrix`. Returns 1. */
ZR_API int32_t zr_transform_make_r_and_t(
    const matrix4* matrix, matrix4* r_out, matrix4* t_out, double factor);

/** The eight corners: the lower ring counter-clockwise seen from above, from the minimum on, then the upper
 *  ring. Returns 1. */
ZR_API int32_t zr_get_bounding_box_points(const bounding_box* box, vector3 points_out[8]);
/** The six sides as closed loops of four corners: lower, upper, then the four between. Returns 1. */
ZR_API int32_t zr_get_bounding_box_sides(const bounding_box* box, vector3 sides_out[6][4]);

/** Packs two coordinates: trunc(f x 65534 + 1); below 0 or above 1 gives 0, "none". Returns 1. */
ZR_API int32_t zr_prim_float_to_uv(const float uv[2], packed_uv* packed_out);
/** Unpacks; an absent coordinate gives -1.0. Returns 1 if both are present, else 0. */
ZR_API int32_t zr_prim_uv_to_float(packed_uv packed, float uv_out[2]);

/** Area of a planar polygon of f32 points, signed along `normal`. */
ZR_API double signed_polygon_area(const float (*vertices)[3], int32_t count, const float normal[3]);

ZR_EXTERN_C_END

#endif
