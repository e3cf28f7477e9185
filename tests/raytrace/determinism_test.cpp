/// @file
/// Pictures are the same, bit for bit, on every run, for every number of workers from 2 to 8, and whichever
/// acceleration structure finds the hits, with vectors or without. Only the number of shadow rays may differ
/// between structures: a worker remembers the object that blocked a light source last, and of several in a
/// row each structure meets another.

#include "tests/support/room_scene.hpp"
#include "tests/support/search_paths.hpp"
#include "zirconlite/platform/threads.hpp"

namespace
{

constexpr int32_t width = 120, height = 136; // five strips: eight workers are never all busy

light soft_source(const vector3& position, float candela)
{
    light l = point_source_at(position, candela);
    l.radius = 0.15;
    l.shadow_samples = 3;
    l.sample_jitter = 1;
    return l;
}

/// Everything that draws random numbers, keeps a cache per worker or sorts: glossy reflection and
/// transmission, glass, soft shadows, equal light sources, a spot, a distant light, a lens, all planes.
document* open_busy_room(int32_t light_model)
{
    document* d = zr_open_document();
    set_room_settings(d);
    d->gloss_samples = d->translucency_samples = 2;
    d->pixel_jitter = 0.3;
    d->sky_scale = 1;
    d->render_flags = RENDER_SOFT_SHADOWS | RENDER_DEPTH_OF_FIELD | RENDER_DEPTH_PLANE | RENDER_OBJECT_IDS;
    d->environment_flags = ENVIRONMENT_ALPHA;
    d->lens_f_stop = 4;
    d->focus_distance = 2;
    zr_set_light_model(d, light_model);
    add_box(d, add_look(d, u"walls", {}), { -2, -2, 0 }, { 2, 2, 3 });
    add_box(d, add_look(d, u"gloss", { { 0.8f, 0.5f, 0.2f }, 0.6f, 0, 1, true, 5 }), { -1.2, 0.4, 0.8 },
        { -0.3, 1.2, 1.6 });
    add_box(d, add_look(d, u"glass", { { 0.9f, 0.9f, 0.9f }, 0.1f, 0.8f, 1.5f, false, 9 }), { 0.1, 0, 0.9 },
        { 0.7, 0.5, 1.9 });
    add_box(d, add_look(d, u"frosted", { { 0.5f, 0.9f, 0.9f }, 0, 0.7f, 1, true, 3 }), { 0.9, 0.4, 1 },
        { 1.2, 1.2, 1.8 });
    for (int i = 0; i < 3; ++i) { add_light(d, soft_source({ -1.2 + 1.2 * i, -0.6, 2.7 }, 80)); }
    light spot = soft_source({ 1.5, -1.5, 2.8 }, 400);
    spot.distribution = DISTRIBUTION_SPOT;
    spot.normal = { -0.6, 0.6, -0.529 };
    spot.beam_angle = 0.3f;
    spot.field_angle = 0.6f;
    add_light(d, spot);
    light distant = point_source_at({}, 0);
    distant.type = LIGHT_PARALLEL;
    distant.altitude = 0.9;
    distant.dimmer = 0.3f;
    distant.disc_size = 0.1f;
    distant.falloff = 0;
    add_light(d, distant);
    d->scene_area = d->scene_objects.area_sum;
    zr_build_voxel_grid(d);
    set_room_view(d, width, height);
    return d;
}

/// The picture with its planes.
std::string all_bytes(const image_buffer& i)
{
    const size_t slots = size_t(i.row_pixels) * size_t(i.height);
    std::string all(reinterpret_cast<const char*>(i.pixels), i.total_bytes);
    all.append(reinterpret_cast<const char*>(i.alpha), slots);
    all.append(reinterpret_cast<const char*>(i.depth), slots * 4);
    all.append(reinterpret_cast<const char*>(i.object_ids), slots * 2);
    return all;
}

TEST(Determinism, PicturesAreTheSameOnEveryRunAndForTwoToEightWorkers)
{
    const struct
    {
        const char* what;
        int32_t model;
    } models[] = {
        { "fast light", LIGHT_MODEL_FAST },
        { "exact light", LIGHT_MODEL_EXACT },
    };
    struct
    {
        int workers, path;
    } const runs[] = { { 2, 0 }, { 2, 0 }, { 3, 1 }, { 4, 0 }, { 8, 0 }, { 5, 2 }, { 2, 3 } };
    std::string pictures[2];
    for (int m = 0; m < 2; ++m)
    {
        SCOPED_TRACE(models[m].what);
        std::string& first = pictures[m];
        ray_counters counters = {};
        for (const auto& [workers, path] : runs)
        {
            SCOPED_TRACE(testing::Message() << workers << " workers, " << test::search_paths[path].name);
            const test::taken_path taken(test::search_paths[path]);
            zr::platform::override_processor_count(workers);
            document* d = open_busy_room(models[m].model);
            render_job job = job_of(d);
            EXPECT_EQ(render_to_end(job), uint32_t(RENDER_STATE_PREPROCESSED | RENDER_STATE_FINISHED));
            const render_view& v = d->views[1];
            if (first.empty()) { counters = v.ray_counters; }
            const std::string now = all_bytes(*v.image);
            if (first.empty()) { first = now; }
            const auto differing = std::mismatch(first.begin(), first.end(), now.begin(), now.end());
            EXPECT_TRUE(first == now)
                << "from byte " << differing.first - first.begin() << " of " << first.size();
            if (test::search_paths[path].structure == SEARCH_GRID)
            {
                counters.shadow_rays = v.ray_counters.shadow_rays;
            }
            EXPECT_EQ(memcmp(&counters, &v.ray_counters, sizeof(counters)), 0);
            EXPECT_GT(v.ray_counters.reflection_rays, 0u);
            EXPECT_GT(v.ray_counters.transmission_rays, 0u);
            zr_close_document(d);
        }
    }
    zr::platform::override_processor_count(0);
    EXPECT_TRUE(pictures[0] != pictures[1]) << "the models differ";
}

} // namespace
