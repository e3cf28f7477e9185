/// @file
/// Puts a scene's sun, sky and windows into a document of the library.
#pragma once

#include "host/scene/scene.hpp"
#include "zirconlite/frame/document.h"
#include "zirconlite/lighting/light.h"

namespace host
{

/// Sun and sky with all that follows from them; may be called again for another moment, before a render. The
/// light model of the document has been set, and the section has been checked.
void set_daylight(const scene_sun& s, document* d);

/// Fills the window's shape: a polygon of corners, or a rectangle about its position.
void set_window(const scene_light& from, light& l);

/// What is wrong with a window, for a message; empty when nothing is.
std::string check_window(const scene_light& l);

} // namespace host
