#include "zirconlite/lighting/light_model.hpp"

#include "zirconlite/lighting/light_emission.hpp"

namespace
{

bool has_own_strength(const light& l);

} // namespace

namespace zr
{

void prepare_lights_for_model(document* scene, int light_model)
{
    for (light* l = first_leaf(scene->lights); l; l = next_leaf(l))
    {
        if (!has_own_strength(*l)) { continue; }
        if (light_model == LIGHT_MODEL_EXACT) { derive_brightness_exactly(*l); }
        else { derive_brightness(*l); }
        zr_get_color_intensity(l);
    }
}

} // namespace zr

namespace
{

bool has_own_strength(const light& l)
{
    return l.type != LIGHT_PARALLEL && l.type != LIGHT_DAYLIGHT && l.type != LIGHT_SKY_PATCH &&
           l.type != LIGHT_SKY && l.type != LIGHT_RADIOSITY_SKY;
}

} // namespace
