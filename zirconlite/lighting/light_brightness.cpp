/// @file
/// Lumens, candela and watts of a light, whichever of them the user set, and the cone of a spot.
#include <cmath>
#include <iterator>

#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/lighting/goniometry.h"
#include "zirconlite/lighting/light_emission.hpp"
#include "zirconlite/lighting/light_model.hpp"

namespace
{

/// Lumens per watt, by `light.bulb_index`.
constexpr float bulb_efficacy[] = { 1.78125f, 17.0f, 75.0f, 100.0f, 100.0f, 55.0f, 60.0f };

/// Emission that is even over the sphere, and by the cosine over half of it.
struct emission_factor
{
    double cd_per_lm, lm_per_cd;
};
constexpr emission_factor isotropic = { 0.07957747154822216, 12.566370614 };
constexpr emission_factor diffuse = { 0.31830988619288864, 3.1415926535 };
constexpr double short_isotropic = 0.07957747154595, short_diffuse = 0.318309886184;

constexpr double min_lm_per_cd = 1e-12; // of a photometric table
constexpr double min_beam = 0.034906585;
constexpr double min_field = 0.0087266;
constexpr double min_cosine = 1e-5;
constexpr double log_half = -0.6931471805599;

int32_t derive(light& l, const emission_factor& factor);
double spot_integral(
    double beam_angle, double field_angle, double power_more, float* exponent_out, float* cos_field_out);
int32_t derive_spot(light& l, double (*lm_per_cd)(double, double, float*, float*));

} // namespace

int32_t zr_get_isotropic_brightness(light* source) { return derive(*source, isotropic); }

int32_t zr_get_diffuse_brightness(light* source) { return derive(*source, diffuse); }

int32_t zr_get_spot_brightness(light* source) { return derive_spot(*source, spot_light_lm_per_cd); }

int32_t zr_get_goniometric_brightness(light* source)
{
    double cd_per_lm;
    zr_get_cd_per_lm(source, &cd_per_lm);
    return derive(*source, { cd_per_lm, 1.0 / cd_per_lm });
}

int32_t zr_get_cd_per_lm(const light* source, double* result)
{
    float unused[2];
    if (source->distribution == DISTRIBUTION_SPOT)
    {
        *result = 1.0 / spot_light_lm_per_cd(source->beam_angle, source->field_angle, &unused[0], &unused[1]);
    }
    else if (source->distribution == DISTRIBUTION_GONIOMETRIC && zr::has_table(*source))
    {
        *result = 1.0 / std::fmax(source->goniometry->lm_per_cd, min_lm_per_cd);
    }
    else if (source->distribution == DISTRIBUTION_ISOTROPIC) { *result = short_isotropic; }
    else { *result = source->type == LIGHT_AREA ? short_diffuse : short_isotropic; }
    return 1;
}

double spot_light_lm_per_cd(double beam_angle, double field_angle, float* exponent_out, float* cos_field_out)
{
    return spot_integral(beam_angle, field_angle, 0.0, exponent_out, cos_field_out);
}

double zr_spot_light_lm_per_cd_exact(
    double beam_angle, double field_angle, float* exponent_out, float* cos_field_out)
{
    return spot_integral(beam_angle, field_angle, 1.0, exponent_out, cos_field_out);
}

namespace zr
{

void derive_brightness_exactly(light& l)
{
    switch (law_of(l, true))
    {
    case emission_law::spot:
        derive_spot(l, zr_spot_light_lm_per_cd_exact);
        return;
    case emission_law::cosine:
        derive(l, diffuse);
        return;
    case emission_law::sine:
        derive(l, { 1.0 / (M_PI * M_PI), M_PI * M_PI });
        return;
    case emission_law::table:
        zr_get_goniometric_brightness(&l);
        return;
    case emission_law::even:
        derive(l, isotropic);
        return;
    }
}

} // namespace zr

namespace
{

int32_t derive(light& l, const emission_factor& factor)
{
    switch (l.brightness_unit)
    {
    case BRIGHTNESS_WATTS:
        l.lumens = bulb_efficacy[l.bulb_index < std::size(bulb_efficacy) ? l.bulb_index : 0] * l.watts;
        l.candela = float(l.lumens * factor.cd_per_lm);
        break;
    case BRIGHTNESS_LUMENS:
        l.candela = float(l.lumens * factor.cd_per_lm);
        break;
    case BRIGHTNESS_CANDELA:
        l.lumens = float(l.candela * factor.lm_per_cd);
        break;
    default:
        break;
    }
    return 1;
}

int32_t derive_spot(light& l, double (*lm_per_cd)(double, double, float*, float*))
{
    const double lumens = lm_per_cd(l.beam_angle, l.field_angle, &l.spot_exponent, &l.cos_field);
    l.lm_per_cd = float(lumens);
    l.cd_per_lm = float(1.0 / lumens);
    return derive(l, { 1.0 / lumens, lumens });
}

/// The integral of cos^exponent over the cone is 2 pi (1 - f^(exponent + 1)) / (exponent + 1), f being the
/// cosine of the field; `power_more` is that 1 or, for the classic value, 0.
double spot_integral(
    double beam_angle, double field_angle, double power_more, float* exponent_out, float* cos_field_out)
{
    const double beam = beam_angle >= min_beam ? std::fmin(beam_angle, zr::pi) : min_beam;
    const double field = field_angle >= min_field ? std::fmin(field_angle, zr::pi) : min_field;
    const double c = std::fmax(std::cos(beam), min_cosine);
    *exponent_out = float(log_half / std::log(c));
    const double exponent = *exponent_out;
    const double f = std::cos(field);
    *cos_field_out = float(f);
    if (f < min_cosine) { return zr::two_pi / (exponent + 1.0); }
    return zr::two_pi * (1.0 - std::pow(f, exponent + power_more)) / (exponent + 1.0);
}

} // namespace
