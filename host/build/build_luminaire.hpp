/// @file
/// Luminaires of libraries as the lights of a scene.
#pragma once

#include "host/scene/scene.hpp"
#include "zirconlite/libraries/light_library.h"

#include <memory>
#include <string>
#include <vector>

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

/// Adds a group and a lamp to the lights of the scene for each luminaire, and the fixtures' materials that
/// are found to its materials; the luminaires are gone then. The library must be started. Throws `failure`
/// for a library or a record that is not there or damaged; a material that is not found is a note.
void place_luminaires(scene& s, std::vector<std::string>& notes);

} // namespace host
