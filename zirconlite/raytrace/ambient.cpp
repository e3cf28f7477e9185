#include "zirconlite/raytrace/ambient.hpp"

#include <cmath>
#include <initializer_list>

#include "zirconlite/frame/job_state.hpp"
#include "zirconlite/geometry/scene_object.h"
#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/lighting/light.h"
#include "zirconlite/lighting/light_model.hpp"
#include "zirconlite/materials/material.h"
#include "zirconlite/materials/surface.h"

namespace zr
{

namespace
{

/// No scene returns all its light, however white its materials claim to be: the sum of the reflections has to
/// end.
constexpr double max_reflectance = 0.95;

struct rgb
{
    double c[3];
};

rgb total_flux(const document& doc);
rgb mean_reflectance(const document& doc);
double sky_factor(const document& doc);
void desaturate(float c[3], double p);

} // namespace

void prepare_ambient(const document& doc)
{
    for (float& c : job.ambient_color) { c = 0.0f; }
    const rgb flux = total_flux(doc);
    if (flux.c[0] == 0.0 && flux.c[1] == 0.0 && flux.c[2] == 0.0) { return; }
    const rgb reflectance = doc.mode == MODE_RAYTRACE ? mean_reflectance(doc) : rgb{};
    const bool exact = is_exact();
    const double sky = exact ? 1.0 : sky_factor(doc);
    for (int i = 0; i < 3; ++i)
    {
        const double e = doc.scene_area > geometry_zero ? flux.c[i] / doc.scene_area : 0.0;
        const double rho = reflectance.c[i];
        // The fast model adds the first light to the reflected one, the exact model has it from the lights.
        job.ambient_color[i] = float(e / (1.0 - rho) * (exact ? rho : sky));
    }
    if (!exact) { desaturate(job.ambient_color, fast_shortcuts.desaturation); }
}

namespace
{

rgb total_flux(const document& doc)
{
    rgb sum = {};
    for (const light* l = first_leaf(doc.lights); l; l = next_leaf(const_cast<light*>(l)))
    {
        if (l->type == LIGHT_SKY_PATCH) { continue; }
        const bool parallel = l->type == LIGHT_PARALLEL;
        const double largest =
            std::fmax(l->intensity_color[0], std::fmax(l->intensity_color[1], l->intensity_color[2]));
        for (int i = 0; i < 3; ++i)
        {
            if (parallel) { sum.c[i] += l->flux_color[i] * fast_shortcuts.parallel_ambient; }
            else
            {
                const double color =
                    largest > geometry_zero ? l->intensity_color[i] / largest : double(l->intensity_color[i]);
                sum.c[i] += color * l->lumens;
            }
        }
    }
    return sum;
}

/// Mean of `color` x `diffuse` over all objects that have an area. The surface that a material keeps was
/// resolved in the colours of the mode that was in force then, so each is resolved anew; neighbours in the
/// list mostly share theirs.
rgb mean_reflectance(const document& doc)
{
    rgb sum = {};
    double area = 0.0;
    const material* resolved = nullptr;
    surface neutral = {};
    for (scene_object* list : { doc.scene_objects.first, doc.radiosity_objects.first })
    {
        for (const scene_object* object = list; object; object = object->next)
        {
            if (!object->vft || !object->vft->get_area) { continue; }
            const material* m = object->vft->get_material(object);
            const double a = object->vft->get_area(object);
            area += a;
            if (m && m != resolved) { zr_resolve_surface(resolved = m, nullptr, &neutral); }
            for (int i = 0; m && i < 3; ++i) { sum.c[i] += a * neutral.color[i] * neutral.diffuse; }
        }
    }
    const double highest = is_exact() ? max_reflectance : fast_shortcuts.max_reflectance;
    for (double& c : sum.c)
    {
        const double mean = area > 0.0 ? c / area : 0.0;
        c = std::fmin(std::fmax(mean, 0.0), highest);
    }
    return sum;
}

double sky_factor(const document& doc)
{
    const uint32_t sun = doc.sun_sky_flags;
    if (sun == SUN_SKY_SUN || (sun & SUN_SKY_EXTERIOR)) { return doc.sky_scale * fast_shortcuts.sky_share; }
    return doc.sky_scale * doc.sky_scale;
}

/// Pales a colour by the exponent `p` and keeps its luminance.
void desaturate(float c[3], double p)
{
    const double largest = std::fmax(c[0], std::fmax(c[1], c[2]));
    if (!(largest > geometry_zero)) { return; }
    const double y = luminance(c);
    double paled[3];
    for (int i = 0; i < 3; ++i)
    {
        paled[i] = c[i] < geometry_zero ? 0.0 : std::pow(c[i] / largest, p) * largest;
    }
    const double scale = y / luminance(paled);
    for (int i = 0; i < 3; ++i) { c[i] = float(paled[i] * scale); }
}

} // namespace

} // namespace zr
