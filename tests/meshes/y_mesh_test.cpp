#include <gtest/gtest.h>

#include <cfloat>
#include <limits>
#include <set>

#include "tests/support/scene.hpp"
#include "zirconlite/frame/error.h"
#include "zirconlite/geometry/scene_object.h"
#include "zirconlite/materials/mapping.h"
#include "zirconlite/meshes/mesh_build.hpp"
#include "zirconlite/search/ray_search.hpp"

namespace
{

using namespace zr;
using test::face;

/// Two triangles over the edge from (0,0,0) to (0,1,0), the second turned up by `angle`.
test::mesh hinge(double angle, double smooth_cosine)
{
    test::mesh m;
    m.smooth_cosine = smooth_cosine;
    m.vertices = { { 0, 0, 0 }, { 0, 1, 0 }, { -1, 0, 0 }, { std::cos(angle), 0, std::sin(angle) } };
    m.polygons = { { 0, 1, 2 }, { 0, 3, 1 } };
    return m;
}

size_t different_vertices(const test::scene& s)
{
    std::set<const y_vertex*> all;
    for (uint32_t i = 1; i < s.doc->object_table_count; ++i)
    {
        for (const y_vertex* v : face(s, i).vertex) { all.insert(v); }
    }
    return all.size();
}

} // namespace

TEST(YMesh, FacesShareAVertexWithinTheSmoothingLimit)
{
    constexpr double degree = M_PI / 180.0;
    struct
    {
        const char* what;
        double angle, limit, document_limit;
        size_t vertices;
    } const cases[] = {
        { "in one plane", 0, 0.5, 0, 4 },
        { "in one plane, flat", 0, 1.0, 0, 4 },
        { "a right angle, limit 60 degrees", 90 * degree, 0.5, 0, 6 },
        { "30 degrees, limit 60 degrees", 30 * degree, 0.5, 0, 4 },
        { "1 degree, flat", 1 * degree, 1.0, 0, 6 },
        { "a right angle, the document's limit", 90 * degree, -1.0, -0.5, 4 },
        { "30 degrees, the document's limit", 30 * degree, -1.0, 0.9, 6 },
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        test::scene s;
        s.doc->default_smooth_cosine = c.document_limit;
        ASSERT_TRUE(s.add(hinge(c.angle, c.limit)));
        EXPECT_EQ(different_vertices(s), c.vertices);
        const float* n = face(s, 1).vertex[0]->normal;
        const vector3 wanted = c.vertices == 6
                                   ? vector3{ 0, 0, 1 }
                                   : normalized(vector3{ -std::sin(c.angle), 0, 1 + std::cos(c.angle) });
        EXPECT_NEAR(n[0], wanted.x, 1e-6);
        EXPECT_NEAR(n[2], wanted.z, 1e-6);
    }
}

TEST(YMesh, ReversedMeshesTurnNormalsAndKeepTexturesAtTheirCorners)
{
    for (const uint32_t flags : { 0u, uint32_t(OBJECT_REVERSED) })
    {
        test::scene s;
        test::mesh m;
        m.flags = flags;
        m.quad({ 0, 0, 0 }, { 2, 0, 0 }, { 2, 2, 0 }, { 0, 2, 0 });
        m.corner_uv[0] = { 0, 0, 9, 0, 9, -9, 0, -9 }; // u = 4.5 x, v = -4.5 y, beyond 0 to 1
        m.corner_uv[1] = { 1, 2, 1, 2, 1, 2, 1, 2 };
        ASSERT_TRUE(s.add(m));
        ASSERT_TRUE(s.prepare());
        EXPECT_EQ(face(s, 1).normal[2], flags ? -1.0f : 1.0f);
        for (const vector3 at : { vector3{ 1.5, 0.25, 0 }, vector3{ 0.25, 1.5, 0 } })
        {
            ray r = s.eye_ray(at + vector3{ 0, 0, 1 }, { 0, 0, -1 });
            ASSERT_TRUE(find_nearest_hit(*s.doc, r));
            float uv[2];
            ASSERT_EQ(zr_get_uv_from_vertices(&r, 0, uv), 1);
            EXPECT_NEAR(uv[0], 4.5 * at.x, 1e-5);
            EXPECT_NEAR(uv[1], -4.5 * at.y, 1e-5);
            ASSERT_EQ(zr_get_uv_from_vertices(&r, 1, uv), 1);
            EXPECT_NEAR(uv[1], 2.0, 1e-6);
            EXPECT_EQ(zr_get_uv_from_vertices(&r, 2, uv), 0);
            r.hit_object = nullptr;
            EXPECT_EQ(zr_get_uv_from_vertices(&r, 0, uv), 0);
        }
    }
}

TEST(YMesh, APolygonIsAFanAndItsLastFaceIsInTheTable)
{
    test::scene s;
    const vector3 corners[] = { { 0, 0, 0 }, { 2, 0, 0 }, { 3, 1, 0 }, { 1, 2, 0 }, { -1, 1, 0 } };
    const int32_t ring[] = { 0, 1, 2, 3, 4 }, line[] = { 0, 1 };
    const mesh_polygon polygons[] = { { 2, line }, { 5, ring }, { 0, nullptr } };
    const mesh_geometry geometry = { 5, corners, 3, polygons, { nullptr, nullptr } };
    object_descriptor descriptor = {};
    mesh_build build;
    zr_init_mesh_build(s.doc, &build);
    build.descriptor = &descriptor;
    build.geometry = &geometry;
    build.build_flags = MESH_FACE_TABLE;
    build.face_count = 2;
    EXPECT_EQ(zr_create_mesh(s.doc, &build), 0) << "the table is too short";
    build.face_count = 3;
    ASSERT_EQ(zr_create_mesh(s.doc, &build), 1);
    EXPECT_EQ(s.doc->scene_objects.totals[OBJECT_GROUP_COUNT], 3);
    EXPECT_EQ(zr_object_from_number(s.doc, 4), nullptr);
    EXPECT_NEAR(s.doc->scene_objects.area_sum, 5.0, 1e-6);
    EXPECT_EQ(s.doc->bounds.min.x, -1.0);
    const scene_object* last = zr_object_from_number(s.doc, 3);
    EXPECT_EQ(s.doc->scene_objects.first, last) << "newest first";
    const property_node* table = last->vft->get_properties(last);
    ASSERT_EQ(table->kind, PROPERTY_FACES);
    EXPECT_EQ(table->faces[0], nullptr);
    EXPECT_EQ(table->faces[1], last);
    EXPECT_TRUE(last->vft->get_flags(last) & OBJECT_FACE_TABLE);
}

TEST(YMesh, AMeshOfARadiosityDocumentGoesToItsOwnBuilder)
{
    const struct
    {
        int32_t mode;
        uint32_t flags;
        bool taken;
    } cases[] = { { MODE_RAYTRACE, 0, false }, { MODE_RADIOSITY, 0, true },
        { MODE_RADIOSITY, OBJECT_NOT_RADIOSITY, false } };
    for (const auto& c : cases)
    {
        test::scene s;
        s.doc->mode = c.mode;
        test::mesh m;
        m.flags = c.flags;
        m.triangle({ 0, 0, 0 }, { 1, 0, 0 }, { 0, 1, 0 });
        zr::radiosity_mesh_builder = [](document*, mesh_build&) { return true; };
        EXPECT_TRUE(s.add(m));
        zr::radiosity_mesh_builder = nullptr;
        EXPECT_EQ(s.doc->scene_objects.first == nullptr, c.taken) << c.mode;
    }
}

TEST(YMesh, NibblesNameTheExtremes)
{
    // Ties as the record defines them: of three equal ones vertex 0, of 1 and 2 above 0 vertex 2.
    struct
    {
        float x[3];
        uint32_t low, high;
    } const cases[] = { { { 5, 5, 5 }, 0, 0 }, { { 1, 2, 2 }, 0, 2 }, { { 2, 1, 1 }, 2, 0 },
        { { 1, 3, 2 }, 0, 1 }, { { 2, 1, 3 }, 1, 2 } };
    for (const auto& c : cases)
    {
        test::scene s;
        test::mesh m;
        m.triangle({ c.x[0], 0, 0 }, { c.x[1], 1, 0 }, { c.x[2], 0, 1 });
        ASSERT_TRUE(s.add(m));
        const uint32_t word = face(s, 1).head.kind_word;
        EXPECT_EQ(word & 0xf, c.low);
        EXPECT_EQ(word >> 12 & 0xf, c.high);
        bounding_box box;
        y_mesh_get_vft()->get_bounds(&face(s, 1).head, &box);
        EXPECT_EQ(box.min.x, *std::min_element(c.x, c.x + 3));
        EXPECT_EQ(box.max.x, *std::max_element(c.x, c.x + 3));
    }
}

TEST(YMesh, RefusesWhatIsNoGeometryAndBuildsNothingOfIt)
{
    const double infinite = std::numeric_limits<double>::infinity();
    struct
    {
        const char* what;
        vector3 last;
        int32_t index;
    } const cases[] = { { "NaN", { NAN, 0, 0 }, 2 }, { "infinity", { 0, infinite, 0 }, 2 },
        { "beyond f32", { 0, 0, -1e39 }, 2 }, { "index too high", { 0, 1, 0 }, 3 },
        { "index below 0", { 0, 1, 0 }, -1 } };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        test::scene s;
        test::mesh m;
        m.vertices = { { 0, 0, 0 }, { 1, 0, 0 }, c.last };
        m.polygons = { { 0, 1, 2 }, { 0, 1, c.index } };
        EXPECT_FALSE(s.add(m));
        EXPECT_EQ(zr_last_error()->code, ZR_ERROR_ARGUMENT);
        EXPECT_EQ(s.doc->scene_objects.first, nullptr);
    }
    test::scene s;
    EXPECT_FALSE(s.add(test::mesh())) << "no vertices";
}

TEST(YMesh, IsHitOnItsEdgesFromBothSidesAndNeverEdgeOn)
{
    test::scene s;
    test::mesh m;
    m.triangle({ 0, 0, 0 }, { 4, 0, 0 }, { 0, 4, 0 });
    m.triangle({ 9, 0, 0 }, { 9, 0, 0 }, { 9, 4, 0 }); // no area
    ASSERT_TRUE(s.add(m));
    const object_vft& vft = *y_mesh_get_vft();
    scene_object* first = zr_object_from_number(s.doc, 1);
    struct
    {
        const char* what;
        vector3 origin, direction;
        int hit;
    } const cases[] = {
        { "inside, from above", { 1, 1, 1 }, { 0, 0, -1 }, 1 },
        { "inside, from below", { 1, 1, -1 }, { 0, 0, 1 }, 1 },
        { "a corner", { 0, 0, 1 }, { 0, 0, -1 }, 1 },
        { "the slanting edge", { 2, 2, 1 }, { 0, 0, -1 }, 1 },
        { "beside the slanting edge", { 2.001, 2.001, 1 }, { 0, 0, -1 }, 0 },
        { "within the tolerance of an edge", { 1, -2e-6, 1 }, { 0, 0, -1 }, 1 },
        { "beyond the tolerance of an edge", { 1, -2e-5, 1 }, { 0, 0, -1 }, 0 },
        { "in its plane", { -1, 1, 0 }, { 1, 0, 0 }, 0 },
        { "behind", { 1, 1, 1 }, { 0, 0, 1 }, 0 },
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        ray r = s.eye_ray(c.origin, c.direction);
        EXPECT_EQ(vft.intersect(&r, first, 0.0, ZR_FAR), c.hit);
        EXPECT_EQ(vft.intersect(&r, zr_object_from_number(s.doc, 2), 0.0, ZR_FAR), 0);
    }
    ray r = s.eye_ray({ 1, 2, 8 }, { 0, 0, -1 });
    ASSERT_EQ(vft.intersect(&r, first, 0.0, ZR_FAR), 1);
    EXPECT_DOUBLE_EQ(r.hit_t, 8.0);
    const double weights[3] = { 0.5, 0.25, 0.25 }; // of vertices 2, 1, 0
    for (int i = 0; i < 3; ++i) { EXPECT_NEAR(r.element_coords[i], weights[i], 1e-6); }
    EXPECT_EQ(vft.intersect(&r, first, 0.0, 7.9), 0) << "an interval that ends before the hit";
}
