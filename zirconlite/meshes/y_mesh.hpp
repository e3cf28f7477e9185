/// @file
/// Internals of the render mesh that its builder and its operations share.
#pragma once

#include "zirconlite/meshes/y_mesh.h"

namespace zr
{

extern const object_vft y_mesh_vft;

/// Bytes of a face with the given parts behind it.
constexpr size_t y_face_bytes(uint32_t parts)
{
    return sizeof(y_face) + (parts & Y_FACE_UV_0 ? sizeof(float[3][2]) : 0) +
           (parts & Y_FACE_UV_1 ? sizeof(float[3][2]) : 0) +
           (parts & Y_FACE_EXTENDED ? sizeof(y_face_extension) : 0);
}

/// Corner coordinates of a set that the face carries; null when it carries none.
inline float (*y_face_corner_uv(y_face* face, int32_t set))[2]
{
    if (!(face->parts & (set == 0 ? Y_FACE_UV_0 : Y_FACE_UV_1))) { return nullptr; }
    auto* first = reinterpret_cast<float(*)[2]>(face + 1);
    return set == 1 && (face->parts & Y_FACE_UV_0) ? first + 3 : first;
}

inline y_face_extension* y_face_extension_of(y_face* face)
{
    if (!(face->parts & Y_FACE_EXTENDED)) { return nullptr; }
    auto* end =
        reinterpret_cast<unsigned char*>(face) + y_face_bytes(face->parts & ~uint32_t(Y_FACE_EXTENDED));
    return reinterpret_cast<y_face_extension*>(end);
}

} // namespace zr
