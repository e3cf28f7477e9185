/// @file
/// The light kept in a scene: its cells, and its file.
#include <gtest/gtest.h>

#include <fstream>
#include <vector>

#include "tests/support/picture_light.hpp"
#include "tests/support/room_scene.hpp"
#include "tests/support/scene.hpp"
#include "tests/support/temporary_folder.hpp"
#include "zirconlite/picture/gamma_tables.hpp"
#include "zirconlite/sampling/converging.h"
#include "zirconlite/sampling/light_cache.hpp"

namespace
{

using zr::cache_deposit;
using zr::cache_reading;

constexpr vector3 up = { 0, 0, 1 }, down = { 0, 0, -1 };

/// Adds samples of one light for a place, whose nearest surface is `distance` away.
void deposit(
    light_cache& cache, const vector3& point, const vector3& normal, int count, float light, float distance)
{
    cache_reading at;
    ASSERT_TRUE(find_cell(cache, point, normal, at));
    const std::vector<cache_deposit> samples(
        size_t(count), { at.key, at.division, { light, light, light }, 1 / distance });
    ASSERT_TRUE(add_deposits(cache, samples.data(), samples.size()));
}

double light_at(const light_cache& cache, const vector3& point, const vector3& normal)
{
    cache_reading at;
    if (!find_cell(cache, point, normal, at) || !zr::is_readable(at.cell)) { return -1; }
    double light[3];
    zr::light_of_cell(*at.cell, light);
    return light[1];
}

} // namespace

TEST(LightCache, CellsDifferByPlaceAndFacingAndGrowWithDistance)
{
    light_cache cache = {};
    zr::start_light_cache(cache, { 0, 0, 1 }, 100, 0);
    for (int i = 0; i < 4; ++i) { deposit(cache, { 2, 2, 0 }, up, 8, 5, 10); }
    deposit(cache, { 2, 2, 0 }, down, 32, 7, 10);
    EXPECT_EQ(light_at(cache, { 2, 2, 0 }, up), 5);
    EXPECT_EQ(light_at(cache, { 2, 2, 1e-13 }, up), 5) << "a plane between two layers has one of them";
    EXPECT_EQ(light_at(cache, { 2, 2, -1e-13 }, up), 5);
    EXPECT_EQ(light_at(cache, { 2, 2, 0 }, down), 7);
    EXPECT_EQ(light_at(cache, { 3, 2, 0 }, up), -1);
    cache_reading near, far;
    EXPECT_TRUE(find_cell(cache, { 1, 0, 1 }, up, near) && find_cell(cache, { 40, 0, 1 }, up, far));
    EXPECT_LE(near.size, 0.07);
    EXPECT_GE(near.size, 0.035);
    EXPECT_EQ(far.size, 2.0);
    EXPECT_FALSE(find_cell(cache, { 1e300, 0, 0 }, up, far));
}

TEST(LightCache, CellsBesideOtherSurfacesAreDivided)
{
    light_cache cache = {};
    zr::start_light_cache(cache, { 0, 0, 1 }, 100, 0);
    cache_reading at;
    double size = 0;
    for (int division = 0; division < 5; ++division)
    {
        ASSERT_TRUE(find_cell(cache, { 4, 4, 0 }, up, at));
        EXPECT_EQ(at.division, std::min(division, 3)) << "at most three times";
        if (division > 0 && division < 4) { EXPECT_EQ(at.size, size / 2); }
        size = at.size;
        deposit(cache, { 4, 4, 0 }, up, 16, 1, float(at.size));
    }
    deposit(cache, { -4, 4, 0 }, up, 16, 1, 1.0f);
    ASSERT_TRUE(find_cell(cache, { -4, 4, 0 }, up, at));
    EXPECT_EQ(at.division, 0) << "nothing is near";
}

TEST(LightCache, CellsTakeSamplesAsTheirFirstOnesScatter)
{
    // The error of a mean of n zeros and ones is 1 / sqrt(n) of it: 100 for a tenth. Even light needs the
    // least.
    const struct
    {
        float low, high;
        uint32_t needed;
    } cases[] = { { 3, 3, 32 }, { 0, 40, 100 }, { 0, 0, 256 } };
    double y = 0;
    for (const auto& c : cases)
    {
        light_cache cache = {};
        zr::start_light_cache(cache, { 0, 0, 1 }, 100, 0);
        const vector3 place = { 2, y += 0.5, 0 };
        for (int i = 0; i < 8; ++i)
        {
            EXPECT_LT(light_at(cache, place, up), 0) << "the first samples are not read";
            deposit(cache, place, up, 1, c.low, 10);
            deposit(cache, place, up, 1, c.high, 10);
        }
        cache_reading at;
        ASSERT_TRUE(find_cell(cache, place, up, at));
        EXPECT_EQ(at.cell->needed, c.needed);
        EXPECT_EQ(at.cell->count, 0u) << "and forgotten";
        deposit(cache, place, up, int(c.needed) - 1, 6, 10);
        ASSERT_TRUE(find_cell(cache, place, up, at));
        EXPECT_EQ(light_at(cache, place, up), 6);
        EXPECT_FALSE(is_settled(at.cell));
        deposit(cache, place, up, 1, 6, 10);
        ASSERT_TRUE(find_cell(cache, place, up, at));
        EXPECT_TRUE(is_settled(at.cell));
    }
    light_cache cache = {};
    const cache_deposit broken = { {}, 0, { std::nanf(""), 0, 0 }, 0 };
    EXPECT_TRUE(add_deposits(cache, &broken, 1));
    EXPECT_EQ(cache.cells.list.count, 0u);
}

TEST(LightGuide, FollowsWhatItHasSeen)
{
    zr::cell_table<zr::guide_cell> guides;
    const zr::cell_key key = { { 1, -2, 3 }, -1, 4 };
    const auto learn = [&](const vector3& direction, float light, int count)
    {
        const std::vector<zr::guide_deposit> samples(
            size_t(count), { key, zr::guide_part_of(direction), light });
        EXPECT_TRUE(add_guide_deposits(guides, samples.data(), samples.size()));
    };
    learn({ 0, 0.6, 0.8 }, 3.0f, 100);
    EXPECT_EQ(guides.find(key)->known, 0u) << "too few";
    learn({ -0.6, 0, -0.8 }, 1.0f, 100);
    learn({ 0, 0, 1 }, 0.0f, 400);
    const zr::guide_cell& g = *guides.find(key);
    EXPECT_GT(g.known, 400u);
    double bright = 0, sum = 0;
    constexpr int side = 64;
    for (int i = 0; i < side * side; ++i)
    {
        const vector3 d = zr::guided_direction(g, (i % side + 0.5) / side, (i / side + 0.5) / side);
        EXPECT_NEAR(d.x * d.x + d.y * d.y + d.z * d.z, 1.0, 1e-12);
        EXPECT_GT(zr::guided_density(g, d), 0.0);
        bright += zr::guide_part_of(d) == zr::guide_part_of({ 0, 0.6, 0.8 });
        sum += 1.0 / zr::guided_density(g, d);
    }
    EXPECT_NEAR(bright / (side * side), 0.75, 0.01) << "by light";
    EXPECT_NEAR(sum / (side * side), 2 * 4 * M_PI / zr::guide_parts, 0.01) << "the solid angle of two parts";
    EXPECT_EQ(zr::guided_density(g, { 0, 0, 1 }), 0.0);
}

namespace
{

/// A closed room of two greys whose ceiling glows.
struct kept_room : test::scene
{
    kept_room()
    {
        zr::fill_gamma_tables();
        set_room_settings(doc);
        zr_set_pixel_sampler(doc, SAMPLER_CONVERGING);
        zr_set_indirect_light(doc, INDIRECT_CACHE, 8, 0);
        for (const float glow : { 0.0f, 40.0f })
        {
            test::mesh m;
            m.look = look(
                [&](simple_material& s)
                {
                    std::fill_n(s.color, 3, 0.6f);
                    s.luminosity = glow;
                });
            if (glow == 0) { m.box({ { -2, -2, -2 }, { 2, 2, 2 } }); }
            else { m.quad({ -1, -1, 1.9 }, { 1, -1, 1.9 }, { 1, 1, 1.9 }, { -1, 1, 1.9 }); }
            EXPECT_TRUE(add(m));
        }
        // Of lumens, whose candela are those of the light model once a job has begun.
        light spot = test::scene::point_source({ 0, 0, 1 }, 0.0f);
        spot.distribution = DISTRIBUTION_SPOT;
        spot.beam_angle = spot.field_angle = 0.5f;
        spot.normal = { 0, 0, -1 };
        spot.brightness_unit = BRIGHTNESS_LUMENS;
        spot.lumens = 50.0f;
        add(spot);
        EXPECT_EQ(zr_build_voxel_grid(doc), 1);
    }
    std::vector<uint8_t> picture(int32_t threads, const vector3& eye)
    {
        EXPECT_EQ(set_room_view(doc, 32, 24), 1);
        doc->views[1].position = eye;
        EXPECT_EQ(zr_init_projection(&doc->views[1]), 1);
        const sampling_limits limits = { 0.1, 8, 8, 3, 0.0 };
        EXPECT_EQ(zr_set_sampling_limits(doc, &limits), 1);
        const int32_t former = zr_set_max_raytrace_threads(threads);
        render_job job = job_of(doc);
        EXPECT_TRUE(render_to_end(job) & RENDER_STATE_FINISHED);
        zr_set_max_raytrace_threads(former);
        const image_buffer& image = *doc->views[1].image;
        const auto* first = reinterpret_cast<const uint8_t*>(image.sums);
        return { first, first + size_t(image.width * image.height) * sizeof(pixel_sums) };
    }
};

} // namespace

TEST(LightCache, IsTheSameForAnyWorkersAndInItsFile)
{
    const temporary_folder folder;
    const auto path = [&](const char* name) { return folder.wide(name); };
    const vector3 eye = { 0, -1.5, 0 }, elsewhere = { 1, 1, -1 };
    kept_room one, other;
    const std::vector<uint8_t> made = one.picture(1, eye);
    EXPECT_EQ(made, other.picture(3, eye));
    ASSERT_GT(one.doc->light_cache->cells.list.count, 100u);
    ASSERT_EQ(zr_write_light_cache(one.doc, path("room.zrl").c_str()), 1);

    kept_room reader;
    ASSERT_EQ(zr_read_light_cache(reader.doc, path("room.zrl").c_str()), 1);
    const size_t cells = reader.doc->light_cache->cells.list.count;
    EXPECT_EQ(cells, one.doc->light_cache->cells.list.count);
    EXPECT_EQ(reader.picture(2, eye), made);
    reader.picture(2, elsewhere);
    EXPECT_EQ(reader.doc->light_cache->cells.list.count, cells) << "other views add nothing";

    std::ifstream file(folder.path / "room.zrl", std::ios::binary);
    const std::string whole((std::istreambuf_iterator<char>(file)), {});
    const auto refused = [&](document* d, const std::string& bytes, int32_t code)
    {
        std::ofstream(folder.path / "bad.zrl", std::ios::binary) << bytes;
        EXPECT_EQ(zr_read_light_cache(d, path("bad.zrl").c_str()), 0);
        EXPECT_EQ(zr_last_error()->code, code);
        EXPECT_NE(strstr(zr_last_error()->text, "bad.zrl"), nullptr);
        EXPECT_EQ(d->light_cache ? d->light_cache->cells.list.count : cells, cells) << "what was kept stays";
    };
    for (const size_t length : { size_t(0), size_t(30), size_t(56), whole.size() - 1 })
    {
        refused(reader.doc, whole.substr(0, length), ZR_ERROR_FORMAT);
    }
    std::string other_version = whole, endless = whole, twice = whole;
    other_version[4] = 9;
    refused(reader.doc, other_version, ZR_ERROR_FORMAT);
    endless.replace(56 + 16, 4, "\xff\xff\xff\x7f"); // a sum that is not a number
    refused(reader.doc, endless, ZR_ERROR_FORMAT);
    twice.replace(56 + 48, 48, whole.substr(56, 48)); // one cell in two places
    refused(reader.doc, twice, ZR_ERROR_FORMAT);
    std::string falling = whole;
    falling[whole.size() - 1] = falling[whole.size() - 2] = 0; // the shares of a guide that do not end at all
    refused(reader.doc, falling, ZR_ERROR_FORMAT);
    kept_room brighter;
    light added = {};
    added.type = LIGHT_SPHERICAL;
    added.candela = 100;
    zr_insert_light_source_ex(&brighter.doc->lights, zr_create_light(&added, nullptr), brighter.doc);
    refused(brighter.doc, whole, ZR_ERROR_ARGUMENT);
    EXPECT_EQ(zr_read_light_cache(reader.doc, path("none.zrl").c_str()), 0);
    EXPECT_EQ(zr_last_error()->code, ZR_ERROR_READ);
    zr_free_light_cache(reader.doc);
    EXPECT_EQ(zr_write_light_cache(reader.doc, path("none.zrl").c_str()), 0);
}
