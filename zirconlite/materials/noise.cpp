#include "zirconlite/materials/noise.h"

#include "zirconlite/frame/module_state.hpp"
#include "zirconlite/materials/noise.hpp"

using namespace zr;

namespace
{

uint32_t split(double c, double& fraction);
double bent(double f);
uint32_t lattice_hash(uint32_t i, uint32_t j, uint32_t k);
int32_t turbulence(const vector3* point, double* out, int32_t octaves, int32_t components);

} // namespace

int32_t zr_noise(const vector3* point, double* out, int32_t components)
{
    if (components > 3) { components = 3; }
    for (int32_t c = 0; c < components; ++c) { out[c] = 0.0; }
    const float(*table)[3] = the_module.jitter_vectors;
    if (!table) { return 1; }
    double f[3];
    const uint32_t i = split(point->x, f[0]), j = split(point->y, f[1]), k = split(point->z, f[2]);
    const double sx = bent(f[0]), sy = bent(f[1]), sz = bent(f[2]);
    const double across[4] = { (1.0 - sx) * (1.0 - sy), (1.0 - sx) * sy, sx * (1.0 - sy), sx * sy };
    const uint32_t hash = lattice_hash(i, j, k);
    constexpr uint32_t steps[4] = { 0, 103, 59, 162 };
    for (uint32_t side = 0; side < 4; ++side)
    {
        const float* below = table[(hash + steps[side]) & 0xfff];
        const float* above = table[(hash + steps[side] + 79) & 0xfff];
        const double low = across[side] * (1.0 - sz), high = across[side] * sz;
        for (int32_t n = 0; n < components; ++n) { out[n] += low * below[n] + high * above[n]; }
    }
    return 1;
}

int32_t zr_integer_noise(const int32_t cell[3], double out[3])
{
    const float(*table)[3] = the_module.jitter_vectors;
    const uint32_t entry = lattice_hash(uint32_t(cell[0]), uint32_t(cell[1]), uint32_t(cell[2]));
    for (int n = 0; n < 3; ++n) { out[n] = table ? table[entry][n] : 0.0; }
    return 1;
}

int32_t turb1(const vector3* point, double* out, int32_t octaves)
{
    return turbulence(point, out, octaves, 1);
}
int32_t turb2(const vector3* point, double out[2], int32_t octaves)
{
    return turbulence(point, out, octaves, 2);
}
int32_t turb3(const vector3* point, double out[3], int32_t octaves)
{
    return turbulence(point, out, octaves, 3);
}

namespace
{

/// The lattice coordinate below `c`, wrapped to 32 bits, and the fraction behind it.
uint32_t split(double c, double& fraction)
{
    if (std::fabs(c) < 9e15)
    {
        // One conversion serves both: whole numbers of this size are exact.
        const int64_t toward_0 = int64_t(c);
        const int64_t whole = toward_0 - (c < double(toward_0));
        fraction = c - double(whole);
        return uint32_t(whole);
    }
    fraction = 0.0;
    return lattice_coordinate(c);
}

double bent(double f) { return f <= 0.5 ? 2.0 * f * f : 1.0 - 2.0 * (1.0 - f) * (1.0 - f); }

uint32_t lattice_hash(uint32_t i, uint32_t j, uint32_t k) { return (59 * i + 103 * j + 79 * k) & 0xfff; }

int32_t turbulence(const vector3* point, double* out, int32_t octaves, int32_t components)
{
    for (int32_t c = 0; c < components; ++c) { out[c] = 0.0; }
    if (octaves > NOISE_MAX_OCTAVES) { octaves = NOISE_MAX_OCTAVES; }
    vector3 q = *point;
    double weight = 1.0;
    for (int32_t n = 0; n < octaves; ++n)
    {
        double value[3];
        zr_noise(&q, value, components);
        for (int32_t c = 0; c < components; ++c) { out[c] += value[c] * weight; }
        weight *= 0.5;
        q = { q.x * 2.0, q.y * 2.0, q.z * 2.0 };
    }
    return 1;
}

} // namespace
