// Hits in scenes of all kinds of objects at once, found by either structure on either path, against asking
// every object; and what builds make of odd scenes, failing memory and a host that stops them.
#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <cstring>
#include <map>
#include <random>

#include "tests/support/ball_object.hpp"
#include "tests/support/find_table.hpp"
#include "tests/support/scene.hpp"
#include "tests/support/search_paths.hpp"
#include "zirconlite/frame/error.h"
#include "zirconlite/geometry/ray_search.hpp"
#include "zirconlite/geometry/voxel_grid.hpp"
#include "zirconlite/platform/heap.hpp"
#include "zirconlite/platform/threads.hpp"

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

bool same(const hit_record& a, const hit_record& b)
{
    return memcmp(&a, &b, sizeof a) == 0;
}

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

    int pick(int count) { return static_cast<int>(random() % static_cast<unsigned>(count)); }
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
        case 3: // what stands there already, once more
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
                seen += static_cast<int>(log.nearest.size());
            }
            EXPECT_EQ(wrong, 0) << path.name << ", scene " << seed;
            EXPECT_EQ(wrong_visits, 0) << path.name << ", scene " << seed;
        }
    }
    EXPECT_GT(hits, scenes * rays / 4);
    EXPECT_GT(seen, scenes * rays / 4);
}

namespace
{

/// Faces of a wavy sheet of `side` by `side` squares over 0 to 1.
void add_sheet(test::mesh& m, int side)
{
    const auto at = [side](int x, int y) {
        return vector3{ double(x) / side, double(y) / side, 0.02 * std::sin(0.3 * x) * std::cos(0.2 * y) };
    };
    for (int i = 0; i < side * side; ++i)
    {
        const int x = i % side, y = i / side;
        m.triangle(at(x, y), at(x + 1, y), at(x + 1, y + 1));
        m.triangle(at(x, y), at(x + 1, y + 1), at(x, y + 1));
    }
}

int32_t bytes_held(const document* d)
{
    int32_t counts[12];
    zr_voxel_grid_stats(d->voxel_grid, counts);
    return counts[11];
}

} // namespace

TEST(SearchTree, ObjectsOfOnePlaceAreHeldInBoundedMemoryAndDepth)
{
    constexpr int million = 1000000;
    struct
    {
        const char* what;
        int faces, spheres;
        double size;       ///< of the faces; all start at one point
        bool spread;       ///< one face far away gives the scene an extent
        double bytes_each; ///< at most
        bool grid_too;     ///< coincident objects that are large in the scene fill every cell of a grid
    } const cases[] = {
        { "a million coincident faces", million, 0, 1, false, 120, false },
        { "a million coincident small faces in a wide scene", million, 0, 1e-3, true, 120, true },
        { "a hundred thousand points", 0, 100000, 0, false, 120, true },
        { "one face", 1, 0, 1, false, 512, false },
        { "one point", 0, 1, 0, false, 512, false },
        { "both in one leaf", 2, 2, 1, false, 512, true },
    };
    for (const auto& c : cases)
    {
        test::balls round;
        test::scene s;
        test::mesh m;
        m.vertices = { { 5, 6, 7 }, { 5 + c.size, 6, 7 }, { 5, 6 + c.size, 7 } };
        for (int i = 0; i < c.faces; ++i) { m.polygons.push_back({ 0, 1, 2 }); }
        if (c.spread) { m.triangle({ 90, 90, 90 }, { 91, 90, 90 }, { 90, 91, 95 }); }
        if (c.faces) { ASSERT_TRUE(s.add(m)); }
        for (int i = 0; i < c.spheres; ++i) { round.add(s.doc, test::BALL_PLAIN, { 5, 6, 7 }, 0, nullptr); }
        for (const test::search_path& path : test::search_paths)
        {
            if (path.structure == SEARCH_GRID && !c.grid_too) { continue; }
            SCOPED_TRACE(std::string(c.what) + ", " + path.name);
            const test::taken_path taken(path);
            ASSERT_TRUE(zr_build_voxel_grid(s.doc));
            constexpr double cells_of_a_grid = 64 * 32768;
            EXPECT_LE(bytes_held(s.doc), c.bytes_each * (c.faces + c.spheres) +
                                             (path.structure == SEARCH_GRID ? cells_of_a_grid : 0.0));
            if (path.structure == SEARCH_TREE) { EXPECT_LE(s.doc->voxel_grid->tree.depth, 56); }
            const vector3 middle = vector3{ 5, 6, 7 } + vector3{ c.size, c.size, 0 } * 0.3;
            ray r = s.eye_ray(middle + vector3{ 0, 0, 3 }, { 0, 0, -1 });
            ASSERT_TRUE(find_nearest_hit(*s.doc, r));
            EXPECT_EQ(r.hit_object->number, 1u);
            EXPECT_NEAR(r.hit_t, 3, 1e-6);
            ray beside = s.eye_ray(middle + vector3{ 2, 2, 3 }, { 0, 0, -1 });
            EXPECT_FALSE(find_nearest_hit(*s.doc, beside));
        }
    }
}

TEST(SearchTree, BoundsWithoutSenseLeaveTheOtherObjectsFindable)
{
    const double inf = std::numeric_limits<double>::infinity();
    const vector3 far[] = { { inf, inf, inf }, { -inf, -inf, -inf }, { 1e300, -1e300, 0 },
        { 3.3e38, 3.3e38, -3.3e38 } };
    test::balls round;
    test::scene s;
    test::mesh m;
    add_sheet(m, 10);
    ASSERT_TRUE(s.add(m));
    const bounding_box real = s.doc->bounds;
    for (int i = 0; i < 64; ++i)
    {
        round.add(s.doc, test::BALL_TELLING, { 0.5, 0.5, 0 }, 0.0, nullptr, { far[i % 4], far[i / 4 % 4] });
        round.add(s.doc, test::BALL_TELLING, { 0.5, 0.5, 0 }, 0.0, nullptr, { far[i % 4], far[i % 4] });
    }
    s.doc->bounds = real;
    for (const test::search_path& path : test::search_paths)
    {
        SCOPED_TRACE(path.name);
        const test::taken_path taken(path);
        ASSERT_TRUE(zr_build_voxel_grid(s.doc));
        for (int i = 0; i < 100; ++i)
        {
            const ray r = s.eye_ray({ 0.005 + 0.0099 * i, 0.9 - 0.008 * i, 2 }, { 0, 0, -1 });
            ray found = r;
            find_nearest_hit(*s.doc, found);
            EXPECT_TRUE(found.hit_object && same(record_of(found), record_of(nearest_of_all(*s.doc, r))));
        }
    }
}

TEST(SearchTree, TheResultDoesNotDependOnTheProcessors)
{
    test::balls round;
    test::scene s;
    test::mesh m;
    add_sheet(m, 100);
    ASSERT_TRUE(s.add(m));
    for (int i = 0; i < 500; ++i)
    {
        round.add(
            s.doc, static_cast<test::ball_kind>(i % 50 ? 0 : 1), { i * 0.002, 0.5, 0.1 }, 0.01, nullptr);
    }
    std::string first;
    for (int processors = 1; processors <= 8; ++processors)
    {
        platform::override_processor_count(processors);
        ASSERT_TRUE(zr_build_voxel_grid(s.doc));
        const search_tree& t = s.doc->voxel_grid->tree;
        ASSERT_EQ(s.doc->voxel_grid->structure, SEARCH_TREE);
        // Nodes and blocks end with padding, which nobody fills.
        constexpr size_t node_bytes = offsetof(tree_node, children) + sizeof(tree_node::children);
        constexpr size_t block_bytes = offsetof(triangle_block, numbers) + sizeof(triangle_block::numbers);
        std::string all;
        for (size_t i = 0; i < t.node_count; ++i)
        {
            all.append(reinterpret_cast<const char*>(t.nodes + i), node_bytes);
        }
        for (size_t i = 0; i < t.block_count; ++i)
        {
            all.append(reinterpret_cast<const char*>(t.blocks + i), block_bytes);
        }
        all.append(reinterpret_cast<const char*>(t.runs), t.run_count * sizeof(object_run));
        all += std::to_string(t.root) + " " + std::to_string(t.depth);
        if (processors == 1) { first = all; }
        EXPECT_TRUE(all == first) << processors;
        EXPECT_EQ(size_t(bytes_held(s.doc)), tree_bytes(t));
    }
    platform::override_processor_count(0);
    EXPECT_GT(s.doc->voxel_grid->tree.run_count, 100u);
}

TEST(SearchTree, EveryObjectStandsInOneLeaf)
{
    mixed_scene m(5);
    for (int i = 0; i < 40; ++i) { m.add_part(i % 6); }
    ASSERT_TRUE(zr_build_voxel_grid(m.s.doc));
    const search_tree& t = m.s.doc->voxel_grid->tree;
    std::map<uint32_t, int> places;
    const auto count = [&](uint32_t number)
    {
        if (number) { ++places[number]; }
    };
    for (size_t i = 0; i < t.block_count; ++i)
    {
        for (const uint32_t n : t.blocks[i].numbers) { count(n); }
    }
    for (size_t i = 0; i < t.run_count; ++i)
    {
        for (const uint32_t n : t.runs[i].numbers) { count(n); }
    }
    EXPECT_EQ(places.size(), m.s.doc->object_table_count - 1u);
    for (const auto& [number, times] : places) { EXPECT_EQ(times, 1) << number; }
}

namespace
{

/// Answers of a host to a build, and what it was told.
struct build_host
{
    static inline std::vector<int32_t> codes;
    static inline std::vector<float> fractions;
    static inline size_t refuses; ///< which call is answered by 0; past the end none
    static inline int32_t* word;  ///< which stop word is set then instead, null none

    static int32_t progress(int32_t, document*, render_view*, int32_t code, float fraction, int32_t)
    {
        codes.push_back(code);
        if (code == 101) { fractions.push_back(fraction); }
        const bool now = codes.size() - 1 == refuses;
        if (now && word) { platform::store_word(word, 1); }
        return !now || word;
    }
};

/// Builds that the host is told of; 1 or 0 as zr_build_voxel_grid gives.
int32_t build_told(document* d, size_t refuses, int32_t* word)
{
    const host_functions functions({ { "host_progress", reinterpret_cast<void*>(build_host::progress) } });
    build_host::codes.clear();
    build_host::fractions.clear();
    build_host::refuses = refuses;
    build_host::word = word;
    return zr_build_voxel_grid(d);
}

} // namespace

TEST(SearchTree, AHostFollowsAndStopsABuild)
{
    constexpr size_t never = SIZE_MAX;
    platform::override_processor_count(1); // else the thread that reports takes no fixed share of the work
    test::scene s;
    test::mesh m;
    add_sheet(m, 90);
    ASSERT_TRUE(s.add(m));
    for (const test::search_path& path : test::search_paths)
    {
        SCOPED_TRACE(path.name);
        const test::taken_path taken(path);
        ASSERT_EQ(build_told(s.doc, never, nullptr), 1);
        const std::vector<int32_t> codes = build_host::codes;
        EXPECT_EQ(codes.front(), 100);
        EXPECT_EQ(codes.back(), 102);
        EXPECT_EQ(std::count(codes.begin(), codes.end(), 100), 1) << "one list has objects";
        EXPECT_EQ(std::count(codes.begin(), codes.end(), 101), int64_t(codes.size()) - 2);
        EXPECT_TRUE(std::is_sorted(build_host::fractions.begin(), build_host::fractions.end()));
        EXPECT_GE(build_host::fractions.front(), 0.0f);
        EXPECT_LE(build_host::fractions.back(), 1.0f);

        // Stopped at the first report of each code, in the middle, and late; by an answer or by either word.
        struct
        {
            size_t call;
            int32_t* word;
        } const stops[] = { { 0, nullptr }, { 1, nullptr }, { codes.size() / 2, nullptr },
            { codes.size() - 3, nullptr }, { 1, &s.doc->preprocess_stop },
            { codes.size() / 2, &s.doc->stop_render } };
        for (const auto& stop : stops)
        {
            SCOPED_TRACE(stop.call);
            EXPECT_EQ(build_told(s.doc, stop.call, stop.word), 0);
            EXPECT_EQ(zr_last_error()->code, ZR_ERROR_STATE);
            EXPECT_FALSE(s.doc->state_flags & DOCUMENT_GRID_BUILT);
            EXPECT_EQ(std::count(build_host::codes.begin(), build_host::codes.end(), 102), 0);
            if (!stop.word) { EXPECT_EQ(build_host::codes.size(), stop.call + 1); }
            EXPECT_EQ(s.doc->preprocess_stop | s.doc->stop_render, 0) << "words are cleared";
            ray r = s.eye_ray({ 0.5, 0.4, 2 }, { 0, 0, -1 });
            find_nearest_hit(*s.doc, r); // whatever is left of the build can be asked
        }
        EXPECT_EQ(build_told(s.doc, never, nullptr), 1) << "and built again";
    }
    platform::override_processor_count(0);
}

namespace
{

std::atomic<int> requests_left;
bool counted_request(size_t)
{
    return requests_left.fetch_sub(1) > 0;
}

} // namespace

TEST(SearchTree, ABuildThatMemoryFailsGivesZeroAndIsTriedAgain)
{
    test::balls round;
    test::scene s;
    test::mesh m;
    add_sheet(m, 60);
    ASSERT_TRUE(s.add(m));
    for (int i = 0; i < 20; ++i)
    {
        round.add(s.doc, test::BALL_PLAIN, { i * 0.05, 0.5, 0.1 }, 0.01, nullptr);
    }
    for (const int32_t structure : { SEARCH_TREE, SEARCH_GRID })
    {
        SCOPED_TRACE(structure);
        const int32_t before = zr_set_search_structure(structure);
        ASSERT_TRUE(zr_build_voxel_grid(s.doc));
        int failures = 0;
        for (int allowed = 0;; ++allowed)
        {
            requests_left = allowed;
            platform::set_heap_gate(counted_request);
            const int32_t built = zr_build_voxel_grid(s.doc);
            platform::set_heap_gate(nullptr);
            if (built) { break; }
            ++failures;
            EXPECT_EQ(zr_last_error()->code, ZR_ERROR_MEMORY);
            EXPECT_FALSE(s.doc->state_flags & DOCUMENT_GRID_BUILT);
            ray r = s.eye_ray({ 0.5, 0.4, 2 }, { 0, 0, -1 });
            find_nearest_hit(*s.doc, r);
        }
        EXPECT_GT(failures, 3);
        ray r = s.eye_ray({ 0.5, 0.4, 2 }, { 0, 0, -1 });
        EXPECT_TRUE(find_nearest_hit(*s.doc, r));
        zr_set_search_structure(before);
    }
}
