/// @file
/// What the fuzz target of settings does with one input: any bytes as a file of settings, of the kind in its
/// head, read, written, and read again to the same text.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include "zirconlite/frame/document.h"
#include "zirconlite/settings/settings_text.hpp"

namespace fuzz
{

inline bool read_settings_body(int32_t kind, zr::unit_source& from, document& d)
{
    if (kind == SETTINGS_SUN_SKY) { return zr::read_sunsky(from, d); }
    return kind == SETTINGS_ENVIRONMENT ? zr::read_environment(from, d)
                                        : zr::read_exposure(from, d, d.views[1]);
}

inline void write_settings_text(int32_t kind, zr::settings_writer& to, document& d)
{
    if (kind == SETTINGS_SUN_SKY) { zr::write_sunsky(to, d); }
    else if (kind == SETTINGS_ENVIRONMENT) { zr::write_environment(to, d); }
    else { zr::write_exposure(to, d, d.views[1]); }
}

inline void use_settings(const uint8_t* bytes, size_t size)
{
    zr::unit_source from = { nullptr, bytes, size };
    const int32_t kind = zr::read_settings_head(from);
    document* d = kind ? zr_open_document() : nullptr;
    if (!d) { return; }
    read_settings_body(kind, from, *d);
    // Six decimals are not all of a number: the first text may round, the second is the same again. On this
    // machine units are stored as files have them.
    zr::settings_writer texts[3];
    for (zr::settings_writer& text : texts)
    {
        write_settings_text(kind, text, *d);
        zr::unit_source back = { nullptr, reinterpret_cast<const uint8_t*>(text.units.items),
            2 * text.units.count };
        zr::read_settings_head(back);
        read_settings_body(kind, back, *d);
    }
    const size_t units = texts[1].units.count;
    // Angles of the sun change their unit on the way, and may lose their last digit at any size.
    const bool repeats = kind != SETTINGS_SUN_SKY;
    if (repeats &&
        (units != texts[2].units.count || memcmp(texts[1].units.items, texts[2].units.items, 2 * units) != 0))
    {
        abort();
    }
    zr_close_document(d);
}

} // namespace fuzz
