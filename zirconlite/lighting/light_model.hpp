/// @file
/// What a light's strength is under each light model.
#pragma once

#include "zirconlite/frame/document.h"
#include "zirconlite/lighting/light.h"

namespace zr
{

/// Works out the strengths of the lights whose conversion differs between the models, with their colours. The
/// unit that the user set keeps its value, so that it can be called again, with either model. Called when a
/// job starts, before its workers.
void prepare_lights_for_model(document* scene, int light_model);

/// zr_get_spot_brightness by the integral of the spot's own distribution.
void derive_spot_exactly(light& l);

} // namespace zr
