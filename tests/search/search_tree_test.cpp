// Hits in scenes of all kinds of objects at once, found by either structure on either path, against asking
// every object.
#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <random>

#include "tests/support/ball_object.hpp"
#include "tests/support/scene.hpp"
#include "tests/support/search_paths.hpp"
#include "zirconlite/search/ray_search.hpp"
#include "zirconlite/search/voxel_grid.hpp"

namespace
{

using namespace zr;

/// What a hit leaves in the ray, so that it can be compared to the last bit.
struct hit_record
{
    double t;
    vector3 point, geometric_normal, interpolated_normal;
    double weights[3];
    uintptr_t element;
    scene_object* object;
};

hit_record record_of(const ray& r)
{
    if (!r.hit_object) { return { r.hit_t, {}, {}, {}, {}, 0, nullptr }; }
    return { r.hit_t, r.hit_point, r.geometric_normal, r.interpolated_normal,
        { r.element_coords[0], r.element_coords[1], r.element_coords[2] }, r.hit_element, r.hit_object };
}

bool same(const hit_record& a, const hit_record& b) { return memcmp(&a, &b, sizeof a) == 0; }

/// A small scene that a number decides about, and rays into it.
struct mixed_scene
{
    test::balls round;
    test::scene s;
    std::mt19937 random;
    vector3 origin;
    double unit;
    std::vector<vector3> corners; ///< of faces so far, to aim at and to build on

    explicit mixed_scene(unsigned seed) : random(seed)
    {
        const double units[] = { 1.0, 1.0, 1e-3, 1e4 };
        unit = units[seed % 4];
        origin = seed % 3 == 1 && unit == 1.0 ? vector3{ 71000, -71000, 30 } : vector3{ 0, 0, 0 };
        const int parts = 1 + pick(5);
        for (int i = 0; i < parts; ++i) { add_part(pick(6)); }
        if (corners.empty()) { add_part(0); }
    }

    int pick(int count) { return int(random() % static_cast<unsigned>(count)); }
    double number(double low, double high)
    {
        return std::uniform_real_distribution<double>(low, high)(random);
    }
    vector3 free_vector() { return { number(-1, 1), number(-1, 1), number(-1, 1) }; }
    vector3 place() { return origin + free_vector() * unit; }
    vector3 on_lattice()
    {
        return origin + vector3{ pick(9) * 0.25 - 1, pick(9) * 0.25 - 1, pick(9) * 0.25 - 1 } * unit;
    }

    void triangle(test::mesh& m, const vector3& a, const vector3& b, const vector3& c)
    {
        m.triangle(a, b, c);
        corners.insert(corners.end(), { a, b, c });
    }

    void add_part(int kind)
    {
        test::mesh m;
        const int count = 1 + pick(60);
        switch (kind)
        {
        case 0: // of all sizes
            for (int i = 0; i < count; ++i)
            {
                const vector3 a = place();
                const double size = unit * std::pow(10.0, number(-3, 0.5));
                triangle(m, a, a + free_vector() * size, a + free_vector() * size);
            }
            break;
        case 1: // slivers
            for (int i = 0; i < count; ++i)
            {
                const vector3 a = place(), b = place();
                triangle(m, a, b, b + free_vector() * (unit * 1e-3));
            }
            break;
        case 2: // upright squares with common edges and corners
            for (int i = 0; i < count; ++i)
            {
                const int axis = pick(3);
                const vector3 a = on_lattice();
                vector3 u = {}, v = {};
                component(u, (axis + 1) % 3) = component(v, (axis + 2) % 3) = 0.25 * unit;
                triangle(m, a, a + u, a + u + v);
                triangle(m, a, a + u + v, a + v);
            }
            break;
        case 3: // what is there already, once more
            for (size_t i = 0; i + 2 < std::min<size_t>(corners.size(), 90); i += 3)
            {
                m.triangle(corners[i], corners[i + 1], corners[i + 2]);
            }
            break;
        default:
            for (int i = 0; i < 1 + pick(8); ++i)
            {
                const vector3 centre = pick(2) ? on_lattice() : place();
                const double radius = pick(6) ? unit * number(0.01, 0.5) : 0.0;
                test::ball_object b = { {}, centre, radius, nullptr, {} };
                const auto ball = static_cast<test::ball_kind>(pick(2) ? 0 : pick(test::BALL_KINDS));
                round.add(s.doc, ball, centre, radius, nullptr, test::odd_bounds(pick(5), test::box_of(b)));
            }
        }
        if (!m.polygons.empty()) { EXPECT_TRUE(s.add(m)); }
    }

    vector3 aim() { return corners[random() % corners.size()]; }

    ray shot(int n, const ray& last)
    {
        vector3 from = place(), along = free_vector();
        if (n % 2) { along = aim() - from; }
        if (n % 3 == 0)
        {
            // Along an axis and back, exactly through corners and edges of the lattice.
            along = {};
            component(along, pick(3)) = pick(2) ? 1.0 : -1.0;
            from = (pick(2) ? on_lattice() : aim()) - along * (2.5 * unit);
        }
        if (n % 7 == 2) { along = (aim() + aim()) * 0.5 - from; } // middles of edges
        const bool goes_on = n % 5 == 4 && last.hit_object;
        if (goes_on) { from = last.hit_point; }
        if (length(along) == 0.0) { along = { 0, 0, 1 }; }
        ray r = s.eye_ray(from, along);
        if (goes_on && pick(2)) { r.t_min = s.doc->epsilon; }
        if (n % 4 == 0 && last.hit_object)
        {
            // The last ray once more, ending or starting exactly at its hit, or beaten by it from the start.
            r = s.eye_ray(last.origin, last.direction);
            const int limit = pick(4);
            if (limit == 0) { r.t_max = last.hit_t; }
            else if (limit == 1) { r.t_min = last.hit_t; }
            else if (limit == 2) { r.hit_t = last.hit_t; }
            else
            {
                r.hit_t = last.hit_t * number(0.9, 1.1);
                r.hit_object = s.doc->object_table[1];
            }
        }
        else if (n % 6 == 5) { r.t_max = number(0, 2) * unit; }
        return r;
    }
};

ray nearest_of_all(const document& d, ray r)
{
    for (uint32_t i = 1; i < d.object_table_count; ++i)
    {
        scene_object* o = d.object_table[i];
        o->vft->intersect(&r, o, -1e15, ZR_FAR);
    }
    return r;
}

struct visit_log
{
    std::map<scene_object*, double> nearest;
    ray start;
    int false_hits;
};

/// What a walk shows: the nearest hit of each object, and whether all that it shows are hits.
visit_log visits(const document& d, const ray& r)
{
    visit_log log = { {}, r, 0 };
    log.start.hit_t = ZR_FAR; // only t_min and t_max count
    log.start.hit_object = nullptr;
    ray walk = log.start;
    EXPECT_FALSE(visit_hits(
        d, walk,
        [](void* context, ray& at)
        {
            auto& l = *static_cast<visit_log*>(context);
            const auto [found, added] = l.nearest.insert({ at.hit_object, at.hit_t });
            if (!added) { found->second = std::min(found->second, at.hit_t); }
            ray again = l.start;
            l.false_hits += !at.hit_object->vft->intersect(&again, at.hit_object, at.hit_t, at.hit_t);
            return false;
        },
        &log));
    return log;
}

std::map<scene_object*, double> visits_of_all(const document& d, const ray& r)
{
    std::map<scene_object*, double> hits;
    for (uint32_t i = 1; i < d.object_table_count; ++i)
    {
        ray one = r;
        one.hit_t = ZR_FAR;
        one.hit_object = nullptr;
        scene_object* o = d.object_table[i];
        if (o->vft->intersect(&one, o, -1e15, ZR_FAR)) { hits[o] = one.hit_t; }
    }
    return hits;
}

} // namespace

TEST(SearchTree, AllPathsThroughMixedScenesGiveTheSameHitsToTheLastBit)
{
    constexpr int scenes = 300, rays = 90;
    int hits = 0, seen = 0;
    for (unsigned seed = 0; seed < scenes; ++seed)
    {
        mixed_scene m(seed);
        std::vector<ray> shots;
        ray last = {};
        for (int n = 0; n < rays; ++n)
        {
            shots.push_back(m.shot(n, last));
            const ray result = nearest_of_all(*m.s.doc, shots.back());
            hits += result.hit_object != nullptr;
            if (result.hit_object && result.hit_t > 0) { last = result; }
        }
        for (const test::search_path& path : test::search_paths)
        {
            const test::taken_path taken(path);
            ASSERT_TRUE(zr_build_voxel_grid(m.s.doc));
            int wrong = 0, wrong_visits = 0;
            for (int n = 0; n < rays; ++n)
            {
                const ray wanted = nearest_of_all(*m.s.doc, shots[n]);
                ray r = shots[n];
                const bool improved = find_nearest_hit(*m.s.doc, r);
                const bool improves =
                    wanted.hit_t != shots[n].hit_t || wanted.hit_object != shots[n].hit_object;
                wrong += improved != improves || (improves && !same(record_of(r), record_of(wanted)));
                if (n % 3) { continue; }
                const visit_log log = visits(*m.s.doc, shots[n]);
                wrong_visits += log.false_hits || log.nearest != visits_of_all(*m.s.doc, shots[n]);
                seen += int(log.nearest.size());
            }
            EXPECT_EQ(wrong, 0) << path.name << ", scene " << seed;
            EXPECT_EQ(wrong_visits, 0) << path.name << ", scene " << seed;
        }
    }
    EXPECT_GT(hits, scenes * rays / 4);
    EXPECT_GT(seen, scenes * rays / 4);
}
