/// @file
/// What the fuzz targets of photometric files and light records do with one input; see readers.hpp.
#pragma once

#include <cmath>

#include "fuzz/library_readers.hpp"
#include "zirconlite/libraries/light_records.hpp"
#include "zirconlite/lighting/goniometry.hpp"
#include "zirconlite/lighting/ies_file.hpp"

namespace fuzz
{

/// A table that was read can be looked up everywhere, and holds light.
inline void look_up(const goniometry& g)
{
    if (!zr::is_usable(g)) { abort(); }
    double most = 0.0;
    for (int i = 0; i < 24; ++i)
    {
        const double value = zr::goniometry_value(g, 0.5 * (i - 12), 0.13 * i);
        most = std::fmax(most, value);
        if (!(value >= 0.0)) { abort(); }
    }
    if (!(zr::goniometry_integral(g) >= 0.0) || !(most <= 1.0001)) { abort(); }
}

/// Tables that an input asks for are as small as the input.
inline void fill_and_look_up(const zr::status& why, ies_file& file, size_t size)
{
    if (!zr::ok(why) && why.line < 1 && why.code != ZR_ERROR_MEMORY) { abort(); } // a refusal has a line
    const uint64_t values = uint64_t(file.vertical_count) * uint64_t(file.horizontal_count);
    if (file.candela && values > 2 * uint64_t(size)) { abort(); }
    goniometry g = {};
    if (zr::ok(why) && zr_fill_goniometry(&file, &g)) { look_up(g); }
    zr::clear_goniometry(g);
    zr::free_ies_content(file);
}

inline void use_ies(const uint8_t* bytes, size_t size)
{
    ies_file file = {};
    const zr::status why = zr::parse_photometric(bytes, size, nullptr, file);
    fill_and_look_up(why, file, size);
}

inline void use_ldt(const uint8_t* bytes, size_t size)
{
    ies_file file = {};
    const zr::status why =
        zr::parse_eulumdat(std::string_view(reinterpret_cast<const char*>(bytes), size), file);
    fill_and_look_up(why, file, size);
}

/// Reads a luminaire from a record of these bytes, writes it, and reads it again.
inline void use_light_record(const uint8_t* bytes, size_t size)
{
    zr::library_file* lib = zr::new_library();
    if (!lib) { return; }
    lib->writes = true;
    const uint8_t head[first_record] = {};
    if (zr_file_write_bytes(lib, head, sizeof(head)) && zr_file_write_bytes(lib, bytes, uint32_t(size)))
    {
        luminaire* l = zr::read_light_record(*lib, first_record);
        const uint32_t place = l ? zr::write_light_record(*lib, *l) : 0;
        luminaire* again = place ? zr::read_light_record(*lib, place) : nullptr;
        if (l && (!again || again->type != l->type || !again->goniometry != !l->goniometry)) { abort(); }
        if (l && l->goniometry) { look_up(*l->goniometry); }
        zr::free_read_luminaire(l);
        zr::free_read_luminaire(again);
    }
    zr::free_library(lib);
}

} // namespace fuzz
