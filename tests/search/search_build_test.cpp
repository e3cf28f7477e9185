// What builds of either structure make of objects of one place, several processors, failing memory and a host
// that follows and stops them.
#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <thread>

#include "tests/support/ball_object.hpp"
#include "tests/support/find_table.hpp"
#include "tests/support/scene.hpp"
#include "tests/support/search_paths.hpp"
#include "zirconlite/frame/error.h"
#include "zirconlite/frame/window.h"
#include "zirconlite/platform/heap.hpp"
#include "zirconlite/platform/threads.hpp"
#include "zirconlite/search/ray_search.hpp"
#include "zirconlite/search/voxel_grid.hpp"

namespace
{

using namespace zr;

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

int32_t bytes_in_use(const document* d)
{
    int32_t counts[12];
    zr_voxel_grid_stats(d->voxel_grid, counts);
    return counts[11];
}

} // namespace

TEST(SearchBuild, ObjectsOfOnePlaceTakeBoundedMemoryAndDepth)
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
            EXPECT_GT(zr_mem_get_alloc(s.doc->voxel_memory), 0u);
            EXPECT_LE(bytes_in_use(s.doc), c.bytes_each * (c.faces + c.spheres) +
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
        zr_free_voxel_grid(s.doc);
        EXPECT_EQ(zr_mem_get_alloc(s.doc->voxel_memory), 0u);
    }
}

TEST(SearchBuild, TheResultDoesNotDependOnTheProcessors)
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
        EXPECT_EQ(size_t(bytes_in_use(s.doc)), tree_bytes(t));
    }
    platform::override_processor_count(0);
    EXPECT_GT(s.doc->voxel_grid->tree.run_count, 100u);
}

TEST(SearchBuild, TheListsDecideWhatIsFound)
{
    for (const test::search_path& path : test::search_paths)
    {
        SCOPED_TRACE(path.name);
        const test::taken_path taken(path);
        test::scene s;
        const auto add_sheet_at = [&](double z)
        {
            test::mesh m;
            m.quad({ -1, -1, z }, { 1, -1, z }, { 1, 1, z }, { -1, 1, z });
            ASSERT_TRUE(s.add(m));
        };
        add_sheet_at(0);
        scene_object* const lowest = s.doc->scene_objects.first;
        add_sheet_at(1);
        s.doc->scene_objects.first = lowest; // a host hides the upper sheet

        // Two faces of one place that a host makes and links itself.
        object_descriptor descriptor = {};
        mesh_build build;
        zr_init_mesh_build(s.doc, &build);
        build.descriptor = &descriptor;
        mesh_attributes attributes = {};
        attributes.material = s.matte(0.5f);
        const scene_object head = { nullptr, y_mesh_get_vft(), 0, 0 };
        y_vertex corners[3] = {};
        vertex_entry table[3] = {};
        const float at[3][2] = { { -1, -1 }, { 1, -1 }, { 1, 1 } };
        for (int i = 0; i < 3; ++i)
        {
            corners[i].position[0] = at[i][0];
            corners[i].position[1] = at[i][1];
            corners[i].position[2] = 0.5f;
            table[i].vertex = &corners[i];
        }
        const int32_t indices[3] = { 0, 1, 2 };
        y_face* made[2];
        for (y_face*& f : made)
        {
            f = y_mesh_add_face(&build, table, indices, &head, &attributes, 1);
            ASSERT_TRUE(f);
            f->head.next = s.doc->scene_objects.first;
            s.doc->scene_objects.first = &f->head;
        }
        for (int builds = 0; builds < 2; ++builds)
        {
            ASSERT_TRUE(zr_build_voxel_grid(s.doc));
            EXPECT_EQ(s.doc->build_total, 4);
            EXPECT_EQ(made[0]->head.number, 5u) << "behind the four faces of the meshes";
            EXPECT_EQ(made[1]->head.number, 6u);
            EXPECT_EQ(zr_object_from_number(s.doc, 6), &made[1]->head);
        }
        ray over = s.eye_ray({ 0.5, -0.5, 3 }, { 0, 0, -1 });
        ASSERT_TRUE(find_nearest_hit(*s.doc, over));
        EXPECT_EQ(over.hit_object, &made[0]->head) << "of one place the oldest";
        ray beside = s.eye_ray({ -0.5, 0.5, 3 }, { 0, 0, -1 });
        ASSERT_TRUE(find_nearest_hit(*s.doc, beside));
        EXPECT_EQ(beside.hit_t, 3.0) << "through the hidden sheet";
    }
}

namespace
{

/// Answers of a host to a build, and what was reported to it.
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

/// Builds that are reported to the host; 1 or 0 as zr_build_voxel_grid gives.
int32_t build_reports(document* d, size_t refuses, int32_t* word)
{
    const host_functions functions({ { "host_progress", reinterpret_cast<void*>(build_host::progress) } });
    build_host::codes.clear();
    build_host::fractions.clear();
    build_host::refuses = refuses;
    build_host::word = word;
    return zr_build_voxel_grid(d);
}

} // namespace

TEST(SearchBuild, AHostFollowsAndStopsABuild)
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
        ASSERT_EQ(build_reports(s.doc, never, nullptr), 1);
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
            EXPECT_EQ(build_reports(s.doc, stop.call, stop.word), 0);
            EXPECT_EQ(zr_last_error()->code, ZR_ERROR_STATE);
            EXPECT_FALSE(s.doc->state_flags & DOCUMENT_GRID_BUILT);
            EXPECT_EQ(std::count(build_host::codes.begin(), build_host::codes.end(), 102), 0);
            if (!stop.word) { EXPECT_EQ(build_host::codes.size(), stop.call + 1); }
            EXPECT_EQ(s.doc->preprocess_stop | s.doc->stop_render, 0) << "words are cleared";
            ray r = s.eye_ray({ 0.5, 0.4, 2 }, { 0, 0, -1 });
            find_nearest_hit(*s.doc, r); // whatever is left of the build can be asked
        }
        s.doc->stop_render = s.doc->preprocess_stop = 1;
        s.doc->frustum_invalid = 0;
        EXPECT_EQ(build_reports(s.doc, never, nullptr), 1) << "words of an earlier job do not count";
        EXPECT_EQ(s.doc->frustum_invalid, 1) << "first hits by tiles are of the old structure";
    }
    platform::override_processor_count(0);
}

namespace
{

/// A host whose builds wait, in their first report, until its messages were served.
std::atomic<int> served;
int32_t wait_for_service(int32_t, document*, render_view*, int32_t code, float, int32_t)
{
    for (int i = 0; code == 100 && served < 3 && i < 2000; ++i) { platform::sleep_ms(1); }
    return 1;
}

} // namespace

TEST(SearchBuild, TheHostsMessagesAreServedOnItsThreadDuringABuild)
{
    const host_functions functions({ { "host_progress", reinterpret_cast<void*>(wait_for_service) } });
    test::scene s;
    test::mesh m;
    add_sheet(m, 1);
    ASSERT_TRUE(s.add(m));
    std::thread::id own = std::this_thread::get_id();
    const auto serve = [](void* context)
    { served += *static_cast<std::thread::id*>(context) == std::this_thread::get_id(); };
    zr_install_message_pump(serve, &own);
    EXPECT_TRUE(zr_build_voxel_grid(s.doc));
    zr_install_message_pump(nullptr, nullptr);
    EXPECT_GE(served, 3);
}

namespace
{

std::atomic<int> requests_left;
bool counted_request(size_t) { return requests_left.fetch_sub(1) > 0; }

} // namespace

TEST(SearchBuild, ABuildThatMemoryFailsGivesZeroAndIsTriedAgain)
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
