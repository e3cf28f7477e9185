/// @file
/// From materials to records. A list is stored with its head first; each chunk is appended empty and
/// filled when the offsets that it links to are known.
#include "zirconlite/frame/bytes.hpp"
#include "zirconlite/libraries/material_records.hpp"
#include "zirconlite/materials/blend.h"
#include "zirconlite/materials/bumps.h"
#include "zirconlite/materials/mat_image.h"

namespace
{

enum bump_record_kind : uint32_t
{
    bump_rubble = 1,
    bump_sandpaper = 2,
    bump_pyramid = 3
};

uint32_t write_material(zr::library_file& lib, material& m, uint32_t parent, int depth, int& parts_left);
uint32_t write_simple(zr::library_file& lib, const simple_material& m, uint32_t parent, int& parts_left);
uint32_t write_complex(
    zr::library_file& lib, const complex_material& m, uint32_t parent, int depth, int& parts_left);
bool write_bumps(zr::library_file& lib, const bump* first, uint32_t* head, int& parts_left);
bool write_images(zr::library_file& lib, const mat_image* first, uint32_t* head, int& parts_left);
bool take_part(zr::library_file& lib, int& parts_left);
uint32_t append_empty(zr::library_file& lib, uint32_t size);
uint8_t* put_3(uint8_t* at, const vector3& v);
template <class T> uint8_t* put_3(uint8_t* at, const T (&v)[3]);

} // namespace

namespace zr
{

uint32_t write_material_record(library_file& lib, material& m, uint32_t parent)
{
    int parts_left = max_record_parts;
    return write_material(lib, m, parent, 0, parts_left);
}

} // namespace zr

namespace
{

/// The offset; 0 on failure.
uint32_t write_material(zr::library_file& lib, material& m, uint32_t parent, int depth, int& parts_left)
{
    if (!take_part(lib, parts_left)) { return 0; }
    m.flags |= MATERIAL_FLOAT_LUMINOSITY;
    if (!(m.flags & MATERIAL_COMPLEX))
    {
        return write_simple(lib, reinterpret_cast<const simple_material&>(m), parent, parts_left);
    }
    if (depth < zr::max_record_depth)
    {
        return write_complex(lib, reinterpret_cast<const complex_material&>(m), parent, depth, parts_left);
    }
    zr::fail_in_library(lib, 0, zr::fail(ZR_ERROR_LIMIT, "a material nests deeper than %d", depth));
    return 0;
}

uint32_t write_simple(zr::library_file& lib, const simple_material& m, uint32_t parent, int& parts_left)
{
    uint32_t bumps = 0, images = 0;
    if (!write_bumps(lib, m.bumps, &bumps, parts_left) || !write_images(lib, m.images, &images, parts_left))
    {
        return 0;
    }
    uint8_t bytes[zr::simple_record_bytes];
    uint8_t* at = zr::put_u32(zr::put_u32(bytes, parent), m.head.flags | MATERIAL_STORES_OWN);
    at = zr::put_f32(zr::put_f32(zr::put_f32(at, m.opacity), m.diffuse_share), m.translucent_share);
    at = put_3(put_3(at, m.color), m.reflect_color);
    at = zr::put_f32(zr::put_f32(at, m.ior), m.attenuation);
    at = zr::put_u32(zr::put_u32(at, bumps), images);
    at = zr::put_f32(at, m.head.flags & MATERIAL_STORES_LUMINOSITY ? m.luminosity : 0.0f);
    at = put_3(at, m.own_highlight_color);
    zr::put_f32(zr::put_f32(at, m.own_highlight), m.own_strength);
    return zr::append(lib, bytes, sizeof(bytes));
}

uint32_t write_complex(
    zr::library_file& lib, const complex_material& m, uint32_t parent, int depth, int& parts_left)
{
    const int32_t code = zr_get_blend_kind(&m.head);
    const uint32_t kind = code >= 0 ? uint32_t(code) : m.blend ? 0 : m.stored_kind;
    uint32_t mask = 0;
    if (kind == BLEND_KIND_MASK)
    {
        uint8_t chunk[zr::mask_record_bytes] = {};
        const uint32_t path = zr_file_add_string(&lib, m.params.mask ? m.params.mask->path : u"");
        zr::put_u32(chunk, path);
        mask = path ? zr::append(lib, chunk, sizeof(chunk)) : 0;
        if (!mask) { return 0; }
    }
    uint8_t bytes[zr::complex_record_bytes] = {};
    uint8_t* at = zr::put_u32(zr::put_u32(bytes, parent), m.head.flags);
    at = zr::put_u32(at + 8, kind);
    at = zr::put_f32(put_3(at, m.axis), m.rotation);
    at = put_3(at, vector3{ zr::guarded_reciprocal(m.scale.x), zr::guarded_reciprocal(m.scale.y),
                       zr::guarded_reciprocal(m.scale.z) });
    at = zr::put_u32(put_3(at, m.origin), m.blend_flags);
    at = zr::put_u32(at, uint32_t(m.params.octaves));
    at = zr::put_f32(zr::put_f32(at, m.params.ratio[0]), m.params.ratio[1]);
    at = zr::put_f32(zr::put_f32(at, m.params.turbulence[0]), m.params.softness[0]);
    at = put_3(put_3(at, m.params.color_jitter), m.params.coordinate_jitter);
    const vector3& offset = m.params.tile_offset;
    if (kind == BLEND_KIND_TILE) { at = put_3(at, vector3{ offset.x, 0.0, 0.0 }); }
    else if (kind == BLEND_KIND_CLEAR_FINISH || kind > BLEND_KIND_ANGULAR) { at = put_3(at, offset); }
    else { at += 12; }
    zr::put_u32(at, mask);
    const uint32_t place = zr::append(lib, bytes, sizeof(bytes));
    for (uint32_t i = 0; i < 2 && place; ++i)
    {
        // A child that is missing is the default material when read.
        const uint32_t child =
            m.children[i] ? write_material(lib, *m.children[i], place, depth + 1, parts_left) : 0;
        if ((m.children[i] && !child) || !zr::write_u32_at(lib, uint64_t(place) + 8 + 4 * i, child))
        {
            return 0;
        }
    }
    return place;
}

bool write_bumps(zr::library_file& lib, const bump* first, uint32_t* head, int& parts_left)
{
    uint32_t place = first ? append_empty(lib, zr::bump_record_bytes) : 0;
    *head = place;
    for (const bump* b = first; b; b = b->next)
    {
        const uint32_t next = b->next ? append_empty(lib, zr::bump_record_bytes) : 0;
        if (!take_part(lib, parts_left) || !place || (b->next && !next)) { return false; }
        const uint32_t kind = b->function == zr_bump_pyramid     ? bump_pyramid
                              : b->function == zr_bump_sandpaper ? bump_sandpaper
                                                                 : bump_rubble;
        uint8_t bytes[zr::bump_record_bytes] = {};
        uint8_t* at = zr::put_u32(zr::put_u32(bytes, next), kind);
        at = zr::put_f32(put_3(at, b->axis), b->rotation);
        zr::put_f32(put_3(put_3(at, b->origin), b->scale), float(b->strength));
        if (!zr::write_at(lib, place, bytes, sizeof(bytes))) { return false; }
        place = next;
    }
    return true;
}

bool write_images(zr::library_file& lib, const mat_image* first, uint32_t* head, int& parts_left)
{
    uint32_t place = first ? append_empty(lib, zr::image_record_bytes) : 0;
    *head = place;
    for (const mat_image* image = first; image; image = image->next)
    {
        const uint32_t next = image->next ? append_empty(lib, zr::image_record_bytes) : 0;
        const uint32_t path = zr_file_add_string(&lib, image->path);
        if (!take_part(lib, parts_left) || !place || !path || (image->next && !next)) { return false; }
        const mat_key none = {};
        const mat_key& key = image->key ? *image->key : none;
        uint8_t bytes[zr::image_record_bytes];
        uint8_t* at = zr::put_u32(zr::put_u32(zr::put_u32(bytes, next), path), image->flags);
        at = zr::put_f32(put_3(at, image->axis), image->rotation);
        at = put_3(at, image->origin);
        at = zr::put_f32(zr::put_f32(at, float(image->scale[0])), float(image->scale[1]));
        at = zr::put_f32(zr::put_f32(zr::put_f32(at, 1.0f), image->strength), image->bump_strength);
        at = zr::put_u32(zr::put_u32(at, uint32_t(key.kind)), key.flags);
        zr::put_f32(zr::put_f32(put_3(at, key.color), key.tolerance), key.feather);
        if (!zr::write_at(lib, place, bytes, sizeof(bytes))) { return false; }
        place = next;
    }
    return true;
}

bool take_part(zr::library_file& lib, int& parts_left)
{
    if (parts_left-- > 0) { return true; }
    return zr::fail_in_library(
        lib, 0, zr::fail(ZR_ERROR_LIMIT, "a material of more than %d parts", zr::max_record_parts));
}

uint32_t append_empty(zr::library_file& lib, uint32_t size)
{
    const uint8_t zeros[zr::image_record_bytes] = {};
    return zr::append(lib, zeros, size);
}

uint8_t* put_3(uint8_t* at, const vector3& v)
{
    return zr::put_f32(zr::put_f32(zr::put_f32(at, float(v.x)), float(v.y)), float(v.z));
}

template <class T> uint8_t* put_3(uint8_t* at, const T (&v)[3])
{
    for (const T value : v) { at = zr::put_f32(at, float(value)); }
    return at;
}

} // namespace
