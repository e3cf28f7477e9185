/// @file
/// From records to materials. Numbers that are not finite read as 0.
#include <cmath>
#include <stdlib.h>

#include <iterator>

#include "zirconlite/frame/bytes.hpp"
#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/imagefiles/bitmap_store.h"
#include "zirconlite/libraries/material_records.hpp"
#include "zirconlite/materials/blend.h"
#include "zirconlite/materials/bumps.h"
#include "zirconlite/materials/mat_image.h"
#include "zirconlite/materials/material_list.hpp"
#include "zirconlite/platform/text.hpp"

namespace platform = zr::platform;

namespace
{

constexpr uint32_t luminosity_end = 64, plain_simple_bytes = 60; // of simple records without later fields
constexpr uint32_t plain_complex_bytes = 108, offset_complex_bytes = 120;
constexpr uint32_t path_limit_bytes = 1024;

/// One record being read.
struct record_reading
{
    zr::library_file& lib;
    zr::record_pictures pictures;
    int parts_left;
};

material* read_material(record_reading& r, uint32_t offset, int depth);
material* read_simple(record_reading& r, uint32_t offset, uint32_t flags);
material* read_complex(record_reading& r, uint32_t offset, uint32_t flags, int depth);
bool read_images(record_reading& r, uint32_t at, simple_material& m);
bool read_bumps(record_reading& r, uint32_t at, simple_material& m);
bool read_mask(record_reading& r, uint32_t at, complex_material& m);
bitmap* read_picture(record_reading& r, char16_t (&path)[512]);
bool read_path(record_reading& r, uint32_t at, char16_t (&path)[512]);
bool take_part(record_reading& r, uint32_t at);
bool is_zero(const double axis[3]);
float finite(zr::byte_reader& in);
template <class T> void finite(zr::byte_reader& in, T (&out)[3]);
void finite(zr::byte_reader& in, vector3& out);

} // namespace

namespace zr
{

double guarded_reciprocal(double x)
{
    if (std::fabs(x) >= geometry_zero) { return 1.0 / x; }
    return x >= 0.0 ? ZR_FAR : far_below; // NaN too
}

material* read_material_record(library_file& lib, uint32_t offset, record_pictures pictures)
{
    record_reading r = { lib, pictures, max_record_parts };
    return read_material(r, offset, 0);
}

} // namespace zr

namespace
{

material* read_material(record_reading& r, uint32_t offset, int depth)
{
    uint32_t flags = 0;
    if (!take_part(r, offset)) { return nullptr; }
    if (offset == 0) { return zr::new_default_material(); }
    if (!zr::read_u32_at(r.lib, uint64_t(offset) + 4, &flags)) { return nullptr; }
    if (!(flags & MATERIAL_COMPLEX)) { return read_simple(r, offset, flags); }
    if (depth < zr::max_record_depth) { return read_complex(r, offset, flags, depth); }
    zr::fail_in_library(r.lib, offset, zr::fail(ZR_ERROR_LIMIT, "a material nests deeper than %d", depth));
    return nullptr;
}

material* read_simple(record_reading& r, uint32_t offset, uint32_t flags)
{
    const uint32_t length = flags & MATERIAL_STORES_OWN          ? zr::simple_record_bytes
                            : flags & MATERIAL_STORES_LUMINOSITY ? luminosity_end
                                                                 : plain_simple_bytes;
    uint8_t bytes[zr::simple_record_bytes] = {};
    if (!zr::read_at(r.lib, offset, bytes, length)) { return nullptr; }
    material* made = new_simple_material();
    if (!made) { return nullptr; }
    auto& m = *reinterpret_cast<simple_material*>(made);
    zr::byte_reader in(bytes, sizeof(bytes));
    in.skip(8);
    made->flags = flags;
    m.opacity = finite(in);
    m.diffuse_share = finite(in);
    m.translucent_share = finite(in);
    finite(in, m.color);
    finite(in, m.reflect_color);
    m.ior = finite(in);
    m.attenuation = finite(in);
    const uint32_t bumps = in.u32();
    const uint32_t images = in.u32();
    if (flags & MATERIAL_STORES_LUMINOSITY)
    {
        m.luminosity = flags & MATERIAL_FLOAT_LUMINOSITY ? finite(in) : float(in.i32());
    }
    else { in.skip(4); }
    if (flags & MATERIAL_STORES_OWN)
    {
        finite(in, m.own_highlight_color);
        m.own_highlight = finite(in);
        m.own_strength = finite(in);
    }
    zr_update_material_weights(made);
    m.highlight = m.reflect_share * 300.0f + 1.0f;
    for (int i = 0; i < 3; ++i) { m.translucent_color[i] = m.transparent_color[i] = m.color[i]; }
    if (read_bumps(r, bumps, m) && read_images(r, images, m)) { return made; }
    free_material(made);
    return nullptr;
}

material* read_complex(record_reading& r, uint32_t offset, uint32_t flags, int depth)
{
    uint8_t bytes[zr::complex_record_bytes] = {};
    if (!zr::read_at(r.lib, offset, bytes, plain_complex_bytes)) { return nullptr; }
    const uint32_t kind = zr::byte_reader(bytes + 16, 4).u32();
    const bool is_known = kind <= BLEND_KIND_ANGULAR;
    const bool has_offset = kind == BLEND_KIND_TILE || kind == BLEND_KIND_CLEAR_FINISH || !is_known;
    const bool has_mask = kind == BLEND_KIND_MASK;
    if (has_mask || has_offset)
    {
        const uint32_t length = has_mask ? zr::complex_record_bytes : offset_complex_bytes;
        if (!zr::read_at(r.lib, offset, bytes, length)) { return nullptr; }
    }
    material* made = new_complex_material();
    if (!made) { return nullptr; }
    auto& m = *reinterpret_cast<complex_material*>(made);
    zr::byte_reader in(bytes, sizeof(bytes));
    in.skip(8);
    made->flags = flags;
    const uint32_t children[2] = { in.u32(), in.u32() };
    in.skip(4);
    finite(in, m.axis);
    m.rotation = finite(in);
    vector3 size;
    finite(in, size);
    m.scale = { zr::guarded_reciprocal(size.x), zr::guarded_reciprocal(size.y),
        zr::guarded_reciprocal(size.z) };
    finite(in, m.origin);
    m.blend_flags = in.u32();
    m.params.octaves = in.i32();
    m.params.ratio[0] = finite(in);
    m.params.ratio[1] = finite(in);
    m.params.ratio[2] = 1.0f;
    const float turbulence = finite(in), softness = finite(in);
    for (int i = 0; i < 3; ++i)
    {
        m.params.turbulence[i] = turbulence;
        m.params.softness[i] = softness;
    }
    finite(in, m.params.color_jitter);
    finite(in, m.params.coordinate_jitter);
    if (has_offset) { finite(in, m.params.tile_offset); }
    else { in.skip(12); }
    const uint32_t mask = in.u32();
    if (m.axis.x == 0.0 && m.axis.y == 0.0 && m.axis.z == 0.0) { m.axis = { 0.0, 0.0, 1.0 }; }
    m.stored_kind = kind;
    zr_update_pattern_transform(made);
    if (is_known) { zr_set_blend_kind(made, int32_t(kind)); }
    bool is_good = !has_mask || read_mask(r, mask, m);
    for (int i = 0; i < 2 && is_good; ++i)
    {
        m.children[i] = read_material(r, children[i], depth + 1);
        is_good = m.children[i] != nullptr;
        if (is_good) { m.children[i]->parent = made; }
    }
    if (is_good) { return made; }
    free_material(made);
    return nullptr;
}

bool read_images(record_reading& r, uint32_t at, simple_material& m)
{
    for (mat_image** link = &m.images; at != 0; link = &(*link)->next)
    {
        uint8_t bytes[zr::image_record_bytes];
        if (!take_part(r, at) || !zr::read_at(r.lib, at, bytes, sizeof(bytes))) { return false; }
        mat_image* image = zr_new_mat_image();
        if (!image) { return false; }
        *link = image;
        zr::byte_reader in(bytes, sizeof(bytes));
        at = in.u32();
        const uint32_t path = in.u32();
        image->flags = in.u32();
        finite(in, image->axis);
        image->rotation = finite(in);
        finite(in, image->origin);
        for (int i = 0; i < 2; ++i) { image->size[i] = zr::guarded_reciprocal(finite(in)); }
        in.skip(4);
        image->strength = finite(in);
        image->bump_strength = finite(in);
        image->key->kind = in.i32();
        image->key->flags = in.u32();
        finite(in, image->key->color);
        image->key->tolerance = finite(in);
        image->key->feather = finite(in);
        if (is_zero(image->axis)) { image->axis[2] = 1.0; }
        zr_update_mat_image(image);
        zr_update_mat_key(image->key);
        if (!read_path(r, path, image->path)) { return false; }
        image->bitmap = read_picture(r, image->path);
    }
    return true;
}

bool read_bumps(record_reading& r, uint32_t at, simple_material& m)
{
    bump** end = &m.bumps;
    while (at != 0)
    {
        uint8_t bytes[zr::bump_record_bytes];
        if (!take_part(r, at) || !zr::read_at(r.lib, at, bytes, sizeof(bytes))) { return false; }
        zr::byte_reader in(bytes, sizeof(bytes));
        at = in.u32();
        const int32_t kind = in.i32();
        double axis[3], origin[3], scale[3];
        finite(in, axis);
        const double rotation = finite(in);
        finite(in, origin);
        finite(in, scale);
        const double strength = finite(in);
        if (is_zero(axis)) { axis[2] = 1.0; }
        // Each joins an empty list, so that a long one is not walked for every bump.
        bump* const first = m.bumps;
        m.bumps = nullptr;
        const bool is_added = zr_add_bump(&m.head, kind, axis, origin, rotation, scale, strength) != 0;
        bump* const added = m.bumps;
        m.bumps = first;
        if (!is_added) { return false; }
        if (added->function == zr_bump_pyramid) { added->flags |= BUMP_MAPPED; }
        *end = added;
        end = &added->next;
    }
    return true;
}

/// A mask that has no picture keeps its path; the first child is then used everywhere.
bool read_mask(record_reading& r, uint32_t at, complex_material& m)
{
    if (at == 0) { return true; }
    uint32_t path = 0;
    if (!zr::read_u32_at(r.lib, at, &path)) { return false; }
    auto* mask = static_cast<mask_source*>(zr_calloc(1, sizeof(mask_source)));
    if (!mask) { return zr::fail_in_library(r.lib, at, zr::fail(ZR_ERROR_MEMORY, "no memory for a mask")); }
    mask->references = 1;
    m.params.mask = mask;
    if (!read_path(r, path, mask->path)) { return false; }
    mask->bitmap = read_picture(r, mask->path);
    return true;
}

/// The picture, `path` becoming the one it was found under; null, with the path kept, when there is none.
bitmap* read_picture(record_reading& r, char16_t (&path)[512])
{
    if (r.pictures == zr::record_pictures::skip || !path[0]) { return nullptr; }
    bitmap_format record = {};
    if (!platform::copy_text(record.path, std::size(record.path), path))
    {
        zr::fail_in_library(r.lib, 0,
            zr::fail(ZR_ERROR_LIMIT, "the path of a picture has more than %zu characters",
                std::size(record.path) - 1));
        return nullptr;
    }
    bitmap* found = zr_read_bitmap(&record, zr_bitmap_ui_not_cached() ? nullptr : zr_shared_bitmaps());
    if (found) { platform::copy_text(path, std::size(path), record.path); }
    return found;
}

bool read_path(record_reading& r, uint32_t at, char16_t (&path)[512])
{
    static_assert(sizeof(path) == path_limit_bytes);
    if (at == 0) { return true; }
    const uint32_t length = zr_file_read_string(&r.lib, at, path, path_limit_bytes);
    if (length + 2 <= path_limit_bytes || length == 0) { return true; }
    return zr::fail_in_library(r.lib, at,
        zr::fail(ZR_ERROR_LIMIT, "the path of a picture has more than %zu characters", std::size(path) - 1));
}

/// Counts a chunk against the bound; false, reported, beyond it.
bool take_part(record_reading& r, uint32_t at)
{
    if (r.parts_left-- > 0) { return true; }
    return zr::fail_in_library(r.lib, at,
        zr::fail(ZR_ERROR_LIMIT, "a material of more than %d parts; its links may run in a circle",
            zr::max_record_parts));
}

bool is_zero(const double axis[3]) { return axis[0] == 0.0 && axis[1] == 0.0 && axis[2] == 0.0; }

float finite(zr::byte_reader& in)
{
    const float value = in.f32();
    return std::isfinite(value) ? value : 0.0f;
}

template <class T> void finite(zr::byte_reader& in, T (&out)[3])
{
    for (T& value : out) { value = finite(in); }
}

void finite(zr::byte_reader& in, vector3& out)
{
    out.x = finite(in);
    out.y = finite(in);
    out.z = finite(in);
}

} // namespace
