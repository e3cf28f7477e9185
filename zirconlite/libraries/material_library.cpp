/// @file
/// Opening of material libraries, and materials by their keys.
#include "zirconlite/libraries/material_library.h"

#include "zirconlite/imagefiles/bitmap_store.h"
#include "zirconlite/libraries/library_open.hpp"
#include "zirconlite/libraries/material_library.hpp"
#include "zirconlite/libraries/material_records.hpp"
#include "zirconlite/materials/material_list.hpp"
#include "zirconlite/platform/text.hpp"

namespace
{

constexpr const char16_t* library_extension = u".mlib";
constexpr uint32_t payload_place = 12;
constexpr uint32_t id_from_end = 4;

int32_t write_payload(zr_handle file, uint32_t node, void* material);
void* read_payload(zr_handle file, uint32_t payload);
void* read_payload_to_copy(zr_handle file, uint32_t payload);
const zr::library_kind& materials();

} // namespace

zr_handle zr_matfile_open(const char16_t* path, uint32_t access, uint32_t share, int32_t disposition)
{
    return zr::open_library_file(materials(), path, access, share, disposition);
}

zr_handle zr_matlib_open(const char16_t* library_name)
{
    return zr::open_named_library(materials(), library_name, LIBRARY_READ, LIBRARY_SHARE_READ);
}

zr_handle zr_matlib_open_write(const char16_t* library_name)
{
    return zr::open_named_library(
        materials(), library_name, LIBRARY_READ | LIBRARY_WRITE, LIBRARY_SHARE_NOTHING);
}

uint32_t zr_matfile_add_record(zr_handle file, const char16_t* key, material* m)
{
    if (!key || !m)
    {
        zr::report_failure(ZR_ERROR_ARGUMENT, "a key and a material are needed");
        return 0;
    }
    return zr_file_insert_record(file, key, write_payload, m);
}

material* zr_matfile_read_record(zr_handle file, const char16_t* key)
{
    return static_cast<material*>(zr_file_read_record(file, key, read_payload));
}

uint32_t zr_matfile_write_material(zr_handle file, material* m, uint32_t parent, int32_t with_id)
{
    zr::library_file* lib = m ? zr::library_of(file) : nullptr;
    const uint32_t place = lib ? zr::write_material_record(*lib, *m, parent) : 0;
    if (!place || !with_id) { return place; }
    return zr_file_set_position(file, lib->size) && zr_file_write_word(file, m->id) ? place : 0;
}

material* zr_matfile_read_material(zr_handle file, uint32_t offset, int32_t with_id)
{
    zr::library_file* lib = zr::library_of(file);
    material* read = lib ? zr::read_material_record(*lib, offset, zr::record_pictures::read) : nullptr;
    if (read && with_id && lib->size >= id_from_end)
    {
        zr_file_set_position(file, lib->size - id_from_end);
        zr_file_read_word(file, &read->id);
    }
    return read;
}

uint32_t zr_save_material(const char16_t* key, const char16_t* library_name, material* m)
{
    zr_handle file = zr_matlib_open_write(library_name);
    if (file == ZR_INVALID_HANDLE) { return 0; }
    const uint32_t node = zr_matfile_add_record(file, key, m);
    return zr_libfile_close(file) ? node : 0;
}

int32_t zr_pack_matlib(zr_handle window, const char16_t* path)
{
    return zr_libfile_pack(path, materials().name, zr::copy_material, window);
}

namespace zr
{

material* read_library_material(const char16_t* library, const char16_t* name, bool uncached)
{
    zr_handle file = zr_matlib_open(library);
    if (file == ZR_INVALID_HANDLE) { return nullptr; }
    const int32_t before = zr_bitmap_ui_not_cached();
    if (uncached) { zr_set_bitmap_ui_not_cached(1); }
    material* read = zr_matfile_read_record(file, name);
    zr_set_bitmap_ui_not_cached(before);
    zr_libfile_close(file);
    return read;
}

int32_t copy_material(zr_handle source, zr_handle target, const char16_t* key)
{
    return copy_material_as(source, key, target, key);
}

int32_t copy_material_as(zr_handle source, const char16_t* key, zr_handle target, const char16_t* target_key)
{
    auto* m = static_cast<material*>(zr_file_read_record(source, key, read_payload_to_copy));
    const uint32_t node = m ? zr_matfile_add_record(target, target_key, m) : 0;
    free_material(m);
    return node != 0;
}

} // namespace zr

namespace
{

int32_t write_payload(zr_handle file, uint32_t node, void* m)
{
    const uint32_t place = zr_matfile_write_material(file, static_cast<material*>(m), 0, 0);
    return place && zr::write_u32_at(*zr::library_of(file), uint64_t(node) + payload_place, place);
}

void* read_payload(zr_handle file, uint32_t payload) { return zr_matfile_read_material(file, payload, 0); }

void* read_payload_to_copy(zr_handle file, uint32_t payload)
{
    return zr::read_material_record(*zr::library_of(file), payload, zr::record_pictures::skip);
}

const zr::library_kind& materials() { return *zr::library_kind_of(library_extension); }

} // namespace
