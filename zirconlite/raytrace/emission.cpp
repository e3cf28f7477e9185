#include "zirconlite/raytrace/emission.hpp"

#include <cmath>

#include "zirconlite/frame/job_state.hpp"
#include "zirconlite/lighting/light.h"
#include "zirconlite/raytrace/emission_setup.h"

namespace zr
{

namespace
{

constexpr double long_pi = 3.14159265358979;

bool adds_stored_color(int32_t kind);
void store_shape_color(const light& source, property_node& node);
double shape_factor(const light& source, const property_node& node);
void store_glow_color(const light& source, property_node& node);

} // namespace

bool is_light_shape(const scene_object& object)
{
    return object.vft->get_flags(&object) & (OBJECT_LIGHT_SHAPE | OBJECT_NO_SHADOW);
}

void emission(const scene_object* object, const surface& s, float out[3])
{
    for (int i = 0; i < 3; ++i) { out[i] = 0.0f; }
    const property_node* node = object->vft->get_properties ? object->vft->get_properties(object) : nullptr;
    for (; node; node = node->next)
    {
        const float* added = nullptr;
        if (adds_stored_color(node->kind)) { added = node->color; }
        else if (node->kind == PROPERTY_LUMINOUS)
        {
            added = job.simple_colors ? node->color : node->radiance;
        }
        for (int i = 0; added && i < 3; ++i) { out[i] += added[i]; }
    }
    if (s.luminosity == 0.0f) { return; }
    const double strength =
        job.simple_colors ? std::pow(std::fmax(s.luminosity * 5e-5, 0.0), 0.25) : s.luminosity;
    for (int i = 0; i < 3; ++i) { out[i] += float(s.color[i] * strength); }
}

} // namespace zr

using namespace zr;

int32_t zr_set_source_initial_luminance(scene_object* objects)
{
    for (scene_object* object = objects; object; object = object->next)
    {
        if (!object->vft || !object->vft->get_properties) { continue; }
        for (property_node* node = object->vft->get_properties(object); node; node = node->next)
        {
            if (!adds_stored_color(node->kind) || !node->payload.light) { continue; }
            if (node->kind == PROPERTY_LIGHT_SHAPE) { store_shape_color(*node->payload.light, *node); }
            else { store_glow_color(*node->payload.light, *node); }
        }
    }
    return 1;
}

namespace zr
{

namespace
{

bool adds_stored_color(int32_t kind)
{
    return kind == PROPERTY_LIGHT_SHAPE || kind == PROPERTY_GLOW || kind == PROPERTY_GLOW_FILTERED;
}

void store_shape_color(const light& source, property_node& node)
{
    const bool simple = job.simple_colors != 0;
    const double spread = double(source.candela) * source.area * long_pi;
    const double base = simple ? 1.0 : spread > 0.0 ? source.lumens / spread : 0.0;
    const float* color = simple ? source.simple_color : source.intensity_color;
    const double factor = base * shape_factor(source, node);
    for (int i = 0; i < 3; ++i) { node.color[i] = float(color[i] * factor); }
}

/// Factor of a light's own shape: dimmer, fixture scale, and the node's factor, of which -1 makes it black.
double shape_factor(const light& source, const property_node& node)
{
    double factor = source.fixture_scale;
    if (source.dimmer > 0.0f) { factor *= source.dimmer; }
    if (node.factor == -1.0f) { return 0.0; }
    return node.factor > 0.0f ? factor * node.factor : factor;
}

void store_glow_color(const light& source, property_node& node)
{
    const bool simple = job.simple_colors != 0;
    const double spread = source.area * long_pi;
    const double factor = simple ? 1.0 : spread > 0.0 ? node.factor / spread : 0.0;
    const float* color = simple ? source.simple_color : source.flux_color;
    for (int i = 0; i < 3; ++i)
    {
        const float filter = node.kind == PROPERTY_GLOW_FILTERED ? node.filter[i] : 1.0f;
        node.color[i] = float(color[i] * factor * filter);
    }
}

} // namespace

} // namespace zr
