// Welding, closed and open pieces, and the smoothing angle that the file's normals ask for.
#include "host/models/model.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <span>

using namespace host;

namespace
{

constexpr double degree = 3.14159265358979323846 / 180;

void add_polygon(corner_mesh& m, std::initializer_list<std::array<float, 3>> corners)
{
    for (const auto& p : corners) { m.positions.insert(m.positions.end(), p.begin(), p.end()); }
    m.corner_count.push_back(uint32_t(corners.size()));
}

/// A unit cube of six quads at an offset; `faces` leaves the last ones away.
corner_mesh cube(float at, int faces = 6)
{
    static const int sides[6][4] = { { 0, 2, 3, 1 }, { 4, 5, 7, 6 }, { 0, 1, 5, 4 }, { 2, 6, 7, 3 },
        { 0, 4, 6, 2 }, { 1, 3, 7, 5 } };
    corner_mesh m;
    for (int f = 0; f < faces; ++f)
    {
        const auto point = [&](int k) {
            return std::array<float, 3>{ at + (k & 1), float(k >> 1 & 1), float(k >> 2) };
        };
        add_polygon(m, { point(sides[f][0]), point(sides[f][1]), point(sides[f][2]), point(sides[f][3]) });
    }
    return m;
}

/// A tube of `sides` quads whose normals are the axis' (smooth) or each quad's own.
corner_mesh tube(int sides, bool smooth)
{
    corner_mesh m;
    for (int k = 0; k < sides; ++k)
    {
        const auto angle = [&](double q) { return 2 * 3.14159265358979323846 * q / sides; };
        const auto point = [&](int q, float z) {
            return std::array<float, 3>{ float(std::cos(angle(q % sides))), float(std::sin(angle(q % sides))),
                z };
        };
        add_polygon(m, { point(k, 0), point(k + 1, 0), point(k + 1, 1), point(k, 1) });
        for (const int q : { k, k + 1, k + 1, k })
        {
            const double a = smooth ? angle(q % sides) : angle(k + 0.5);
            m.normals.insert(m.normals.end(), { float(std::cos(a)), float(std::sin(a)), 0 });
        }
    }
    return m;
}

model welded(const std::vector<corner_mesh>& part)
{
    model m;
    m.materials.resize(4);
    weld_part(part, m);
    for (const model_mesh& mesh : m.meshes) { EXPECT_EQ(mesh_fault(mesh, 4), ""); }
    return m;
}

} // namespace

TEST(Weld, SharesEqualPlacesAndKeepsPolygons)
{
    const model m = welded({ cube(0) });
    ASSERT_EQ(m.meshes.size(), 1u);
    EXPECT_EQ(m.meshes[0].positions.size(), 8u * 3);
    EXPECT_EQ(m.meshes[0].corner_count, std::vector<uint32_t>(6, 4));
}

TEST(Weld, DistinguishesSolidsFromSheets)
{
    corner_mesh turned = cube(0);
    std::swap_ranges(
        &turned.positions[3], &turned.positions[6], &turned.positions[9]); // one face runs the other way
    corner_mesh lid = cube(0), body = cube(0, 5);
    lid.positions.erase(lid.positions.begin(), lid.positions.begin() + 5 * 12);
    lid.corner_count = { 4 };
    lid.material = 1;

    corner_mesh rounded = cube(0); // one corner of one face is where a sine left it
    for (float& c : std::span(rounded.positions).first(3)) { c += 6e-17f; }

    struct
    {
        const char* what;
        std::vector<corner_mesh> part;
        size_t closed, open;
    } const cases[] = {
        { "cube", { cube(0) }, 1, 0 },
        { "cube with zeros that were rounded", { rounded }, 1, 0 },
        { "box without a lid", { cube(0, 5) }, 0, 1 },
        { "cube with a face turned over", { turned }, 0, 1 },
        { "cube of two materials", { body, lid }, 2, 0 },
        { "cube twice in one place", { cube(0), cube(0) }, 0, 2 },
        { "two cubes that share an edge's ends only", { cube(0), cube(5) }, 2, 0 },
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        size_t closed = 0, open = 0;
        for (const model_mesh& m : welded(c.part).meshes) { ++(m.is_closed ? closed : open); }
        EXPECT_EQ(closed, c.closed);
        EXPECT_EQ(open, c.open);
    }
}

TEST(Weld, DropsWhatHasNoArea)
{
    corner_mesh m;
    const std::array<float, 3> a{ 0, 0, 0 }, b{ 1, 0, 0 }, c{ 1, 1, 0 };
    add_polygon(m, {});
    add_polygon(m, { a });
    add_polygon(m, { a, b });
    add_polygon(m, { a, b, b, a });       // two places
    add_polygon(m, { a, b, b, c, c, a }); // a triangle with repeats
    m.uv[0].assign(m.positions.size() / 3 * 2, 0.0f);
    m.uv[0][2 * 12] = 0.75f; // of the triangle's third place
    model out = welded({ m });
    EXPECT_EQ(out.dropped_polygons, 4u);
    ASSERT_EQ(out.meshes.size(), 1u);
    EXPECT_EQ(out.meshes[0].corner_count, std::vector<uint32_t>{ 3 });
    ASSERT_EQ(out.meshes[0].uv[0].size(), 6u);
}

TEST(Weld, TakesTheSmoothingAngleFromNormals)
{
    struct
    {
        const char* what;
        corner_mesh mesh;
        double degrees;
    } const cases[] = {
        { "8-sided tube, smooth", tube(8, true), 45.5 },
        { "24-sided tube, smooth", tube(24, true), 15.5 },
        { "8-sided tube, flat", tube(8, false), 0 },
        { "no normals", cube(0), 0 },
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        EXPECT_NEAR(welded({ c.mesh }).meshes.at(0).smooth_cosine, std::cos(c.degrees * degree), 1e-4);
    }
}
