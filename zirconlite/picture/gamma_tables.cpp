/// @file
/// Fills the gamma tables, and changes the gamma of simple pictures.
#include "zirconlite/picture/gamma_tables.hpp"

#include <cmath>

#include "zirconlite/picture/tone.h"

namespace
{

constexpr double byte_step = 0.00392156862745098;
constexpr double fine_step = 0.0004885197850512946;
constexpr double inverse_display_gamma = 0.45454545454545453;

void fill_simple_gamma(double gamma);
uint32_t rounded_byte(double value);

} // namespace

namespace zr
{

gamma_tables gamma;

void fill_gamma_tables()
{
    for (int i = 0; i < 256; ++i)
    {
        const double v = i * byte_step;
        gamma.gamma_out[i] = float(std::pow(v, 1.0 / display_gamma));
        gamma.gamma_out_byte[i] = rounded_byte(gamma.gamma_out[i]);
        gamma.gamma_in[i] = float(std::pow(v, display_gamma));
    }
    for (int i = 0; i < 2048; ++i)
    {
        const double v = i * fine_step;
        gamma.display_float[i] = float(std::pow(v, 1.0 / display_gamma));
        gamma.display_byte[i] = uint8_t(rounded_byte(std::pow(v, 1.0 / display_gamma)));
        gamma.linear_float[i] = float(std::pow(v, display_gamma));
    }
    fill_simple_gamma(display_gamma);
}

} // namespace zr

void zr_change_simple_rt_gamma(double gamma) { fill_simple_gamma(gamma); }

double zr_simple_rt_gamma(void) { return zr::gamma.simple_gamma; }

namespace
{

void fill_simple_gamma(double gamma)
{
    const double clamped = gamma >= 1.0 ? gamma : 1.0; // NaN too
    zr::gamma.simple_gamma = clamped;
    for (int i = 0; i < 256; ++i) { zr::gamma.simple_decode[i] = float(std::pow(i * byte_step, clamped)); }
    for (int i = 0; i < 2048; ++i)
    {
        const double v = i * fine_step;
        zr::gamma.simple_byte[i] = uint8_t(rounded_byte(std::pow(v, 1.0 / clamped)));
        zr::gamma.simple_float[i] = float(std::pow(v, clamped * inverse_display_gamma));
    }
}

uint32_t rounded_byte(double value) { return uint32_t(value * 255.0 + 0.5); }

} // namespace
