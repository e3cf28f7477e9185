/// @file
/// Small scenes for tests of geometry and light: meshes by a few calls, light sources in candela, and single
/// rays traced without a render job.
#pragma once

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "zirconlite/frame/document.h"
#include "zirconlite/frame/jitter.hpp"
#include "zirconlite/frame/job_state.hpp"
#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/jobs/render_job.h"
#include "zirconlite/lighting/light.h"
#include "zirconlite/materials/material.h"
#include "zirconlite/meshes/mesh_build.h"
#include "zirconlite/meshes/y_mesh.h"
#include "zirconlite/raytrace/direct_light.hpp"
#include "zirconlite/raytrace/emission_setup.h"
#include "zirconlite/raytrace/shading.hpp"
#include "zirconlite/search/voxel_grid.h"

namespace test
{

using polygon = std::vector<int32_t>;

/// A mesh as a test writes it down.
struct mesh
{
    std::vector<vector3> vertices;
    std::vector<polygon> polygons;
    uint32_t flags = 0;
    double smooth_cosine = 1.0;
    std::vector<float> corner_uv[2]; ///< pairs, in the order of the polygons' corners
    material_entry* look = nullptr;
    ::light* shape_of = nullptr; ///< with OBJECT_LIGHT_SHAPE
    ::light* group = nullptr;    ///< with OBJECT_PROPERTY_6 to 8

    void quad(const vector3& a, const vector3& b, const vector3& c, const vector3& d)
    {
        const auto first = int32_t(vertices.size());
        vertices.insert(vertices.end(), { a, b, c, d });
        polygons.push_back({ first, first + 1, first + 2, first + 3 });
    }
    void triangle(const vector3& a, const vector3& b, const vector3& c)
    {
        const auto first = int32_t(vertices.size());
        vertices.insert(vertices.end(), { a, b, c });
        polygons.push_back({ first, first + 1, first + 2 });
    }
    /// A closed box, normals outwards.
    void box(const bounding_box& b)
    {
        vector3 sides[6][4];
        zr_get_bounding_box_sides(&b, sides);
        for (const auto& s : sides) { quad(s[0], s[1], s[2], s[3]); }
    }
    /// A closed ball of `rows` by 2 `rows` quadrilaterals, normals outwards.
    void ball(const vector3& centre, double radius, int rows)
    {
        using namespace zr;
        const auto base = int32_t(vertices.size());
        const int columns = 2 * rows;
        for (int r = 0; r <= rows; ++r)
        {
            for (int c = 0; c < columns; ++c)
            {
                const double theta = M_PI * r / rows, phi = 2.0 * M_PI * c / columns;
                vertices.push_back(centre + vector3{ std::sin(theta) * std::cos(phi),
                                                std::sin(theta) * std::sin(phi), std::cos(theta) } *
                                                radius);
            }
        }
        for (int r = 0; r < rows; ++r)
        {
            for (int c = 0; c < columns; ++c)
            {
                const int32_t a = base + r * columns + c, b = base + r * columns + (c + 1) % columns;
                if (r > 0) { polygons.push_back({ a, a + columns, b }); }
                if (r < rows - 1) { polygons.push_back({ b, a + columns, b + columns }); }
            }
        }
    }
};

/// A document with ranges that light tests need: metres, deep recursion, no ambient stand-in.
struct scene
{
    explicit scene(int32_t light_model = LIGHT_MODEL_EXACT) : doc(zr_open_document()), view(doc->views[1])
    {
        doc->light_model = light_model;
        doc->quality = 3;
        doc->reflect_limit = doc->refract_limit = 12;
        doc->sky_scale = doc->world_to_model = doc->model_to_world = 1.0;
        view.document = doc;
        view.tone_exponent = view.tone_scale = view.background_exponent = view.background_scale = 1.0;
        view.near = -1.0;
    }
    ~scene()
    {
        zr::free_thread_lights();
        zr::free_shadow_caches();
        zr::job = saved_job;
        zr_close_document(doc);
    }
    scene(const scene&) = delete;
    scene& operator=(const scene&) = delete;

    /// A material that `change` makes from the default one: white, diffuse.
    template <class Change> material_entry* look(Change change)
    {
        const float white[3] = { 1, 1, 1 };
        material* made = zr_build_matte_material(white);
        auto& m = *reinterpret_cast<simple_material*>(made);
        std::fill_n(m.transparent_color, 3, 1.0f);
        change(m);
        zr_update_material_weights(made);
        zr_resolve_surface(made, nullptr, made->surface);
        const std::u16string name = u"m" + std::u16string(1, char16_t(u'0' + count++));
        return zr_add_material(doc, name.c_str(), made);
    }
    material_entry* matte(float grey)
    {
        return look([&](simple_material& m) { std::fill_n(m.color, 3, grey); });
    }
    /// Black but for its own light.
    material_entry* glowing(float radiance)
    {
        return look(
            [&](simple_material& m)
            {
                m.luminosity = radiance;
                m.diffuse_share = 0.0f;
                m.head.flags |= MATERIAL_NO_MIRROR;
            });
    }
    material_entry* mirror(float share)
    {
        return look([&](simple_material& m) { m.diffuse_share = 1.0f - share; });
    }
    material_entry* glass(float ior, float red = 1, float green = 1, float blue = 1)
    {
        return look(
            [&](simple_material& m)
            {
                m.opacity = 0.0f;
                m.ior = ior;
                m.transparent_color[0] = red;
                m.transparent_color[1] = green;
                m.transparent_color[2] = blue;
            });
    }

    bool add(const mesh& m)
    {
        std::vector<mesh_polygon> polygons;
        for (const polygon& p : m.polygons) { polygons.push_back({ int32_t(p.size()), p.data() }); }
        mesh_geometry geometry = { int32_t(m.vertices.size()), m.vertices.data(), int32_t(polygons.size()),
            polygons.data(), { nullptr, nullptr } };
        for (int set = 0; set < 2; ++set)
        {
            if (!m.corner_uv[set].empty())
            {
                geometry.corner_uv[set] = reinterpret_cast<const float(*)[2]>(m.corner_uv[set].data());
            }
        }
        object_descriptor descriptor = {};
        descriptor.flags = m.flags;
        descriptor.smooth_cosine = m.smooth_cosine;
        mesh_build build;
        zr_init_mesh_build(doc, &build);
        build.descriptor = &descriptor;
        build.geometry = &geometry;
        build.material = m.look ? m.look : matte(0.5f);
        build.light = m.shape_of;
        build.group_light = m.group;
        return zr_create_mesh(doc, &build) == 1;
    }

    /// A white point of `candela` in all directions.
    static light point_source(const vector3& position, float candela)
    {
        light l = {};
        l.type = LIGHT_SPHERICAL;
        l.distribution = DISTRIBUTION_ISOTROPIC;
        l.brightness_unit = BRIGHTNESS_CANDELA;
        l.candela = candela;
        l.position = position;
        l.color_temperature = 5000.0f;
        std::fill_n(l.filter, 3, 1.0f);
        l.falloff = 2.0;
        l.shadow_strength = 1.0;
        return l;
    }
    void add(const light& l) { zr_insert_light_source_ex(&doc->lights, zr_create_light(&l, nullptr), doc); }

    /// Builds the grid and takes the steps that a job takes before its first ray.
    bool prepare()
    {
        if (!zr_build_voxel_grid(doc)) { return false; }
        relight();
        return true;
    }
    void relight()
    {
        zr_init_raytrace(doc, &view);
        zr::fill_random_tables();
        zr_set_source_initial_luminance(doc->scene_objects.first);
        zr::prepare_thread_lights(*doc, 1);
        for (int i = 0; i < 2; ++i)
        {
            zr::job.pixel_jitter_amplitude[i] = doc->pixel_jitter;
            zr::job.gloss_jitter_amplitude[i] = doc->gloss_jitter;
            zr::job.translucency_jitter_amplitude[i] = doc->translucency_jitter;
        }
    }

    /// A ray from the eye, at the centre of a pixel.
    ray eye_ray(const vector3& origin, const vector3& direction) const
    {
        ray r = {};
        r.kind = RAY_PRIMARY;
        r.origin = origin;
        r.direction = zr::normalized(direction);
        r.inv_direction = zr::ray_reciprocal(r.direction);
        r.hit_t = r.t_max = ZR_FAR;
        r.sample_index = 12;
        for (double& w : r.weight) { w = 1.0; }
        r.reflect_limit = doc->reflect_limit;
        r.refract_limit = doc->refract_limit;
        r.document = doc;
        r.view = const_cast<render_view*>(&view);
        zr::clear_results(r);
        return r;
    }
    /// The ray with the light that it brings back.
    ray seen(const vector3& origin, const vector3& direction) const
    {
        ray r = eye_ray(origin, direction);
        zr::trace_ray(*doc, r, nullptr);
        return r;
    }
    double radiance(const vector3& origin, const vector3& direction) const
    {
        return seen(origin, direction).radiance[1];
    }

    document* doc;
    render_view& view;
    zr::job_state saved_job = zr::job;
    int count = 0;
};

/// The face that was created as number `number`, from 1.
inline const y_face& face(const scene& s, uint32_t number)
{
    return *reinterpret_cast<const y_face*>(zr_object_from_number(s.doc, number));
}

} // namespace test
