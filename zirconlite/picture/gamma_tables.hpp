/// @file
/// The process-wide gamma tables: powers looked up instead of worked out in inner loops.
#pragma once

#include <stdint.h>

namespace zr
{

inline constexpr double display_gamma = 2.2;
inline constexpr double tone_gamma_exponent = 0.45454545;

/// Filled at start and, for the simple gamma, by zr_change_simple_rt_gamma; read-only during a render.
struct gamma_tables
{
    double simple_gamma;
    // v = i / 255
    float gamma_out[256];         ///< v ^ (1 / display gamma)
    uint32_t gamma_out_byte[256]; ///< that x 255, rounded
    float gamma_in[256];          ///< v ^ display gamma
    float simple_decode[256];     ///< v ^ simple gamma
    // v = i / 2047
    uint8_t display_byte[2048]; ///< v ^ (1 / display gamma) x 255, rounded
    uint8_t simple_byte[2048];  ///< v ^ (1 / simple gamma) x 255, rounded
    float display_float[2048];  ///< v ^ (1 / display gamma)
    float linear_float[2048];   ///< v ^ display gamma
    float simple_float[2048];   ///< v ^ (simple gamma / 2.2)
};

extern gamma_tables gamma;

void fill_gamma_tables();

/// Entry of a 2048-entry table for a channel; at 1.0 and above `top`, below 0 (and for NaN) the first entry.
template <class T> inline T look_up(const T (&table)[2048], float channel, T top)
{
    if (channel >= 1.0f) { return top; }
    if (!(channel > 0.0f)) { return table[0]; }
    return table[int(channel * 2047.0f)];
}

} // namespace zr
