/// @file
/// The parts of a converging sample: its numbers, its place in the pixel, its luminaire, its lobe.
#include <gtest/gtest.h>

#include <array>
#include <set>

#include <algorithm>
#include <map>
#include <set>

#include "tests/support/scene.hpp"
#include "zirconlite/lighting/goniometry.hpp"
#include "zirconlite/lighting/light_model.hpp"
#include "zirconlite/raytrace/light_shape.hpp"
#include "zirconlite/sampling/blue_noise.hpp"
#include "zirconlite/sampling/light_tree.hpp"
#include "zirconlite/sampling/lobe.hpp"
#include "zirconlite/sampling/pixel_filter.hpp"
#include "zirconlite/sampling/sequence.hpp"

namespace
{

using namespace zr;

/// Elementary intervals of `columns` x `rows` cells that hold other than one of the points, once both are
/// turned by where the pixel's shift has put them.
int uneven_cells(const std::vector<unit_pair>& points, int columns, int rows, const unit_pair& shift)
{
    std::vector<int> held(size_t(columns * rows));
    for (const unit_pair& p : points)
    {
        const double u = p.u - shift.u, v = p.v - shift.v;
        const auto column = std::min(int((u - std::floor(u)) * columns), columns - 1);
        const auto row = std::min(int((v - std::floor(v)) * rows), rows - 1);
        ++held[size_t(row * columns + column)];
    }
    return int(std::count_if(held.begin(), held.end(), [](int n) { return n != 1; }));
}

} // namespace

TEST(Sequence, EveryPairOfDimensionsFillsTheUnitSquareEvenly)
{
    constexpr int count = 256;
    for (const uint32_t pair : { 0u, 1u, 3u, 9u, 40u })
    {
        SCOPED_TRACE(pair);
        double sum = 0.0;
        std::vector<double> u;
        for (int n = 0; n < count; ++n)
        {
            const unit_pair p = sample_numbers({ 17, 5, uint32_t(n), 3 }, pair);
            ASSERT_TRUE(p.u >= 0.0 && p.u < 1.0 && p.v >= 0.0 && p.v < 1.0);
            u.push_back(p.u);
            sum += (p.u - 0.5) * (p.v - 0.5);
        }
        std::sort(u.begin(), u.end());
        for (int n = 1; n < count; ++n) { EXPECT_LT(u[size_t(n)] - u[size_t(n) - 1], 2.0 / count); }
        EXPECT_NEAR(sum / count, 0.0, 0.01) << "independent samples would stray by 0.005";
    }
}

TEST(Sequence, FirstPointsOfAPixelAreABalancedNet)
{
    // A pixel's shift is the same for all of its points, so some turn of the square shows the net whole.
    std::vector<unit_pair> points;
    for (uint32_t n = 0; n < 16; ++n) { points.push_back(sample_numbers({ 3, 9, n, 0 }, pair_sky)); }
    const struct
    {
        int columns, rows;
    } shapes[] = { { 16, 1 }, { 8, 2 }, { 4, 4 }, { 2, 8 }, { 1, 16 } };
    for (const auto& s : shapes)
    {
        SCOPED_TRACE(testing::Message() << s.columns << " x " << s.rows);
        int best = 16;
        for (int i = 0; i < 64 * 64 && best > 0; ++i)
        {
            best = std::min(best, uneven_cells(points, s.columns, s.rows,
                                      { i % 64 / (64.0 * s.columns), i / 64 / (64.0 * s.rows) }));
        }
        EXPECT_EQ(best, 0);
    }
}

TEST(Sequence, DimensionsPixelsAndSeedsDiffer)
{
    const sample_point p = { 4, 4, 7, 0 };
    const unit_pair first = sample_numbers(p, 2);
    const sample_point others[] = { { 5, 4, 7, 0 }, { 4, 5, 7, 0 }, { 4, 4, 8, 0 }, { 4, 4, 7, 1 },
        { 68, 4, 7, 0 } };
    for (const sample_point& other : others) { EXPECT_NE(sample_numbers(other, 2).u, first.u); }
    EXPECT_NE(sample_numbers(p, 3).u, first.u);
    EXPECT_NE(first.u, first.v);
    EXPECT_EQ(std::set<uint16_t>(std::begin(blue_noise), std::end(blue_noise)).size(), std::size(blue_noise));
}

TEST(PixelFilter, PlacesSamplesByTheWindow)
{
    prepare_pixel_filter();
    constexpr int count = 4096;
    double sum = 0.0, squares = 0.0;
    for (int i = 0; i < count; ++i)
    {
        const double x = filter_offset({ (i + 0.5) / count, 0.5 }).u;
        ASSERT_LE(std::fabs(x), pixel_filter_radius);
        sum += x;
        squares += x * x;
    }
    // Of a normal distribution of deviation s, cut off at r = k s: s^2 (1 - 2 k g(k) / (2 G(k) - 1)).
    const double k = 0.75 / 0.42, density = std::exp(-0.5 * k * k) / std::sqrt(2.0 * M_PI);
    const double variance = 0.42 * 0.42 * (1.0 - 2.0 * k * density / std::erf(k / std::sqrt(2.0)));
    EXPECT_NEAR(sum / count, 0.0, 1e-9);
    EXPECT_NEAR(squares / count, variance, 1e-5);
    EXPECT_NEAR(filter_offset({ 0.5, 0.5 }).v, 0.0, 1e-9);
}

TEST(LightTree, EveryLuminaireThatReachesAPointIsChosenAsOftenAsItSays)
{
    test::scene s;
    for (int i = 0; i < 20; ++i)
    {
        s.add(test::scene::point_source({ i % 5 * 2.0, i / 5 * 2.0, 3.0 }, 10.0f + 40.0f * float(i)));
    }
    for (int i = 0; i < 3; ++i) { s.add(test::scene::point_source({ 1, 1, 2 }, 100.0f)); } // at one place
    ASSERT_TRUE(prepare_light_tree(*s.doc));
    constexpr int count = 20000;
    const struct
    {
        const char* what;
        vector3 point;
        size_t reaching;
    } cases[] = {
        { "under all", { 0, 0, 0 }, 23 },
        { "over the three", { 4, 3, 2.9 }, 20 },
        { "where the three are", { 1, 1, 2 }, 20 },
        { "far away", { 1000, 0, 0 }, 23 },
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        std::map<const light*, int> times;
        double total = 0.0;
        std::map<const light*, double> probability;
        for (int i = 0; i < count; ++i)
        {
            const light_pick pick = pick_light(c.point, { 0, 0, 1 }, false, (i + 0.5) / count);
            ASSERT_TRUE(pick.source && pick.probability > 0.0);
            ++times[pick.source];
            probability[pick.source] = pick.probability;
        }
        for (const auto& [source, n] : times)
        {
            EXPECT_NEAR(double(n) / count, probability[source], 2.0 / count);
            total += probability[source];
        }
        EXPECT_EQ(times.size(), c.reaching);
        EXPECT_NEAR(total, 1.0, 1e-9);
    }
    EXPECT_EQ(pick_light({ 4, 3, 10 }, { 0, 0, 1 }, false, 0.3).source, nullptr)
        << "all lie behind the surface";
    EXPECT_NE(pick_light({ 4, 3, 10 }, { 0, 0, 1 }, true, 0.3).source, nullptr);
    free_light_tree();
    EXPECT_EQ(pick_light(cases[0].point, { 0, 0, 1 }, false, 0.3).source, nullptr);
}

TEST(LightTree, CandidatesStandForAllLuminairesByTheirRealDistribution)
{
    // What candidates give over their probabilities is on average what all luminaires give.
    test::scene s;
    uint32_t seed = 1;
    const auto number = [&seed]
    {
        seed = seed * 1664525u + 1013904223u;
        return seed * 0x1p-32;
    };
    goniometry* table = zr_new_goniometry();
    make_goniometry_tables(*table, 4, 2);
    const float angles[] = { 0, 0.5f, 1.2f, 1.8f };
    std::copy_n(angles, 4, table->vertical_angles);
    table->horizontal_angles[1] = float(M_PI);
    table->symmetry = GONIOMETRY_HALF;
    for (int i = 0; i < 2; ++i)
    {
        std::copy_n(std::array{ 0.1f, 0.2f + 0.8f * i, 0.5f, 0.0f }.data(), 4, table->rows[i]);
    }
    table->lm_per_cd = 1.0f;
    const std::pair<int32_t, int32_t> kinds[] = { { LIGHT_SPHERICAL, DISTRIBUTION_ISOTROPIC },
        { LIGHT_SPHERICAL, DISTRIBUTION_SPOT }, { LIGHT_DISK, DISTRIBUTION_DIFFUSE },
        { LIGHT_AREA, DISTRIBUTION_DEFAULT }, { LIGHT_CYLINDRICAL, DISTRIBUTION_DIFFUSE },
        { LIGHT_SPHERICAL, DISTRIBUTION_GONIOMETRIC } };
    for (int i = 0; i < 240; ++i)
    {
        light l =
            test::scene::point_source({ 20 * number(), 10 * number(), 2 + number() }, 10.0f + float(i % 7));
        l.type = kinds[i % 6].first;
        l.distribution = kinds[i % 6].second;
        l.radius = l.type == LIGHT_DISK ? 0.2 : 0.0;
        l.length = l.height = l.type == LIGHT_SPHERICAL || l.type == LIGHT_DISK ? 0.0 : 0.4;
        l.normal = normalized({ number() - 0.5, number() - 0.5, -number() });
        l.beam_angle = 0.3f;
        l.field_angle = 0.5f;
        l.goniometry = i % 6 == 5 ? table : nullptr;
        s.add(l);
    }
    prepare_lights_for_model(s.doc, LIGHT_MODEL_EXACT);
    job.light_model = LIGHT_MODEL_EXACT;
    job.simple_colors = 0;
    ASSERT_TRUE(prepare_light_tree(*s.doc));
    for (const vector3& point : { vector3{ 3, 4, 0 }, { 19, 1, 1.5 }, { 60, 5, 0 }, { 10, 5, 2.4 } })
    {
        SCOPED_TRACE(point.x);
        const vector3 normal = normalized({ 0.3 * (10 - point.x), 0, 5 });
        const auto given = [&](const light* l)
        {
            source_sample middle = {};
            sample_middle(*l, point, middle);
            const double cosine = std::fmax(dot(middle.direction, normal), 0.0);
            return middle.color[1] * cosine / (middle.distance * middle.distance);
        };
        double exact = 0.0;
        std::set<const light*> reaching, found;
        for (const light* l = first_leaf(s.doc->lights); l; l = next_leaf(const_cast<light*>(l)))
        {
            exact += given(l);
            if (given(l) > 0.0) { reaching.insert(l); }
        }
        constexpr int count = 20000;
        double sum = 0.0;
        for (int i = 0; i < count; ++i)
        {
            light_pick picks[max_light_candidates];
            const int n = pick_light_candidates(point, normal, false, (i + 0.5) / count, picks);
            for (int k = 0; k < n; ++k)
            {
                sum += given(picks[k].source) / picks[k].probability;
                found.insert(picks[k].source);
            }
        }
        EXPECT_NEAR(sum / count, exact, 2e-3 * exact);
        for (const light* l : reaching) { EXPECT_TRUE(found.count(l) || given(l) < 1e-3 * exact); }
    }
    zr_free_goniometry(table);
    free_light_tree();
}

TEST(Lobe, ReturnsWhatItReceivesFromEverySide)
{
    const vector3 normal = { 0, 0, 1 };
    for (const double exponent : { 1.0, 5.0, 30.0 })
    {
        for (const double incidence : { 0.0, 0.6, 1.2, 1.5 })
        {
            SCOPED_TRACE(testing::Message() << "exponent " << exponent << ", angle " << incidence);
            const vector3 axis = { std::sin(incidence), 0, std::cos(incidence) };
            double sampled = 0.0, integrated = 0.0;
            constexpr int rows = 600, columns = 1200;
            for (int i = 0; i < rows; ++i)
            {
                for (int j = 0; j < columns; ++j)
                {
                    const double z = (i + 0.5) / rows, turn = 2.0 * M_PI * (j + 0.5) / columns;
                    const double r = std::sqrt(1.0 - z * z);
                    const vector3 d = { r * std::cos(turn), r * std::sin(turn), z };
                    const vector3 mirrored = { d.x, d.y, -d.z };
                    integrated +=
                        lobe_density(dot(d, axis), exponent) + lobe_density(dot(mirrored, axis), exponent);
                }
            }
            integrated *= 2.0 * M_PI / (double(rows) * columns);
            for (int i = 0; i < 1024; ++i)
            {
                const unit_pair at = sample_numbers({ 0, 0, uint32_t(i), 0 }, pair_direction);
                sampled += folded(sample_lobe(axis, exponent, at), normal).z >= 0.0;
            }
            EXPECT_NEAR(integrated, 1.0, 5e-3);
            EXPECT_EQ(sampled, 1024.0);
        }
    }
}

TEST(Lobe, HighlightsOfItsOwnAreTakenFromTheDiffusePart)
{
    surface s;
    zr_void_surface(&s);
    s.diffuse = 0.7f;
    s.reflect = 0.2f;
    EXPECT_GT(lobe_of(s, 0.0).exponent, 1000.0) << "faint mirrors are slightly blurred";
    s.flags = SURFACE_OWN_LOBE;
    s.highlight = 9.0f;
    s.highlight_strength = 0.5f;
    const specular_lobe own = lobe_of(s, 0.0);
    EXPECT_EQ(own.exponent, 9.0);
    EXPECT_NEAR(own.reflected[0] - 0.2, 0.5 * 2.0 * M_PI / 10.0, 1e-6);
    EXPECT_NEAR(own.diffuse + own.reflected[1], 0.9, 1e-6);
    s.highlight_strength = 100.0f;
    EXPECT_NEAR(lobe_of(s, 0.0).diffuse, 0.0, 1e-6);
    s.flags = SURFACE_SHARP_REFLECTION;
    EXPECT_EQ(lobe_of(s, 0.0).exponent, 0.0);
}
