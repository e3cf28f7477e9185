/// @file
/// Light records. Layout of the payload: flags, offsets of four strings, three factors, type, geo, 6 bytes of
/// 0, off (f64), dim, temperature, offset of the table. Layout of a table: lumens, peak, integral, both
/// counts, symmetry, the vertical angles, the horizontal angles, the rows.
#include "zirconlite/libraries/light_records.hpp"

#include <algorithm>
#include <cmath>
#include <iterator>

#include "zirconlite/frame/bytes.hpp"
#include "zirconlite/frame/memory.h"
#include "zirconlite/lighting/goniometry.hpp"

namespace
{

constexpr uint32_t first_string_place = 4, table_place = 76;
constexpr uint32_t string_head_bytes = 8, string_limit_bytes = 2048;
constexpr const char16_t* default_key = u"Solid Colors\\Whites\\Pure\\Glossy";
constexpr const char16_t* default_library = u"ZIRCONLITE";
constexpr float default_temperature = 5000.0f;
constexpr float max_value = 1.0f + 1e-5f; // of a table whose peak is 1

bool read_text(zr::library_file& lib, uint32_t at, char16_t*& text);
goniometry* read_table(zr::library_file& lib, uint32_t at);
bool read_table_values(zr::library_file& lib, uint64_t at, goniometry& g);
uint32_t write_table(zr::library_file& lib, const goniometry& g);
bool has_sound_values(const goniometry& g);

float finite_or(float value, float neutral)
{
    return std::isfinite(value) && value != 0.0f ? value : neutral;
}

} // namespace

namespace zr
{

luminaire* read_light_record(library_file& lib, uint32_t offset)
{
    uint8_t bytes[light_record_bytes];
    if (offset == 0)
    {
        fail_in_library(lib, 0, fail(ZR_ERROR_FORMAT, "a light record without content"));
        return nullptr;
    }
    if (!read_at(lib, offset, bytes, sizeof(bytes))) { return nullptr; }
    auto* l = static_cast<luminaire*>(zr_calloc(1, sizeof(luminaire)));
    if (!l)
    {
        report_failure(ZR_ERROR_MEMORY, "no memory for a luminaire");
        return nullptr;
    }
    byte_reader in(bytes, sizeof(bytes));
    l->flags = in.u32();
    char16_t** const strings[] = { &l->name, &l->model, &l->material_key, &l->material_library };
    bool is_good = true;
    for (char16_t** text : strings) { is_good = read_text(lib, in.u32(), *text) && is_good; }
    for (float* factor : { &l->sc, &l->rh, &l->lum }) { *factor = finite_or(in.f32(), 1.0f); }
    l->type = char(in.u8());
    l->geo = char(in.u8());
    in.skip(6);
    for (double& o : l->off)
    {
        o = in.f64();
        o = std::isfinite(o) ? o : 0.0;
    }
    for (float& d : l->dim) { d = finite_or(in.f32(), 0.0f); }
    l->temperature = finite_or(in.f32(), default_temperature);
    const uint32_t table = in.u32();
    if (is_good && l->type == 'G') { is_good = (l->goniometry = read_table(lib, table)) != nullptr; }
    const auto fill_in = [&](char16_t*& text, const char16_t* usual)
    {
        if (!is_good || *text) { return; }
        zr_free(text);
        text = zr_dupestring(usual);
        is_good = text != nullptr;
    };
    fill_in(l->material_key, default_key);
    fill_in(l->material_library, default_library);
    if (is_good) { return l; }
    free_read_luminaire(l);
    return nullptr;
}

uint32_t write_light_record(library_file& lib, const luminaire& l)
{
    const bool has_table = l.type == 'G';
    if (has_table && !(l.goniometry && is_usable(*l.goniometry) && has_sound_values(*l.goniometry)))
    {
        report_failure(
            ZR_ERROR_ARGUMENT, "a luminaire of type G without a photometric table that can be looked up");
        return 0;
    }
    uint8_t bytes[light_record_bytes] = {};
    uint8_t* at = put_u32(bytes, l.flags) + 4 * sizeof(uint32_t);
    for (float factor : { l.sc, l.rh, l.lum }) { at = put_f32(at, factor); }
    at = put_u8(put_u8(at, uint8_t(l.type)), uint8_t(l.geo)) + 6;
    for (double o : l.off) { at = put_f64(at, o); }
    for (float d : l.dim) { at = put_f32(at, d); }
    put_f32(at, l.temperature);
    const uint32_t place = append(lib, bytes, sizeof(bytes));
    const char16_t* const strings[] = { l.name, l.model, l.material_key, l.material_library };
    uint64_t link = uint64_t(place) + first_string_place;
    for (const char16_t* text : strings)
    {
        if (place && text && *text)
        {
            const uint32_t string = zr_file_add_string(&lib, text);
            if (!string || !write_u32_at(lib, link, string)) { return 0; }
        }
        link += sizeof(uint32_t);
    }
    if (!place || !has_table) { return place; }
    const uint32_t table = write_table(lib, *l.goniometry);
    return table && write_u32_at(lib, uint64_t(place) + table_place, table) ? place : 0;
}

void free_read_luminaire(luminaire* l)
{
    if (l) { zr_free_goniometry(l->goniometry); }
    zr_free_luminaire(l);
}

} // namespace zr

namespace
{

/// The string at an offset, in the library's heap; empty for the offset 0. False, reported, for a place
/// outside the file.
bool read_text(zr::library_file& lib, uint32_t at, char16_t*& text)
{
    char16_t buffer[string_limit_bytes / sizeof(char16_t)] = {};
    if (at != 0)
    {
        uint8_t head[string_head_bytes];
        if (!zr::read_at(lib, at, head, sizeof(head))) { return false; }
        const uint32_t length = zr::byte_reader(head + 4, 4).u32();
        if (length > 0 && zr_file_read_string(&lib, at, buffer, sizeof(buffer)) == 0) { return false; }
    }
    text = zr_dupestring(buffer);
    return text || zr::report_failure(ZR_ERROR_MEMORY, "no memory for a luminaire");
}

goniometry* read_table(zr::library_file& lib, uint32_t at)
{
    const auto damaged = [&](const char* why) -> goniometry*
    {
        zr::fail_in_library(lib, at, zr::fail(ZR_ERROR_FORMAT, "a photometric table %s", why));
        return nullptr;
    };
    uint8_t head[zr::goniometry_head_bytes];
    if (at == 0) { return damaged("is missing"); }
    if (!zr::read_at(lib, at, head, sizeof(head))) { return nullptr; }
    zr::byte_reader in(head, sizeof(head));
    const float lumens = in.f32(), peak = in.f32(), integral = in.f32();
    const uint32_t vertical = in.u32(), horizontal = in.u32();
    const int32_t symmetry = in.i32();
    // Both are below 2^31 here, so that the sum stays below 2^64.
    if (vertical < 1 || horizontal < 1 || vertical > INT32_MAX || horizontal > INT32_MAX)
    {
        return damaged("without angles");
    }
    const uint64_t values = (uint64_t(vertical) + 1) * horizontal + vertical;
    if (values > (lib.size - at - sizeof(head)) / sizeof(float))
    {
        return damaged("is longer than the file");
    }
    if (symmetry < GONIOMETRY_FULL || symmetry > GONIOMETRY_SIDE) { return damaged("of unknown symmetry"); }

    goniometry* g = zr_new_goniometry();
    if (!g || !zr::make_goniometry_tables(*g, int32_t(vertical), int32_t(horizontal)))
    {
        zr_free_goniometry(g);
        zr::report_failure(ZR_ERROR_MEMORY, "no memory for a photometric table");
        return nullptr;
    }
    g->lumens = lumens;
    g->peak_candela = peak;
    g->lm_per_cd = integral;
    g->symmetry = symmetry;
    const bool is_read = read_table_values(lib, uint64_t(at) + sizeof(head), *g);
    if (is_read && zr::is_usable(*g) && has_sound_values(*g)) { return g; }
    if (is_read) { damaged("whose angles do not rise, or with values out of range"); }
    zr_free_goniometry(g);
    return nullptr;
}

bool read_table_values(zr::library_file& lib, uint64_t at, goniometry& g)
{
    const auto read_floats = [&](float* values, int32_t count)
    {
        uint8_t bytes[4096];
        for (int32_t i = 0; i < count;)
        {
            const int32_t n = std::min(count - i, int32_t(sizeof(bytes) / sizeof(float)));
            if (!zr::read_at(lib, at, bytes, size_t(n) * sizeof(float))) { return false; }
            zr::byte_reader in(bytes, sizeof(bytes));
            for (const int32_t end = i + n; i < end; ++i) { values[i] = in.f32(); }
            at += uint64_t(n) * sizeof(float);
        }
        return true;
    };
    if (!read_floats(g.vertical_angles, g.vertical_count) ||
        !read_floats(g.horizontal_angles, g.horizontal_count))
    {
        return false;
    }
    for (int32_t i = 0; i < g.horizontal_count; ++i)
    {
        if (!read_floats(g.rows[i], g.vertical_count)) { return false; }
    }
    return true;
}

uint32_t write_table(zr::library_file& lib, const goniometry& g)
{
    uint8_t head[zr::goniometry_head_bytes];
    uint8_t* at = zr::put_f32(zr::put_f32(zr::put_f32(head, g.lumens), g.peak_candela), g.lm_per_cd);
    at = zr::put_u32(zr::put_u32(at, uint32_t(g.vertical_count)), uint32_t(g.horizontal_count));
    zr::put_u32(at, uint32_t(g.symmetry));
    const uint32_t place = zr::append(lib, head, sizeof(head));
    const auto append_floats = [&](const float* values, int32_t count)
    {
        uint8_t bytes[4096];
        for (int32_t i = 0; i < count;)
        {
            uint8_t* to = bytes;
            for (; i < count && to + sizeof(float) <= std::end(bytes); ++i)
            {
                to = zr::put_f32(to, values[i]);
            }
            if (!zr::append(lib, bytes, size_t(to - bytes))) { return false; }
        }
        return true;
    };
    bool is_written = place != 0 && append_floats(g.vertical_angles, g.vertical_count) &&
                      append_floats(g.horizontal_angles, g.horizontal_count);
    for (int32_t i = 0; is_written && i < g.horizontal_count; ++i)
    {
        is_written = append_floats(g.rows[i], g.vertical_count);
    }
    return is_written ? place : 0;
}

/// Beyond what a lookup needs: shares of a peak, and strengths that are numbers.
bool has_sound_values(const goniometry& g)
{
    for (int32_t i = 0; i < g.horizontal_count; ++i)
    {
        for (int32_t j = 0; j < g.vertical_count; ++j)
        {
            if (g.rows[i][j] > max_value) { return false; }
        }
    }
    return std::isfinite(g.lumens) && std::isfinite(g.peak_candela) && g.peak_candela >= 0.0f &&
           std::isfinite(g.lm_per_cd) && g.lm_per_cd > 0.0f;
}

} // namespace
