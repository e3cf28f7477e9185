/// @file
/// Opening of light libraries, and luminaires by their keys.
#include "zirconlite/libraries/light_library.h"

#include "zirconlite/frame/memory.h"
#include "zirconlite/libraries/library_open.hpp"
#include "zirconlite/libraries/light_records.hpp"

namespace
{

constexpr const char16_t* library_extension = u".llib";
constexpr uint32_t payload_place = 12;

const zr::library_kind& lights() { return *zr::library_kind_of(library_extension); }
int32_t write_payload(zr_handle file, uint32_t node, void* luminaire);
void* read_payload(zr_handle file, uint32_t payload);

} // namespace

zr_handle zr_lightfile_open(const char16_t* path, uint32_t access, uint32_t share, int32_t disposition)
{
    return zr::open_library_file(lights(), path, access, share, disposition);
}

zr_handle zr_lightlib_open(const char16_t* library_name)
{
    return zr::open_named_library(lights(), library_name, LIBRARY_READ, LIBRARY_SHARE_READ);
}

zr_handle zr_lightlib_open_write(const char16_t* library_name)
{
    return zr::open_named_library(
        lights(), library_name, LIBRARY_READ | LIBRARY_WRITE, LIBRARY_SHARE_NOTHING);
}

uint32_t zr_lightfile_add_record(zr_handle file, const char16_t* key, const luminaire* luminaire)
{
    if (!key || !luminaire)
    {
        zr::report_failure(ZR_ERROR_ARGUMENT, "a key and a luminaire are needed");
        return 0;
    }
    return zr_file_insert_record(file, key, write_payload, const_cast<struct luminaire*>(luminaire));
}

luminaire* zr_lightfile_read_record(zr_handle file, const char16_t* key)
{
    return static_cast<luminaire*>(zr_file_read_record(file, key, read_payload));
}

luminaire* zr_lightfile_read_lum(const char16_t* library_name, const char16_t* key)
{
    zr_handle file = zr_lightlib_open(library_name);
    if (file == ZR_INVALID_HANDLE) { return nullptr; }
    luminaire* read = zr_lightfile_read_record(file, key);
    zr_libfile_close(file);
    return read;
}

luminaire* zr_load_luminaire_from_library(const char16_t* key, const char16_t* library_name)
{
    return zr_lightfile_read_lum(library_name, key);
}

uint32_t zr_save_luminaire(const char16_t* key, const char16_t* library_name, const luminaire* luminaire)
{
    zr_handle file = zr_lightlib_open_write(library_name);
    if (file == ZR_INVALID_HANDLE) { return 0; }
    const uint32_t node = zr_lightfile_add_record(file, key, luminaire);
    return zr_libfile_close(file) ? node : 0;
}

void zr_free_luminaire(luminaire* luminaire)
{
    if (!luminaire) { return; }
    zr_free(luminaire->name);
    zr_free(luminaire->model);
    zr_free(luminaire->material_key);
    zr_free(luminaire->material_library);
    zr_free(luminaire);
}

int32_t zr_pack_lightlib(zr_handle window, const char16_t* path)
{
    return zr_libfile_pack(path, lights().name, zr::copy_light, window);
}

namespace zr
{

int32_t copy_light(zr_handle source, zr_handle target, const char16_t* key)
{
    return copy_light_as(source, key, target, key);
}

int32_t copy_light_as(zr_handle source, const char16_t* key, zr_handle target, const char16_t* target_key)
{
    luminaire* l = zr_lightfile_read_record(source, key);
    const uint32_t node = l ? zr_lightfile_add_record(target, target_key, l) : 0;
    free_read_luminaire(l);
    return node != 0;
}

} // namespace zr

namespace
{

int32_t write_payload(zr_handle file, uint32_t node, void* l)
{
    zr::library_file* lib = zr::library_of(file);
    const uint32_t place = lib ? zr::write_light_record(*lib, *static_cast<luminaire*>(l)) : 0;
    return place && zr::write_u32_at(*lib, uint64_t(node) + payload_place, place);
}

void* read_payload(zr_handle file, uint32_t payload)
{
    zr::library_file* lib = zr::library_of(file);
    return lib ? zr::read_light_record(*lib, payload) : nullptr;
}

} // namespace
