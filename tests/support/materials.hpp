/// @file
/// Materials by their parts, a hit to evaluate them at, and the noise table of a started library.
#pragma once

#include <random>

#include "zirconlite/frame/job_state.hpp"
#include "zirconlite/frame/memory.h"
#include "zirconlite/frame/module_state.hpp"
#include "zirconlite/geometry/ray.h"
#include "zirconlite/materials/material.h"
#include "zirconlite/materials/surface.h"

namespace test
{

inline simple_material& simple(material* m) { return *reinterpret_cast<simple_material*>(m); }
inline complex_material& blended(material* m) { return *reinterpret_cast<complex_material*>(m); }

/// A hit that looks straight at a surface facing up.
inline ray hit_from_above()
{
    ray r = {};
    r.direction = { 0, 0, -1 };
    r.geometric_normal = r.interpolated_normal = { 0, 0, 1 };
    return r;
}

/// A noise table for the length of a test.
struct noise_table
{
    noise_table() : kept(zr::the_module.jitter_vectors)
    {
        table = static_cast<float(*)[3]>(zr_malloc(4096 * sizeof(float[3])));
        std::mt19937 random(9);
        for (int i = 0; i < 4096; ++i)
        {
            for (int k = 0; k < 3; ++k) { table[i][k] = float(random() % 32768 / 32767.0 - 0.5); }
        }
        zr::the_module.jitter_vectors = table;
    }
    ~noise_table()
    {
        zr::the_module.jitter_vectors = kept;
        zr_free(table);
    }
    float (*kept)[3];
    float (*table)[3];
};

struct physical_colors
{
    physical_colors() { zr::job.simple_colors = 0; }
    ~physical_colors() { zr::job.simple_colors = kept; }
    int32_t kept = zr::job.simple_colors;
};

} // namespace test
