/// @file
/// Scenes that the benchmarks shoot rays into, and the rays. All are made by rule, so every machine measures
/// the same work.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "zirconlite/frame/document.h"
#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/materials/material.h"
#include "zirconlite/meshes/mesh_build.h"
#include "zirconlite/search/ray_search.hpp"
#include "zirconlite/search/search_structure.h"
#include "zirconlite/search/voxel_grid.h"

namespace bench
{

using namespace zr;

/// Triangles over shared vertices, and a camera for first hits.
struct triangle_scene
{
    std::string name;
    std::vector<vector3> vertices;
    std::vector<int32_t> indices; ///< three for each triangle
    vector3 eye, target, light;
    size_t triangles() const { return indices.size() / 3; }
};

inline void add_quad(
    triangle_scene& s, const vector3& a, const vector3& b, const vector3& c, const vector3& d)
{
    const auto first = int32_t(s.vertices.size());
    s.vertices.insert(s.vertices.end(), { a, b, c, d });
    s.indices.insert(s.indices.end(), { first, first + 1, first + 2, first, first + 2, first + 3 });
}

/// A closed lumpy ball of about `count` triangles.
inline void add_blob(triangle_scene& s, const vector3& centre, double radius, size_t count)
{
    const int rows = std::max(4, int(std::sqrt(count / 4.0))), columns = 2 * rows;
    const auto base = int32_t(s.vertices.size());
    for (int r = 0; r <= rows; ++r)
    {
        for (int c = 0; c < columns; ++c)
        {
            const double theta = M_PI * r / rows, phi = 2.0 * M_PI * c / columns;
            const vector3 d = { std::sin(theta) * std::cos(phi), std::sin(theta) * std::sin(phi),
                std::cos(theta) };
            const double lump = 1.0 +
                                0.12 * std::sin(7.0 * d.x + 3.0 * d.y) * std::sin(5.0 * d.z + 2.0 * d.x) +
                                0.02 * std::sin(41.0 * d.x) * std::sin(37.0 * d.y + 29.0 * d.z);
            s.vertices.push_back(centre + d * (radius * lump));
        }
    }
    for (int r = 0; r < rows; ++r)
    {
        for (int c = 0; c < columns; ++c)
        {
            const int32_t a = base + r * columns + c, b = base + r * columns + (c + 1) % columns;
            s.indices.insert(s.indices.end(), { a, a + columns, b + columns, a, b + columns, b });
        }
    }
}

inline triangle_scene blob_scene(size_t count)
{
    triangle_scene s;
    s.name = "blob";
    add_blob(s, { 0, 0, 0 }, 1.0, count);
    s.eye = { 0.4, -2.6, 0.7 };
    s.target = { 0, 0, 0 };
    s.light = { 3, -2, 4 };
    return s;
}

/// A court with storeys of round columns, floors and walls: some 400 thousand triangles.
inline triangle_scene atrium_scene()
{
    triangle_scene s;
    s.name = "atrium";
    const double w = 12.0, h = 12.0;
    add_quad(s, { -w, -w, 0 }, { w, -w, 0 }, { w, w, 0 }, { -w, w, 0 });
    add_quad(s, { -w, -w, h }, { -w, w, h }, { w, w, h }, { w, -w, h });
    add_quad(s, { -w, w, 0 }, { w, w, 0 }, { w, w, h }, { -w, w, h });
    add_quad(s, { w, -w, 0 }, { w, -w, h }, { w, w, h }, { w, w, 0 });
    add_quad(s, { -w, -w, 0 }, { -w, w, 0 }, { -w, w, h }, { -w, -w, h });
    add_quad(s, { -w, -w, 0 }, { -w, -w, h }, { w, -w, h }, { w, -w, 0 });
    for (int storey = 0; storey < 3; ++storey)
    {
        const double z = storey * 4.0;
        for (int i = -4; i <= 4; ++i)
        {
            for (const double side : { -8.0, 8.0 })
            {
                for (const vector3 foot : { vector3{ i * 2.0, side, z }, vector3{ side, i * 2.0, z } })
                {
                    for (int ball = 0; ball < 8; ++ball)
                    {
                        add_blob(s, foot + vector3{ 0, 0, 0.25 + 0.45 * ball }, 0.28, 460);
                    }
                }
            }
        }
        if (storey > 0) { add_quad(s, { -w, 8, z }, { w, 8, z }, { w, w, z }, { -w, w, z }); }
    }
    s.eye = { -5.5, -6.5, 1.7 };
    s.target = { 3, 5, 4 };
    s.light = { 0, 0, 11 };
    return s;
}

/// A dense object, 46 thousand triangles, in a site two kilometres wide.
inline triangle_scene landscape_scene()
{
    triangle_scene s;
    s.name = "landscape";
    const int posts = 24;
    for (int y = 0; y < posts; ++y)
    {
        for (int x = 0; x < posts; ++x)
        {
            const auto at = [](int i, int j)
            {
                const double px = -1000.0 + i * 2000.0 / 24, py = -1000.0 + j * 2000.0 / 24;
                return vector3{ px, py, 6.0 * std::sin(px * 0.01) * std::cos(py * 0.013) - 6.0 };
            };
            add_quad(s, at(x, y), at(x + 1, y), at(x + 1, y + 1), at(x, y + 1));
        }
    }
    add_blob(s, { 0, 0, 1.0 }, 1.0, 45000);
    s.eye = { 0.6, -3.6, 1.7 };
    s.target = { 0, 0, 0.9 };
    s.light = { 5, -4, 9 };
    return s;
}

/// 200 thousand small quads in the shape of a crown: a tree's leaves.
inline triangle_scene foliage_scene()
{
    triangle_scene s;
    s.name = "foliage";
    std::mt19937 random(7);
    std::uniform_real_distribution<double> unit(-1.0, 1.0);
    while (s.triangles() < 400000)
    {
        const vector3 p = { unit(random), unit(random), unit(random) };
        const vector3 u = normalized({ unit(random), unit(random), unit(random) });
        vector3 a, b;
        zr_make_axes(&u, &a, &b, 1e-5);
        if (dot(p, p) > 1.0) { continue; }
        const vector3 c = vector3{ 0, 0, 6 } + p * 4.0;
        a = a * 0.04;
        b = b * 0.03;
        add_quad(s, c - a - b, c + a - b, c + a + b, c - a + b);
    }
    add_quad(s, { -20, -20, 0 }, { 20, -20, 0 }, { 20, 20, 0 }, { -20, 20, 0 });
    s.eye = { 2, -13, 1.7 };
    s.target = { 0, 0, 5 };
    s.light = { 9, -6, 20 };
    return s;
}

/// A document that holds the scene, with its acceleration structure built.
inline document* open_scene(const triangle_scene& s, int32_t structure = SEARCH_TREE)
{
    zr_set_search_structure(structure);
    document* d = zr_open_document();
    std::vector<mesh_polygon> polygons(s.triangles());
    for (size_t i = 0; i < polygons.size(); ++i) { polygons[i] = { 3, &s.indices[3 * i] }; }
    const mesh_geometry geometry = { int32_t(s.vertices.size()), s.vertices.data(), int32_t(polygons.size()),
        polygons.data(), { nullptr, nullptr } };
    object_descriptor descriptor = {};
    descriptor.smooth_cosine = 0.5;
    mesh_build build;
    zr_init_mesh_build(d, &build);
    build.descriptor = &descriptor;
    build.geometry = &geometry;
    const float grey[3] = { 0.5f, 0.5f, 0.5f };
    build.material = zr_add_material(d, u"grey", zr_build_matte_material(grey));
    if (!zr_create_mesh(d, &build) || !zr_build_voxel_grid(d)) { std::abort(); }
    return d;
}

enum ray_set
{
    first_hits,
    diffuse_bounces,
    shuffled,
    shadow_rays
};
inline const char* const ray_set_names[] = { "first", "diffuse", "shuffled", "shadow" };

/// What a search needs of a ray. The full record is ten times as long; a renderer has it in the cache, a list
/// of a hundred thousand has not.
struct ray_start
{
    vector3 origin, direction, inv_direction;
    double t_min, t_max;
};

inline ray_start make_start(const vector3& origin, const vector3& direction, double t_min, double t_max)
{
    return { origin, direction, ray_reciprocal(direction), t_min, t_max };
}

/// Makes `r` ready for a search along `from`.
inline void start_ray(ray& r, const ray_start& from)
{
    r.origin = from.origin;
    r.direction = from.direction;
    r.inv_direction = from.inv_direction;
    r.t_min = from.t_min;
    r.t_max = from.t_max;
    r.hit_t = ZR_FAR;
    r.hit_object = nullptr;
}

/// Rays of one kind: through the pixels of a square picture, cosine-spread from its hits, those in random
/// order, or from its hits to the light.
inline std::vector<ray_start> make_rays(const document& d, const triangle_scene& s, ray_set kind, int side)
{
    const vector3 forward = normalized(s.target - s.eye);
    const vector3 right = normalized(cross(forward, { 0, 0, 1 })), up = cross(right, forward);
    std::vector<ray_start> first;
    for (int y = 0; y < side; ++y)
    {
        for (int x = 0; x < side; ++x)
        {
            const double u = (x + 0.5) / side - 0.5, v = (y + 0.5) / side - 0.5;
            first.push_back(make_start(s.eye, normalized(forward + u * right + v * up), 0.0, ZR_FAR));
        }
    }
    if (kind == first_hits) { return first; }
    std::mt19937 random(1);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    std::vector<ray_start> out;
    ray r = {};
    for (const ray_start& from : first)
    {
        start_ray(r, from);
        if (!find_nearest_hit(d, r)) { continue; }
        vector3 n = normalized(r.geometric_normal);
        if (dot(n, r.direction) > 0.0) { n = -n; }
        if (kind == shadow_rays)
        {
            const vector3 to = s.light - r.hit_point;
            out.push_back(make_start(r.hit_point, normalized(to), 1e-5, length(to) - 1e-4));
            continue;
        }
        vector3 a, b;
        zr_make_axes(&n, &a, &b, 1e-5);
        const double phi = 2.0 * M_PI * unit(random), q = std::sqrt(unit(random));
        const vector3 w =
            normalized(q * std::cos(phi) * a + q * std::sin(phi) * b + std::sqrt(1.0 - q * q) * n);
        out.push_back(make_start(r.hit_point, w, 1e-5, ZR_FAR));
    }
    if (kind == shuffled) { std::shuffle(out.begin(), out.end(), random); }
    return out;
}

/// Runs `work(first, last, thread)` over pieces of `count` that the threads take in turn, so that a picture's
/// easy and hard parts fall on all of them.
inline void in_parallel(size_t count, int threads, const std::function<void(size_t, size_t, int)>& work)
{
    constexpr size_t piece = 1024;
    const auto run = [&](int thread)
    {
        for (size_t i = thread * piece; i < count; i += threads * piece)
        {
            work(i, std::min(i + piece, count), thread);
        }
    };
    std::vector<std::thread> pool;
    for (int t = 1; t < threads; ++t) { pool.emplace_back(run, t); }
    run(0);
    for (std::thread& t : pool) { t.join(); }
}

} // namespace bench
