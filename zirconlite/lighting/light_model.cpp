#include "zirconlite/lighting/light_model.hpp"

#include "zirconlite/lighting/light_emission.hpp"

namespace
{

bool has_own_strength(const light& l)
{
    return l.type != LIGHT_PARALLEL && l.type != LIGHT_DAYLIGHT && l.type != LIGHT_SKY_PATCH &&
           l.type != LIGHT_SKY && l.type != LIGHT_RADIOSITY_SKY;
}

/// A source that is not an area emits evenly even where its strength is converted as a diffuse one's.
bool emits_evenly(const light& l) { return l.distribution == DISTRIBUTION_DIFFUSE && l.type != LIGHT_AREA; }

} // namespace

namespace zr
{

void prepare_lights_for_model(document* scene, int light_model)
{
    for (light* l = first_leaf(scene->lights); l; l = next_leaf(l))
    {
        const bool is_spot = l->distribution == DISTRIBUTION_SPOT;
        if (!has_own_strength(*l) || !(is_spot || emits_evenly(*l))) { continue; }
        if (light_model != LIGHT_MODEL_EXACT) { derive_brightness(*l); }
        else if (is_spot) { derive_spot_exactly(*l); }
        else { zr_get_isotropic_brightness(l); }
        zr_get_color_intensity(l);
    }
}

} // namespace zr
