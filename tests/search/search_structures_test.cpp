// Pictures do not depend on the structure that finds the hits, nor on vectors. Over a hundred small rooms at
// random are rendered by all of them, and every plane of the picture is compared byte for byte.
//
// What may differ is how much work a picture takes, not what it shows: a worker remembers the object that
// blocked a lamp last, and asks it before it searches. Any opaque object on the way ends the search for one,
// so each structure remembers another where several stand in a row; which ray is answered from memory, and so
// the count of shadow rays, follows from that. Whatever is remembered, a ray is blocked by it only if the
// light does not arrive. All other counters are equal.
#include <random>

#include "tests/support/ball_object.hpp"
#include "tests/support/room_scene.hpp"
#include "tests/support/search_paths.hpp"
#include "zirconlite/geometry/vector.hpp"

namespace
{

using namespace zr;

constexpr int32_t width = 32, height = 24;

/// A room that a number decides about: the same one each time.
struct random_room
{
    test::balls round;
    document* d = zr_open_document();
    std::mt19937 random;
    std::vector<material_entry*> looks;
    vector3 offset; ///< of everything, from the origin; rooms a hundred kilometres away are rare
    bool parallel;  ///< seen by rays along an axis

    explicit random_room(unsigned seed)
        : random(seed), offset(seed % 8 == 3 ? vector3{ 71000, -71000, 30 } : vector3{}),
          parallel(seed % 6 == 1)
    {
        set_room_settings(d);
        d->sky_scale = 1;
        d->pixel_jitter = 0.3;
        d->gloss_samples = d->translucency_samples = 1;
        d->render_flags = RENDER_OBJECT_IDS | RENDER_DEPTH_PLANE | (seed % 2 ? RENDER_SOFT_SHADOWS : 0);
        d->environment_flags = ENVIRONMENT_ALPHA;
        zr_set_light_model(d, seed % 4 < 2 ? LIGHT_MODEL_EXACT : LIGHT_MODEL_FAST);
        if (seed % 5 == 0)
        {
            d->refract_limit = 24;
        } // and so 24 reflections within glass: more than is remembered
        make_looks();
        box(looks[0], { -2, -2, 0 }, { 2, 2, 3 });
        for (int i = 0; i < 2 + pick(5); ++i) { add_thing(pick(7)); }
        for (int i = 0; i < 1 + pick(3); ++i) { add_lamp(d, some_lamp()); }
        if (seed % 5 == 0) { add_panes(18 + pick(8)); }
        d->scene_area = d->scene_objects.area_sum;
    }
    ~random_room() { zr_close_document(d); }
    random_room(const random_room&) = delete;
    random_room& operator=(const random_room&) = delete;

    int pick(int count) { return static_cast<int>(random() % static_cast<unsigned>(count)); }
    double number(double low, double high)
    {
        return std::uniform_real_distribution<double>(low, high)(random);
    }
    vector3 place() { return { number(-1.4, 1.4), number(-0.9, 1.5), number(0.3, 2.4) }; }
    material_entry* look() { return looks[1 + random() % (looks.size() - 1)]; }

    void make_looks()
    {
        const room_look all[] = {
            { { 0.7f, 0.7f, 0.6f }, 0, 0, 1, false, 1 },
            { { 0.2f, 0.5f, 0.8f }, 0, 0, 1, false, 2 },
            { { 0.9f, 0.9f, 0.9f }, 0.8f, 0, 1, false, 3 },
            { { 0.9f, 0.4f, 0.3f }, 0.3f, 0, 1, true, 4 },
            { { 0.8f, 1.0f, 0.9f }, 0.1f, 0.9f, 1.5f, false, 5 },
            { { 1.0f, 0.9f, 0.6f }, 0, 0.6f, 1, false, 6 },
            { { 0.7f, 0.8f, 1.0f }, 0, 0.5f, 1, true, 7 },
        };
        for (const room_look& l : all)
        {
            const std::u16string name = { u'l', char16_t(u'0' + looks.size()) };
            looks.push_back(add_look(d, name.c_str(), l));
        }
    }

    void box(material_entry* m, const vector3& low, const vector3& high)
    {
        EXPECT_EQ(add_box(d, m, low + offset, high + offset), 1);
    }

    /// Polygons of their own corners, each from `corners_each` points.
    void add_polygons(std::vector<vector3> points, int corners_each, material_entry* m, uint32_t flags)
    {
        std::vector<int32_t> indices(points.size());
        std::vector<mesh_polygon> polygons;
        for (size_t i = 0; i < points.size(); ++i)
        {
            indices[i] = static_cast<int32_t>(i);
            points[i] = points[i] + offset;
        }
        for (size_t i = 0; i < points.size(); i += static_cast<size_t>(corners_each))
        {
            polygons.push_back({ corners_each, &indices[i] });
        }
        mesh_geometry geometry = {};
        geometry.vertex_count = static_cast<int32_t>(points.size());
        geometry.vertices = points.data();
        geometry.polygon_count = static_cast<int32_t>(polygons.size());
        geometry.polygons = polygons.data();
        object_descriptor descriptor = {};
        descriptor.smooth_cosine = 1;
        descriptor.flags = flags;
        mesh_build build;
        zr_init_mesh_build(d, &build);
        build.descriptor = &descriptor;
        build.material = m;
        build.geometry = &geometry;
        EXPECT_EQ(zr_create_mesh(d, &build), 1);
    }

    void add_thing(int kind)
    {
        const vector3 p = place();
        std::vector<vector3> points;
        switch (kind)
        {
        case 0:
        case 1:
        {
            const vector3 q = p + vector3{ number(0.1, 0.7), number(0.1, 0.4), number(0.1, 0.7) };
            box(look(), p, q);
            if (pick(2)) { box(look(), p, q); } // where another stands already
            if (pick(2)) { box(look(), { p.x, p.y, q.z }, q + vector3{ 0, 0, 0.2 }); } // and upon it
            break;
        }
        case 2: // dust: far smaller than all else
            for (int i = 0; i < 3 * 400; ++i)
            {
                const vector3 at = points.size() % 3 ? points[points.size() / 3 * 3] : p + place() * 0.1;
                points.push_back(at + vector3{ number(0, 0.02), number(0, 0.02), number(0, 0.02) });
            }
            add_polygons(points, 3, look(), 0);
            break;
        case 3: // a slat blind of long thin triangles
            for (int i = 0; i < 30; ++i)
            {
                const double z = 0.3 + i * 0.08;
                points.insert(points.end(), { { -1.9, p.y, z }, { 1.9, p.y, z }, { 1.9, p.y, z + 0.01 } });
            }
            add_polygons(points, 3, look(), pick(2) ? OBJECT_THIN : 0);
            break;
        case 4: // larger than the room
            add_polygons(
                { { -900, 1.9, -700 }, { 900, 1.95, -500 }, { 0, 1.9, 1200 } }, 3, look(), OBJECT_THIN);
            break;
        default:
            for (int i = 0; i < 1 + pick(5); ++i)
            {
                const vector3 centre = place() + offset;
                const double radius = number(0.05, 0.4);
                const test::ball_object b = { {}, centre, radius, nullptr, {} };
                const auto ball = static_cast<test::ball_kind>(pick(2) ? 0 : pick(test::BALL_KINDS));
                round.add(d, ball, centre, radius, look(), test::odd_bounds(pick(5), test::box_of(b)));
            }
        }
    }

    light some_lamp()
    {
        light l = lamp_at(vector3{ number(-1.5, 1.5), number(-1.5, 1), 2.8 } + offset, 150);
        l.radius = pick(2) ? 0.1 : 0;
        l.shadow_samples = 1 + pick(3);
        l.sample_jitter = 1;
        l.shadow_strength = pick(3) ? 1.0 : 0.6;
        return l;
    }

    /// More thin panes under the lamps than a shadow ray remembers at once, an opaque one among them at
    /// times.
    void add_panes(int count)
    {
        const int opaque = pick(2) ? pick(count) : -1;
        for (int i = 0; i < count; ++i)
        {
            const double z = 1.9 + 0.03 * i;
            add_polygons({ { -1, -1, z }, { 1.3, -1, z }, { 1.3, 1.8, z }, { -1, 1.8, z } }, 4,
                looks[i == opaque ? 1 : 5], OBJECT_THIN);
        }
    }
};

void set_view(random_room& room)
{
    document* d = room.d;
    set_room_view(d, width, height);
    render_view &from = d->views[0], &v = d->views[1];
    from.position += room.offset;
    from.target += room.offset;
    const int32_t size[2] = { width, height };
    zr_new_render_view(&v, &from, size);
    if (room.parallel)
    {
        v.projection = PROJECTION_PARALLEL;
        v.image_width = 3.2;
        v.image_height = 2.4;
    }
    EXPECT_EQ(zr_init_projection(&v), 1);
}

struct picture
{
    std::string bytes;
    ray_counters counters;
};

picture render(unsigned seed, const test::search_path& path)
{
    const test::taken_path taken(path);
    random_room room(seed);
    EXPECT_EQ(zr_build_voxel_grid(room.d), 1);
    set_view(room);
    render_job job = job_of(room.d);
    EXPECT_EQ(render_to_end(job), uint32_t(RENDER_STATE_PREPROCESSED | RENDER_STATE_FINISHED));
    const image_buffer& i = *room.d->views[1].image;
    const size_t slots = size_t(i.row_pixels) * size_t(i.height);
    picture p = { std::string(reinterpret_cast<const char*>(i.pixels), i.total_bytes),
        room.d->views[1].ray_counters };
    p.bytes.append(reinterpret_cast<const char*>(i.alpha), slots);
    p.bytes.append(reinterpret_cast<const char*>(i.depth), slots * sizeof(float));
    p.bytes.append(reinterpret_cast<const char*>(i.object_ids), slots * sizeof(uint16_t));
    return p;
}

} // namespace

TEST(SearchStructures, RandomRoomsLookTheSameToTheLastBit)
{
    constexpr unsigned rooms = 120;
    unsigned reflected = 0, transmitted = 0, different = 0;
    std::string before;
    for (unsigned seed = 0; seed < rooms; ++seed)
    {
        const picture wanted = render(seed, test::search_paths[0]);
        different += wanted.bytes != before;
        before = wanted.bytes;
        EXPECT_GT(wanted.counters.shaded_points, 500u) << "room " << seed << " is seen";
        reflected += wanted.counters.reflection_rays > 0;
        transmitted += wanted.counters.transmission_rays > 0;
        for (const test::search_path& path : test::search_paths)
        {
            const bool both_rare = path.structure == SEARCH_GRID && path.portable && seed % 4;
            if (&path == test::search_paths || both_rare) { continue; }
            picture got = render(seed, path);
            size_t at = 0;
            while (at < got.bytes.size() && got.bytes[at] == wanted.bytes[at]) { ++at; }
            EXPECT_TRUE(got.bytes == wanted.bytes) << path.name << ", room " << seed << ", from byte " << at;
            if (path.structure == SEARCH_GRID) { got.counters.shadow_rays = wanted.counters.shadow_rays; }
            EXPECT_EQ(memcmp(&got.counters, &wanted.counters, sizeof(ray_counters)), 0)
                << path.name << ", room " << seed;
        }
    }
    EXPECT_EQ(different, rooms) << "each room has a picture of its own";
    EXPECT_GT(reflected, rooms / 4);
    EXPECT_GT(transmitted, rooms / 4);
}
