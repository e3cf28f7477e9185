// The file of a light cache: a head of 56 bytes, 48 bytes a cell and 528 a guide, little-endian.
#include <stdlib.h>

#include <cmath>
#include <initializer_list>

#include "zirconlite/frame/bytes.hpp"
#include "zirconlite/frame/document.h"
#include "zirconlite/frame/status.hpp"
#include "zirconlite/geometry/scene_object.h"
#include "zirconlite/lighting/light.h"
#include "zirconlite/lighting/sun_sky.h"
#include "zirconlite/materials/material.h"
#include "zirconlite/platform/files.hpp"
#include "zirconlite/platform/text.hpp"
#include "zirconlite/sampling/converging.h"
#include "zirconlite/sampling/light_cache.hpp"

namespace zr
{

namespace
{

constexpr uint32_t file_mark = 0x434c525a, file_version = 2; // "ZRLC"
constexpr size_t head_bytes = 56, cell_bytes = 48, guide_bytes = 16 + 2 * guide_parts;
constexpr uint64_t max_file_bytes =
    head_bytes + uint64_t(max_cache_cells) * cell_bytes + uint64_t(max_guides) * guide_bytes;

void mix(uint64_t& h, const void* bytes, size_t size)
{
    constexpr uint64_t prime = 0x100000001b3u; // FNV-1a
    for (size_t i = 0; i < size; ++i) { h = (h ^ static_cast<const uint8_t*>(bytes)[i]) * prime; }
}
template <class T> void mix(uint64_t& h, const T& value) { mix(h, &value, sizeof(value)); }

void mix_objects(uint64_t& h, const scene_object* first)
{
    for (const scene_object* o = first; o; o = o->next)
    {
        bounding_box box = {};
        o->vft->get_bounds(o, &box);
        mix(h, box.min);
        mix(h, box.max);
    }
}

void mix_lights(uint64_t& h, light* first)
{
    for (const light* l = first_leaf(first); l; l = next_leaf(const_cast<light*>(l)))
    {
        mix(h, l->type);
        mix(h, l->position);
        mix(h, l->normal);
        // Of the strength what the user set: the rest follows by the light model of a job.
        mix(h, l->brightness_unit);
        mix(h, l->brightness_unit == BRIGHTNESS_WATTS    ? l->watts
               : l->brightness_unit == BRIGHTNESS_LUMENS ? l->lumens
                                                         : l->candela);
        for (const float value : { float(l->bulb_index), l->dimmer, l->color_temperature, l->beam_angle,
                 l->field_angle, l->opacity, l->disc_size })
        {
            mix(h, value);
        }
        for (const double extent : { l->length, l->height, l->radius, l->falloff }) { mix(h, extent); }
        mix(h, l->filter);
    }
}

void mix_sky(uint64_t& h, const document& d)
{
    mix(h, d.environment.mode);
    mix(h, d.environment.color0);
    mix(h, d.background_luminance);
    mix(h, d.sun_sky_flags);
    if (!d.sun_sky) { return; }
    const sun_sky& s = *d.sun_sky;
    mix(h, s.sun_strength);
    mix(h, s.sun_direction);
    mix(h, s.cloudiness);
    mix(h, s.sky_intensity);
}

void mix_materials(uint64_t& h, const material_entry* first)
{
    for (const material_entry* e = first; e; e = e->next)
    {
        if (!e->material || (e->material->flags & MATERIAL_COMPLEX)) { continue; }
        const auto& m = *reinterpret_cast<const simple_material*>(e->material);
        mix(h, m.color);
        for (const float share : { m.diffuse, m.reflect, m.transparency, m.luminosity }) { mix(h, share); }
    }
}

uint8_t* put_key(uint8_t* at, const cell_key& key)
{
    for (const int32_t i : key.at) { at = put_u32(at, uint32_t(i)); }
    return put_u16(put_u16(at, uint16_t(key.level)), uint16_t(key.facing));
}

cell_key get_key(byte_reader& from)
{
    cell_key key;
    for (int32_t& i : key.at) { i = from.i32(); }
    key.level = from.i16();
    key.facing = from.i16();
    return key;
}

uint8_t* put_guide(uint8_t* at, const guide_cell& g)
{
    at = put_key(at, g.key);
    for (const uint16_t share : g.upto) { at = put_u16(at, share); }
    return at;
}

/// False where the shares do not rise to all.
bool get_guide(byte_reader& from, guide_cell& g)
{
    g.key = get_key(from);
    g.known = 1;
    uint16_t before = 0;
    bool rises = true;
    for (uint16_t& share : g.upto)
    {
        share = from.u16();
        rises &= share >= before;
        before = share;
    }
    return rises && before == all_shares;
}

uint8_t* put_cell(uint8_t* at, const cache_cell& c)
{
    at = put_key(at, c.key);
    for (const float f : { c.sum[0], c.sum[1], c.sum[2], c.squares, c.nearness }) { at = put_f32(at, f); }
    return put_u16(put_u16(put_u32(put_u32(at, c.count), c.needed), c.division), c.is_split);
}

/// False where a number cannot be one of a cell.
bool get_cell(byte_reader& from, cache_cell& c)
{
    c.key = get_key(from);
    bool is_sound = true;
    for (float* f : { &c.sum[0], &c.sum[1], &c.sum[2], &c.squares, &c.nearness })
    {
        *f = from.f32();
        is_sound &= std::isfinite(*f) && *f >= 0.0f;
    }
    c.count = from.u32();
    c.needed = from.u32();
    c.division = from.u16();
    c.is_split = from.u16();
    return is_sound && (c.count > 0 || c.needed > 0) && c.is_split <= 1;
}

uint32_t known_guides(const light_cache& cache)
{
    uint32_t count = 0;
    for (const guide_cell& g : cache.guides.list) { count += g.known > 0; }
    return count;
}

/// A path for messages.
struct shown_path
{
    explicit shown_path(const char16_t* path) { platform::to_utf8(path, text, sizeof(text)); }
    char text[1024] = {};
};

/// What the head says that follows.
struct file_counts
{
    uint32_t cells, guides;
};

bool read_head(
    byte_reader& from, light_cache& cache, file_counts& counts, const document& d, const char* name)
{
    if (from.u32() != file_mark) { return report_failure(ZR_ERROR_FORMAT, "%s: not a light cache", name); }
    const uint32_t version = from.u32();
    if (version != file_version)
    {
        return report_failure(ZR_ERROR_FORMAT, "%s: a light cache of version %u; this program reads %u", name,
            version, file_version);
    }
    cache.scene = from.u64();
    cache.eye = { from.f64(), from.f64(), from.f64() };
    cache.min_level = from.i32();
    cache.max_level = from.i32();
    counts = { from.u32(), from.u32() };
    if (cache.scene != scene_fingerprint(d))
    {
        return report_failure(ZR_ERROR_ARGUMENT,
            "%s: a light cache of another scene, or of other light in it; delete it or name another file",
            name);
    }
    constexpr int32_t levels = 1000;
    return (from.ok() && std::isfinite(cache.eye.x + cache.eye.y + cache.eye.z) &&
               cache.min_level >= -levels && cache.min_level <= cache.max_level &&
               cache.max_level <= levels) ||
           report_failure(ZR_ERROR_FORMAT, "%s: the head of the light cache is damaged", name);
}

bool read_cells(byte_reader& from, light_cache& cache, uint32_t cells, const char* name)
{
    if (cells > max_cache_cells || from.left() < size_t(cells) * cell_bytes)
    {
        return report_failure(
            ZR_ERROR_FORMAT, "%s: %u cells were expected and the file ends before", name, cells);
    }
    for (uint32_t i = 0; i < cells; ++i)
    {
        cache_cell c = {};
        if (!get_cell(from, c) || !put_back_cell(cache, c))
        {
            return report_failure(ZR_ERROR_FORMAT, "%s: cell %u is damaged", name, i);
        }
    }
    return true;
}

bool read_guides(byte_reader& from, light_cache& cache, uint32_t guides, const char* name)
{
    if (guides > max_guides || from.left() < size_t(guides) * guide_bytes)
    {
        return report_failure(
            ZR_ERROR_FORMAT, "%s: %u guides were expected and the file ends before", name, guides);
    }
    for (uint32_t i = 0; i < guides; ++i)
    {
        guide_cell g = {};
        if (!get_guide(from, g) || !put_back_guide(cache, g))
        {
            return report_failure(ZR_ERROR_FORMAT, "%s: guide %u is damaged", name, i);
        }
    }
    return true;
}

} // namespace

uint64_t scene_fingerprint(const document& d)
{
    uint64_t h = 0xcbf29ce484222325u;
    mix_objects(h, d.scene_objects.first);
    mix_objects(h, d.radiosity_objects.first);
    mix_lights(h, d.lights);
    mix_sky(h, d);
    mix_materials(h, d.materials);
    return h;
}

} // namespace zr

using namespace zr;

int32_t zr_read_light_cache(document* doc, const char16_t* path)
{
    if (!doc || !path) { return report_failure(ZR_ERROR_ARGUMENT, "read light cache: null argument"); }
    const shown_path name(path);
    size_t size = 0;
    unsigned char* bytes = platform::read_whole_file(path, max_file_bytes, &size);
    if (!bytes) { return report_failure(ZR_ERROR_READ, "%s: cannot be read as a light cache", name.text); }
    light_cache* made = new_light_cache();
    byte_reader from(bytes, size);
    file_counts counts = {};
    const bool is_read = made && read_head(from, *made, counts, *doc, name.text) &&
                         read_cells(from, *made, counts.cells, name.text) &&
                         read_guides(from, *made, counts.guides, name.text);
    free(bytes);
    if (!made) { return report_failure(ZR_ERROR_MEMORY, "%s: no memory for its cells", name.text); }
    if (!is_read)
    {
        free_light_cache(made);
        return 0;
    }
    free_light_cache(doc->light_cache);
    made->is_kept = true;
    doc->light_cache = made;
    return 1;
}

int32_t zr_write_light_cache(const document* doc, const char16_t* path)
{
    if (!doc || !path || !doc->light_cache)
    {
        return report_failure(ZR_ERROR_ARGUMENT, "write light cache: the document keeps no light");
    }
    const light_cache& cache = *doc->light_cache;
    const shown_path name(path);
    platform::replacement* file = platform::begin_replacement(path);
    if (!file) { return report_failure(ZR_ERROR_WRITE, "%s: cannot be written", name.text); }
    uint8_t head[head_bytes] = {};
    uint8_t* at = put_u64(put_u32(put_u32(head, file_mark), file_version), cache.scene);
    for (const double c : { cache.eye.x, cache.eye.y, cache.eye.z }) { at = put_f64(at, c); }
    put_u32(put_u32(put_u32(put_u32(at, uint32_t(cache.min_level)), uint32_t(cache.max_level)),
                uint32_t(cache.cells.list.count)),
        known_guides(cache));
    bool written = platform::write_replacement(file, head, head_bytes);
    for (const cache_cell& c : cache.cells.list)
    {
        uint8_t cell[cell_bytes];
        put_cell(cell, c);
        written = written && platform::write_replacement(file, cell, cell_bytes);
    }
    for (const guide_cell& g : cache.guides.list)
    {
        if (g.known == 0) { continue; }
        uint8_t guide[guide_bytes];
        put_guide(guide, g);
        written = written && platform::write_replacement(file, guide, guide_bytes);
    }
    if (!written) { platform::cancel_replacement(file); }
    if (written && platform::commit_replacement(file)) { return 1; }
    return report_failure(ZR_ERROR_WRITE, "%s: cannot be written; what was there stays", name.text);
}

void zr_free_light_cache(document* doc)
{
    if (!doc) { return; }
    free_light_cache(doc->light_cache);
    doc->light_cache = nullptr;
}
