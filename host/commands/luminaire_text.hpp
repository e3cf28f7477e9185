/// @file
/// A luminaire of a light library, as text and as the part of a scene file that places it.
#pragma once

#include "host/photometry/luminaire_figures.hpp"
#include "zirconlite/libraries/light_library.h"

#include <memory>
#include <string>

namespace host
{

/// Frees a luminaire with its table.
struct luminaire_deleter
{
    void operator()(luminaire* l) const
    {
        if (l) { zr_free_goniometry(l->goniometry); }
        zr_free_luminaire(l);
    }
};
using owned_luminaire = std::unique_ptr<luminaire, luminaire_deleter>;

/// Every field of the record, and the figures of its table.
std::string luminaire_text(const luminaire& l);

/// What the lamp sends: the lumens of its table by the record's share of its family; none without a table.
std::optional<double> luminaire_lumens(const luminaire& l);

} // namespace host
