#include <gtest/gtest.h>

#include "tests/support/materials.hpp"
#include "tests/support/scene.hpp"
#include "zirconlite/imagefiles/bitmap_store.h"
#include "zirconlite/materials/blend.h"
#include "zirconlite/materials/mapping.h"
#include "zirconlite/materials/mat_image.h"
#include "zirconlite/materials/surface_evaluation.hpp"

namespace
{

using namespace zr;
using namespace test;

struct mapped
{
    int32_t result;
    vector3 point, uvw, normal;
};

mapped map(const mapping& m, const vector3& point, const vector3& normal, double su = 0.0, double sv = 0.0)
{
    mapped out = {};
    apply_record record = { &point, &out.point, &out.uvw, &normal, &out.normal, &m, { su, sv } };
    out.result = zr_apply_mapping(&record);
    return out;
}

mapping mapping_of(int32_t kind, const vector3& scale = { 1, 1, 1 })
{
    mapping m = { kind, {}, { scale.x, scale.y, scale.z }, { 0.5 / pi, 1.0 / pi, 2.0 } };
    const vector3 up = { 0, 0, 1 }, origin = { 0, 0, 0 };
    zr_build_matrix(&up, &origin, 0.0, &m.transform);
    return m;
}

void expect_near(const vector3& a, const vector3& b)
{
    for (int i = 0; i < 3; ++i) { EXPECT_NEAR(component(a, i), component(b, i), 1e-8) << "axis " << i; }
}

} // namespace

TEST(Mapping, ProjectsByItsKind)
{
    constexpr double r2 = 1.41421356237309504;
    struct
    {
        const char* what;
        int32_t kind;
        vector3 point, normal, uvw;
        double su, sv;
    } const cases[] = {
        { "none", MAPPING_NONE, { 1, 2, 3 }, { 0, 1, 0 }, { 1, 3, 2 }, 0, 0 },
        { "box, ties go to x", MAPPING_BOX, { 1, 2, 3 }, { 0.6, 0.6, 0.5 }, { 2, 3, 1 }, 0, 0 },
        { "box, ties go to y", MAPPING_BOX, { 1, 2, 3 }, { 0.1, -0.6, 0.6 }, { 1, 3, 2 }, 0, 0 },
        { "box, z", MAPPING_BOX, { 1, 2, 3 }, { 0, 0, -1 }, { 1, 2, 3 }, 0, 0 },
        { "unknown kinds are boxes", 42, { 1, 2, 3 }, { 0, 0, -1 }, { 1, 2, 3 }, 0, 0 },
        { "planar", MAPPING_PLANAR, { 1, 2, 3 }, { 1, 0, 0 }, { 1, 2, 3 }, 0, 0 },
        { "cylinder on the x axis", MAPPING_CYLINDER, { 2, 0, 7 }, {}, { 2 * pi, 7, 0 }, 0, 0 },
        { "cylinder, an eighth on", MAPPING_CYLINDER, { r2, r2, -7 }, {}, { 2.5 * pi, -7, 0 }, 0, 0 },
        { "sphere at its equator", MAPPING_SPHERE, { 0, 2, 0 }, {}, { 3 * pi, pi, 0 }, 0, 0 },
        { "sphere at its poles", MAPPING_SPHERE, { 0, 0, 2 }, {}, { 2 * pi, 2 * pi, 0 }, 0, 0 },
        { "sphere at its centre", MAPPING_SPHERE, { 0, 0, 0 }, {}, { 0, 0, 0 }, 0, 0 },
        { "angular cylinder", MAPPING_ANGULAR_CYLINDER, { 9, 0, 3 }, {}, { 0.5 / 4, 6.0 / 2, 0 }, 4, 2 },
        { "angular cylinder, no pattern", MAPPING_ANGULAR_CYLINDER, { 1, 0, 3 }, {}, { 0.5, 6, 0 }, -4, 0 },
        { "angular sphere", MAPPING_ANGULAR_SPHERE, { 9, 0, 0 }, {}, { 0.5 / 4, 0.5 / 2, 0 }, 4, 2 },
        { "angular sphere, no pattern", MAPPING_ANGULAR_SPHERE, { 9, 0, 0 }, {}, { 0.5, 0.5, 0 }, 0, 0 },
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        const mapped m = map(mapping_of(c.kind), c.point, c.normal, c.su, c.sv);
        EXPECT_EQ(m.result, c.kind != MAPPING_NONE);
        expect_near(m.uvw, c.uvw);
        const bool replaces = c.kind >= MAPPING_CYLINDER && c.kind <= MAPPING_ANGULAR_SPHERE;
        expect_near(m.point, replaces ? c.uvw : c.point);
    }
    // The frame moves the point and turns the normal; the scale comes after it.
    mapping turned = mapping_of(MAPPING_BOX, { 2, 3, 5 });
    const vector3 x = { 1, 0, 0 }, origin = { 10, 0, 0 };
    zr_build_matrix(&x, &origin, 0.0, &turned.transform);
    const mapped m = map(turned, { 11, 2, 3 }, { 1, 0, 0 });
    expect_near(m.normal, { 0, 0, 1 });
    expect_near(m.uvw, { 2 * 2.0, 3 * 3.0, 5 * 1.0 });
}

TEST(Mapping, AnglesTakeThePatternOfTheMaterialOut)
{
    material* tile = new_complex_material();
    zr_set_blend_kind(tile, BLEND_KIND_TILE);
    blended(tile).scale = { 3, 4, 5 };
    material* hosts_own = dupe_material(tile);
    blended(hosts_own).blend = [](const complex_material*, ray*, const vector3*, child_context*)
    { return 0.5; };
    blended(hosts_own).has_own_pattern = 0; // the field that hosts leave alone
    material* rough = new_simple_material();
    const double axis[3] = { 0, 0, 1 }, origin[3] = {}, scale[3] = { 6, 7, 8 };
    EXPECT_EQ(zr_add_bump(rough, 9, axis, origin, 0.0, scale, 1.0), 1);
    material* even = new_simple_material();
    const std::pair<const material*, double> wanted[] = { { tile, 4 }, { hosts_own, 4 }, { rough, 7 },
        { even, 0 }, { nullptr, 0 } };
    for (const auto& [m, v] : wanted)
    {
        double found[2];
        pattern_scale_of(m, found);
        EXPECT_EQ(found[0], v == 0 ? 0 : v - 1);
        EXPECT_EQ(found[1], v);
    }
    for (material* m : { tile, hosts_own, rough, even }) { free_material(m); }
}

TEST(Mapping, VertexCoordinatesPlaceScaleAndTurnAPicture)
{
    const physical_colors physical;
    // Red grows along u, and normals of the second picture lean along u.
    std::vector<uint8_t> ramp;
    for (int i = 0; i < 64 * 64; ++i) { ramp.insert(ramp.end(), { uint8_t(4 * (i % 64)), 0, 0 }); }
    const uint8_t leaning[] = { 255, 128, 128 };
    scene s;
    material_entry* look = s.look([](simple_material& m) { m.images = zr_new_mat_image(); });
    mat_image& image = *simple(look->material).images;
    image.size[0] = image.size[1] = 1.0;
    zr_update_mat_image(&image);
    image.bitmap = zr_add_bitmap(u"ramp", 64, 64, 3, ramp.data());
    test::mesh m;
    m.look = look;
    // u runs along y, three times in 6 metres and tiled; v against x.
    m.quad({ 0, 0, 0 }, { 6, 0, 0 }, { 6, 6, 0 }, { 0, 6, 0 });
    m.corner_uv[0] = { -1, 0, -1, -1, 2, -1, 2, 0 };
    ASSERT_TRUE(s.add(m));
    mapping by_vertices = { MAPPING_VERTEX, {}, {}, {} };
    scene_object* object = zr_object_from_number(s.doc, 1);
    object->vft->set_mapping(object, &by_vertices);
    ASSERT_TRUE(s.prepare());
    const auto look_at = [&](double x, double y, double footprint, surface& out)
    {
        ray r = s.eye_ray({ x, y, 5 }, { 0, 0, -1 });
        r.footprint[0] = r.footprint[1] = footprint;
        trace_ray(*s.doc, r, nullptr);
        zr_resolve_surface(look->material, &r, &out);
        return r;
    };
    surface found;
    for (const double y : { 0.3, 1.9, 4.51, 5.2 })
    {
        const ray r = look_at(1.0, y, 0.0, found);
        EXPECT_NEAR(r.uv.x, y / 2 - 1, 1e-6);
        EXPECT_NEAR(r.uv.y, -1 / 6.0, 1e-6);
        const double byte = 4 * std::floor(64 * (y / 2 - std::floor(y / 2)));
        EXPECT_NEAR(found.color[0], std::pow(byte / 255, 2.2), 1e-6);
    }
    // 64 texels in 2 metres: a footprint of 1/16 m covers two along u. With half of that area the mean of two
    // texels and that of four count alike.
    look_at(1.0, 0.36, std::sqrt(0.5) / 16.0, found);
    EXPECT_NEAR(found.color[0], std::pow(0.5 * (42 + 38) / 255.0, 2.2), 1e-6) << "of texels 8 to 11";

    image.bump_strength = 1.0f;
    ray r = look_at(1.0, 1.1, 0.0, found);
    EXPECT_GT(r.shading_normal.y, 0.05) << "towards where the picture gets brighter";
    EXPECT_NEAR(r.shading_normal.x, 0.0, 1e-9);
    image.flags = IMAGE_OF_NORMALS;
    image.bitmap = zr_add_bitmap(u"normals", 1, 1, 3, leaning);
    r = look_at(1.0, 1.1, 0.0, found);
    EXPECT_NEAR(r.shading_normal.y, 1.0, 1e-2);
    EXPECT_NEAR(found.color[0], 1.0, 1e-6) << "a picture of normals colours nothing";

    // Without coordinates the world places the picture.
    by_vertices.kind = MAPPING_BOX;
    test::mesh plain;
    plain.look = look;
    plain.quad({ 10, 0, 0 }, { 12, 0, 0 }, { 12, 6, 0 }, { 10, 6, 0 });
    ASSERT_TRUE(s.add(plain));
    mapping none_there = { MAPPING_VERTEX, {}, {}, {} };
    object = zr_object_from_number(s.doc, 3);
    object->vft->set_mapping(object, &none_there);
    ASSERT_TRUE(s.prepare());
    EXPECT_NEAR(look_at(11.25, 1.5, 0.0, found).uv.x, 11.25, 1e-9);
    zr_free_all_bitmaps();
    image.bitmap = nullptr;
}

TEST(Mapping, PatternsRunOnWhatTheObjectMaps)
{
    // Marble in bands of half a unit; the object scales it by 3, or wraps four bands of it round the z axis.
    const physical_colors physical;
    material* marble = new_complex_material();
    for (int i = 0; i < 2; ++i) { blended(marble).children[i] = new_simple_material(); }
    simple(blended(marble).children[0]).color[0] = 1.0f;
    zr_set_blend_kind(marble, BLEND_KIND_MARBLE);
    zr_update_pattern_transform(marble);
    blended(marble).params.ratio[0] = 0.5f;
    blended(marble).blend_flags = BLEND_MAPPED;
    static mapping used;
    object_vft table = {};
    table.get_mapping = [](const scene_object*, mapping* out) -> int32_t
    {
        *out = used;
        return 1;
    };
    scene_object object = { nullptr, &table, 0, 0 };
    const struct
    {
        int32_t kind;
        double scale;
        vector3 point;
        float white;
    } cases[] = { { MAPPING_PLANAR, 1, { 0.1, 0, 0 }, 1 }, { MAPPING_PLANAR, 1, { 0.2, 0, 0 }, 0 },
        { MAPPING_PLANAR, 1, { 0.4, 0, 0 }, 1 }, { MAPPING_ANGULAR_CYLINDER, 4, { 0.3, -0.9, 2 }, 1 },
        { MAPPING_ANGULAR_CYLINDER, 4, { 0.9, 0.3, 2 }, 0 }, { MAPPING_NONE, 1, { 0, 0.2, 0 }, 1 },
        { MAPPING_NONE, 1, { 0, 0.7, 0 }, 0 } };
    for (const auto& c : cases)
    {
        used = mapping_of(c.kind, { c.kind == MAPPING_PLANAR ? 3.0 : 1.0, 1, 1 });
        blended(marble).scale = { c.scale, 1, 1 };
        ray r = hit_from_above();
        r.hit_object = &object;
        r.map_point = c.point;
        r.interpolated_normal = { c.kind == MAPPING_NONE ? 1.0 : 0.0, 0, c.kind == MAPPING_NONE ? 0.0 : 1.0 };
        surface s;
        zr_resolve_surface(marble, &r, &s);
        EXPECT_EQ(s.color[0], c.white) << c.kind << " at " << c.point.x << ", " << c.point.y;
    }
    free_material(marble);
}
