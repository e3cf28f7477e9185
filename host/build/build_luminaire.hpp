/// @file
/// Luminaires of libraries as the lights of a scene.
#pragma once

#include "host/scene/scene.hpp"

#include <string>
#include <vector>

namespace host
{

/// Adds a group and a lamp to the lights of the scene for each luminaire, and the fixtures' materials that
/// are found to its materials; the luminaires are gone then. The library must be started. Throws `failure`
/// for a library or a record that is not there or damaged; a material that is not found is a note.
void place_luminaires(scene& s, std::vector<std::string>& notes);

} // namespace host
