#include <gtest/gtest.h>

#include <random>
#include <string>

#include "tests/support/materials.hpp"
#include "tests/support/scene.hpp"
#include "zirconlite/frame/module_state.hpp"
#include "zirconlite/materials/blend.h"
#include "zirconlite/materials/bumps.h"
#include "zirconlite/materials/noise.h"
#include "zirconlite/materials/opacity.hpp"
#include "zirconlite/materials/ripple.h"
#include "zirconlite/materials/surface_evaluation.hpp"
#include "zirconlite/search/ray_search.hpp"

namespace
{

using namespace zr;
using namespace test;

constexpr matrix4 identity = { { { 1, 0, 0, 0 }, { 0, 1, 0, 0 }, { 0, 0, 1, 0 }, { 0, 0, 0, 1 } } };

double share = 0.0; ///< what the blends below answer
double fixed_share(const complex_material*, ray*, const vector3*, child_context*) { return share; }

material* blend_of(material* a, material* b)
{
    material* m = new_complex_material();
    blended(m).children[0] = a;
    blended(m).children[1] = b;
    blended(m).transform = identity;
    blended(m).blend = fixed_share;
    a->parent = b->parent = m;
    return m;
}

material* plain(float grey, uint32_t flags = 0)
{
    material* m = new_simple_material();
    for (float& c : simple(m).color) { c = grey; }
    m->flags |= flags;
    return m;
}

void tilt_to_x(const vector3*, vector3* n, double) { *n = { 1, 0, 0 }; }
void tilt_to_y(const vector3*, vector3* n, double) { *n = { 0, 1, 0 }; }

void add_bump(material* m, bump_function function, double strength)
{
    auto* b = static_cast<bump*>(zr_calloc(1, sizeof(bump)));
    b->function = function;
    b->strength = strength;
    b->transform = identity;
    b->scale = { 1, 1, 1 };
    b->next = simple(m).bumps;
    simple(m).bumps = b;
}

} // namespace

TEST(Surface, BlendsMixEveryPartOfTheirChildren)
{
    const physical_colors physical;
    material* a = plain(1.0f, MATERIAL_NO_MIRROR);
    material* b = plain(0.0f, MATERIAL_SHARP_REFLECTION);
    simple(a).diffuse_share = 0.2f;
    simple(b).opacity = 0.5f;
    simple(b).ior = 3.0f;
    zr_update_material_weights(a);
    zr_update_material_weights(b);
    add_bump(a, tilt_to_x, 1.0);
    add_bump(b, tilt_to_y, 1.0);
    material* m = blend_of(a, b);
    m->id = 12;
    constexpr uint32_t from_a = SURFACE_NO_MIRROR | SURFACE_TEXTURED,
                       from_b = SURFACE_SHARP_REFLECTION | SURFACE_TEXTURED;
    struct
    {
        double share;
        float diffuse, color, ior;
        uint32_t flags;
        vector3 normal;
    } const cases[] = {
        { 0.0, 0.5f, 0.0f, 3.0f, from_b, { 0, 1, 0 } },
        { 1.0, 0.2f, 1.0f, 1.0f, from_a, { 1, 0, 0 } },
        { 0.5, 0.35f, 0.5f, 2.0f, from_a | from_b, { std::sqrt(0.5), std::sqrt(0.5), 0 } },
        { 0.75, 0.275f, 0.75f, 1.5f, from_a | from_b, { 3 / std::sqrt(10), 1 / std::sqrt(10), 0 } },
    };
    for (const auto& c : cases)
    {
        share = c.share;
        ray r = hit_from_above();
        surface s;
        zr_resolve_surface(m, &r, &s);
        EXPECT_NEAR(s.diffuse, c.diffuse, 1e-6);
        EXPECT_NEAR(s.color[1], c.color, 1e-6);
        EXPECT_NEAR(s.ior, c.ior, 1e-6);
        EXPECT_NEAR(s.diffuse + s.reflect + s.translucent + s.transparent, 1.0, 1e-6);
        EXPECT_EQ(s.flags, c.flags);
        EXPECT_NEAR(r.shading_normal.x, c.normal.x, 1e-9);
        EXPECT_NEAR(r.shading_normal.y, c.normal.y, 1e-9);
        EXPECT_EQ(s.material, m) << "the one at the top made it";
        EXPECT_EQ(r.material_id, 12);
    }
    free_material(m);
}

TEST(Surface, TreesDeeperThanSixEndInTheVoidSurface)
{
    const physical_colors physical;
    share = 1.0; // always down the first child
    for (int depth = 1; depth <= 9; ++depth)
    {
        material* m = plain(0.25f);
        for (int i = 0; i < depth; ++i) { m = blend_of(m, plain(0.75f)); }
        surface s;
        ray r = hit_from_above();
        EXPECT_EQ(zr_resolve_surface(m, &r, &s), 1);
        EXPECT_EQ(s.color[0], depth <= 6 ? 0.25f : 0.0f) << depth;
        EXPECT_EQ(s.diffuse, 1.0f);
        material* leaf = m;
        for (; leaf->flags & MATERIAL_COMPLEX; leaf = blended(leaf).children[0])
        {
            zr_set_blend_kind(leaf, BLEND_KIND_BLEND);
        }
        simple(leaf).transparent = 1.0f;
        EXPECT_EQ(is_always_opaque(m), depth > 6) << "what is deeper lets nothing through";
        free_material(m);
    }
    surface s;
    EXPECT_EQ(zr_resolve_surface(nullptr, nullptr, &s), 1);
    EXPECT_EQ(s.diffuse, 1.0f);
    EXPECT_EQ(s.ior, 1.0f);
    EXPECT_EQ(s.reflect_color[2], 1.0f);
    EXPECT_EQ(s.transparent_color[2], 0.0f);
}

TEST(Surface, NormalsFaceTheRay)
{
    const physical_colors physical;
    material* m = plain(0.5f);
    ray r = hit_from_above();
    r.interpolated_normal = vector3{ 0.3, 0, -0.9 };
    surface s;
    zr_resolve_surface(m, &r, &s);
    EXPECT_GT(r.facing_normal.z, 0.9);
    EXPECT_NEAR(length(r.shading_normal), 1.0, 1e-12);
    r.interpolated_normal = { 0, 0, 0 }; // opposite vertex normals
    zr_resolve_surface(m, &r, &s);
    EXPECT_EQ(r.facing_normal.z, 1.0);
    free_material(m);
}

namespace
{

std::string laid; ///< the decals laid, by their letters
void lay_decal(const property_node& decals, ray& r, surface& s, vector3& normal)
{
    laid += *static_cast<const char*>(decals.payload.list);
    EXPECT_EQ(r.facing_normal.z, 1.0);
    s.diffuse = 0.25f;
    normal = laid == "ab" ? vector3{ 0, 0, 1 } : vector3{ 1, 0, 0 };
}

} // namespace

TEST(Surface, BentNormalsStayOnTheSideOfTheFaceThatTheEyeSees)
{
    const physical_colors physical;
    material* m = plain(0.5f);
    for (const double side : { 1.0, -1.0 })
    {
        ray r = hit_from_above();
        r.direction =
            normalized(vector3{ 1, 0, -0.1 * side }); // a flat look at a face whose normal leans away
        r.interpolated_normal = normalized(vector3{ 0.8, 0, 0.6 });
        surface s;
        job.light_model = LIGHT_MODEL_EXACT;
        zr_resolve_surface(m, &r, &s);
        EXPECT_GT(r.facing_normal.z * side, 0.5) << side;
        EXPECT_LT(dot(r.facing_normal, r.direction), 0.0) << side;
        EXPECT_NEAR(dot(r.facing_normal, r.facing_normal), 1.0, 1e-12);
        job.light_model = LIGHT_MODEL_FAST;
        zr_resolve_surface(m, &r, &s);
        EXPECT_NEAR(r.facing_normal.z, -0.6, 1e-12) << "turned over whole";
    }
    job.light_model = LIGHT_MODEL_FAST;
    free_material(m);
}

TEST(Surface, DecalsLieOverTheMaterialInTheirOrderAndUnderRipples)
{
    test::scene s;
    test::mesh m;
    m.look = s.matte(0.5f);
    m.quad({ -1, -1, 0 }, { 1, -1, 0 }, { 1, 1, 0 }, { -1, 1, 0 });
    ASSERT_TRUE(s.add(m));
    ASSERT_TRUE(s.prepare());
    char letters[] = { 'a', 'b' };
    ripple wave = { nullptr, { 0, 0, 0 }, 2.0, 0.3f, 0.9f, 1.0f };
    property_node first = {}, second = {}, ripples = {};
    first.kind = PROPERTY_DECALS;
    first.payload.list = &letters[0];
    second.kind = PROPERTY_RPC_DECALS;
    second.payload.list = &letters[1];
    ripples.kind = PROPERTY_RIPPLES;
    ripples.payload.list = &wave;
    const auto hit = [&]
    {
        ray r = s.eye_ray({ 0.3, 0.2, 1 }, { 0, 0, -1 });
        EXPECT_TRUE(find_nearest_hit(*s.doc, r));
        surface found;
        r.hit_object->vft->get_surface(r.hit_object, &r, &found);
        EXPECT_EQ(found.diffuse, laid.empty() ? 1.0f : 0.25f);
        return r.shading_normal;
    };
    scene_object* const face = s.doc->scene_objects.first; // shares its properties with the other one
    for (property_node* p : { &second, &first, &ripples }) { face->vft->add_property(face, p); }
    const vector3 rippled = hit();
    EXPECT_NE(rippled.z, 1.0);
    decal_hook = lay_decal;
    const vector3 both = hit();
    decal_hook = nullptr;
    EXPECT_EQ(laid, "ab");
    EXPECT_EQ(both.x, rippled.x) << "ripples move the normal that the last decal left";
    EXPECT_EQ(both.z, rippled.z);
    laid.clear();
}

TEST(Surface, BumpsAndRipplesTiltByTheirLaws)
{
    const noise_table noise;
    // Rubble and sandpaper lean by noise, the first by three quarters of four octaves; strength mixes the
    // result with the normal as it was.
    const vector3 p = { 3.3, -1.7, 20.1 }, up = { 0, 0, 1 };
    double four[3], one[3];
    turb3(&p, four, 4);
    zr_noise(&p, one, 3);
    const vector3 leaning[] = { vector3{ four[0], four[1], four[2] } * 0.75, { one[0], one[1], one[2] } };
    for (int i = 0; i < 2; ++i)
    {
        for (const double strength : { 1.0, 0.3 })
        {
            vector3 bent = up;
            (i == 0 ? zr_bump_rubble : zr_bump_sandpaper)(&p, &bent, strength);
            const vector3 wanted = normalized(up * (1.0 - strength) + normalized(up + leaning[i]) * strength);
            EXPECT_NEAR(length(bent - wanted), 0.0, 1e-12) << i << " " << strength;
        }
    }
    // The four sides of a pyramid, on a floor, under a ceiling and on walls.
    constexpr double h = 0.35355339059327; // half of the side of a square over its diagonal
    struct
    {
        double x, y;
        vector3 normal, lean;
    } const sides[] = {
        { 0.1, 0.5, { 0, 0, 1 }, { -h, 0, h } },
        { 0.5, 0.9, { 0, 0, 1 }, { 0, h, 0 } },
        { 0.5, 0.1, { 0, 0, 1 }, { 0, -h, 0 } },
        { 0.9, 0.5, { 0, 0, 1 }, { h, 0, -h } },
        { 0.1, 0.5, { 0, 0, -1 }, { h, 0, h } },
        { 0.5, 0.9, { 0, 0, -1 }, { 0, h, 0 } },
        { 0.5, 0.1, { 0, 0, -1 }, { 0, -h, 0 } },
        { 0.9, 0.5, { 0, 0, -1 }, { -h, 0, -h } },
        { -0.9, 0.5, { 1, 0, 0 }, { 0, -0.5, 0 } },
        { 0.5, 7.9, { 1, 0, 0 }, { 0, 0, 0.5 } },
        { 0.1, 0.5, { -1, 0, 0 }, { 0, 0.5, 0 } },
        { 0.5, 0.9, { 0, 1, 0 }, { 0, 0, 0.5 } },
        { 0.1, 0.5, { 0, -1, 0 }, { -0.5, 0, 0 } },
        { 0.1, 0.5, { 2 * h, 0, 2 * h }, { 0, -0.5, 0 } }, // ties go to x, then to y
        { 0.1, 0.5, { 2 * h, 2 * h, 0 }, { 0, -0.5, 0 } },
        { 0.5, 0.9, { 0, 2 * h, 2 * h }, { 0, 0, 0.5 } },
    };
    for (const auto& c : sides)
    {
        vector3 bent = c.normal;
        const vector3 at = { c.x, c.y, 0 };
        zr_bump_pyramid(&at, &bent, 0.5);
        EXPECT_NEAR(length(bent - normalized(c.normal + c.lean)), 0.0, 1e-9)
            << c.x << " " << c.y << " " << c.normal.x << c.normal.z;
    }

    test::scene s;
    ripple waves[2] = { { nullptr, { 0, 0, 0 }, 2.0, 0.3f, 0.9f, 1.0f },
        { nullptr, { 5, 5, 0 }, 0.7, 0.2f, 1.0f, 0 } };
    waves[0].next = &waves[1];
    test::mesh pool;
    pool.quad({ -9, -9, 0 }, { 9, -9, 0 }, { 9, 9, 0 }, { -9, 9, 0 });
    ASSERT_TRUE(s.add(pool));
    scene_object* o = s.doc->scene_objects.first;
    property_node node = {};
    node.kind = PROPERTY_RIPPLES;
    node.payload.list = waves;
    o->vft->add_property(o, &node);
    ASSERT_TRUE(s.prepare());
    for (const vector3 at : { vector3{ 1, 2, 1 }, vector3{ 0, 0, 1 }, vector3{ -7, 3, 1 } })
    {
        const ray r = s.seen(at, { 0, 0, -1 });
        // A cosine that decays with each wave from the centre, one wave after the other.
        vector3 wanted = { 0, 0, 1 };
        for (const ripple& w : waves)
        {
            const vector3 d = vector3{ at.x, at.y, 0 } - w.center;
            const double turns = (w.phase / (2 * M_PI) + length(d)) * w.frequency;
            wanted = normalized(wanted + normalized(d) * (w.amplitude * std::pow(w.decay, turns) *
                                                             std::cos(2 * M_PI * turns)));
        }
        EXPECT_NEAR(length(r.shading_normal - wanted), 0.0, 1e-7);
        if (at.x != 0.0) { EXPECT_LT(r.shading_normal.z, 1.0 - 1e-6); }
        else
        {
            EXPECT_NEAR(r.shading_normal.x, r.shading_normal.y, 1e-12) << "flat at the first one's centre";
        }
    }
}

TEST(Noise, IsALatticeWithItsPeriodAndRange)
{
    const noise_table noise;
    std::mt19937 random(4);
    std::uniform_real_distribution<double> number(-300, 300);
    for (int n = 0; n < 1000; ++n)
    {
        const vector3 p = { number(random), number(random), number(random) };
        double a[3], b[3], raw[3], sum[3];
        zr_noise(&p, a, 3);
        for (const double c : a) { EXPECT_LE(std::fabs(c), 0.5); }
        double four[4] = { 9, 9, 9, 9 };
        zr_noise(&p, four, n % 6 - 1);
        for (int c = 0; c < 4; ++c) { EXPECT_EQ(four[c], c < std::min(n % 6 - 1, 3) ? a[c] : 9.0); }
        for (const vector3 period : { vector3{ 4096, 0, 0 }, vector3{ 0, -4096, 0 }, vector3{ 0, 0, 4096 } })
        {
            const vector3 moved = p + period;
            zr_noise(&moved, b, 3);
            for (int i = 0; i < 3; ++i) { EXPECT_NEAR(a[i], b[i], 1e-8); }
        }
        turb3(&p, sum, 1);
        for (int i = 0; i < 3; ++i) { EXPECT_EQ(sum[i], a[i]); }
        turb2(&p, sum, 5);
        EXPECT_LE(std::fabs(sum[0]), 1.0 - 1.0 / 32);

        const int32_t cell[3] = { int32_t(p.x), int32_t(p.y), int32_t(p.z) };
        const vector3 corner = { double(cell[0]), double(cell[1]), double(cell[2]) };
        zr_noise(&corner, a, 3);
        zr_integer_noise(cell, raw);
        for (int i = 0; i < 3; ++i) { EXPECT_EQ(a[i], raw[i]); }
        // The noise is continuous over the lattice, below 0 too, and level there.
        const vector3 beside = corner + vector3{ -1e-4, 1e-4, -1e-4 };
        zr_noise(&beside, b, 3);
        for (int i = 0; i < 3; ++i) { EXPECT_NEAR(a[i], b[i], 1e-7); }
    }
    double out[3] = { 7, 7, 7 };
    const vector3 null = { 0, 0, 0 };
    zr_noise(&null, out, 3);
    EXPECT_EQ(out[2], double(noise.table[0][2]));
    out[1] = 7;
    zr_noise(&null, out, 1);
    EXPECT_EQ(out[1], 7.0) << "one component asked, one written";
    turb1(&null, out, 0);
    EXPECT_EQ(out[0], 0.0);
    for (const double x : { double(NAN), double(INFINITY), 1e300, -1e300 })
    {
        const vector3 far = { x, x, x };
        turb3(&far, out, 1000000);
        EXPECT_LE(std::fabs(out[0]), 1.0);
    }
}
