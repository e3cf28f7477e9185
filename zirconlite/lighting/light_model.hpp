/// @file
/// What a light's strength is under each light model.
#pragma once

#include "zirconlite/frame/document.h"
#include "zirconlite/frame/job_state.hpp"
#include "zirconlite/lighting/light.h"

namespace zr
{

/// Whether the running job uses the exact light model.
inline bool is_exact() { return job.light_model == LIGHT_MODEL_EXACT; }

/// Works out the strengths of the lights whose conversion differs between the models, with their colours. The
/// unit that the user set keeps its value, so that it can be called again, with either model. Called when a
/// job starts, before its workers.
void prepare_lights_for_model(document* scene, int light_model);

/// Derives the strengths of a source so that the lumens that were set are those that it sends: by the
/// integral of its own distribution.
void derive_brightness_exactly(light& l);

} // namespace zr
