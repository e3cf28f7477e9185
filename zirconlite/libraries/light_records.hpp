/// @file
/// Luminaires between memory and the payload of a record.
#pragma once

#include "zirconlite/libraries/library_file.hpp"
#include "zirconlite/libraries/light_library.h"

namespace zr
{

/// Sizes of the payload, and of a photometric table in front of its angles.
inline constexpr uint32_t light_record_bytes = 80, goniometry_head_bytes = 24;

/// The luminaire of the payload at `offset`. Null, reported, when it is damaged and when memory fails.
luminaire* read_light_record(library_file& lib, uint32_t offset);

/// Appends the payload of a luminaire, its strings and its table; its offset, 0 on failure, reported.
uint32_t write_light_record(library_file& lib, const luminaire& l);

/// Frees a luminaire with its table.
void free_read_luminaire(luminaire* l);

} // namespace zr
