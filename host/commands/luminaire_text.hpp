/// @file
/// A luminaire of a light library, as text and as the part of a scene file that places it.
#pragma once

#include "host/build/build_luminaire.hpp"
#include "host/photometry/luminaire_figures.hpp"
#include "zirconlite/libraries/light_library.h"

#include <memory>
#include <string>

namespace host
{

/// Every field of the record, and the figures of its table.
std::string luminaire_text(const luminaire& l);

/// What the lamp sends: the lumens of its table by the record's share of its family; none without a table.
std::optional<double> luminaire_lumens(const luminaire& l);

} // namespace host
