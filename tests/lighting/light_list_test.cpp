#include <gtest/gtest.h>

#include <string>

#include "zirconlite/frame/document.h"
#include "zirconlite/frame/error.h"
#include "zirconlite/frame/memory.h"
#include "zirconlite/lighting/goniometry.h"
#include "zirconlite/lighting/light.h"

namespace
{

/// A light or group whose `file_id` is its own.
light* made(uint32_t id, float lumens, int32_t type = LIGHT_SPHERICAL, light* parent = nullptr)
{
    light l = {};
    l.type = type;
    l.distribution = DISTRIBUTION_DEFAULT;
    l.brightness_unit = BRIGHTNESS_LUMENS;
    l.lumens = lumens;
    l.file_id = id;
    l.parent = parent;
    return zr_create_light(&l, nullptr);
}

std::string walk(light* first)
{
    std::string ids;
    for (light* l = first_leaf(first); l; l = next_leaf(l)) { ids += std::to_string(l->file_id) + " "; }
    return ids;
}

} // namespace

TEST(LightList, IsSortedByPowerAndEqualLightsKeepTheirOrder)
{
    document scene = {};
    const float lumens[] = { 100, 300, 100, 200, 300, 100, 50, 0 };
    uint32_t id = 0;
    for (const float power : lumens) { zr_insert_light_source_ex(&scene.lights, made(++id, power), &scene); }
    EXPECT_EQ(walk(scene.lights), "2 5 4 1 3 6 7 8 ");
    EXPECT_EQ(scene.light_count, 8);
    zr_lights_free(&scene, 1);
    EXPECT_EQ(scene.lights, nullptr);
    EXPECT_EQ(scene.light_count, 0);
}

TEST(LightList, TheWalkPassesOverGroups)
{
    document scene = {};
    EXPECT_EQ(first_leaf(nullptr), nullptr);
    light* outer = made(1, 500, LIGHT_GROUP);
    light* inner = made(2, 400, LIGHT_GROUP, outer);
    light* hollow = made(3, 300, LIGHT_GROUP, outer);
    zr_insert_light_source(&outer->first_child, inner, nullptr);
    zr_insert_light_source(&outer->first_child, hollow, nullptr);
    zr_insert_light_source_ex(&scene.lights, outer, &scene);
    zr_insert_light_source_ex(&scene.lights, made(4, 450, LIGHT_GROUP), &scene);
    EXPECT_EQ(first_leaf(scene.lights), nullptr) << "groups alone give no light";
    zr_insert_light_source(&inner->first_child, made(5, 10, LIGHT_SPHERICAL, inner), nullptr);
    zr_insert_light_source(&inner->first_child, made(6, 20, LIGHT_SPHERICAL, inner), nullptr);
    zr_insert_light_source(&outer->first_child, made(7, 5, LIGHT_SPHERICAL, outer), nullptr);
    zr_insert_light_source_ex(&scene.lights, made(8, 100), &scene);
    EXPECT_EQ(walk(scene.lights), "6 5 7 8 ");

    outer->flags |= LIGHT_KEPT;
    zr_lights_free(&scene, 0);
    EXPECT_EQ(walk(scene.lights), "6 5 7 ");
    EXPECT_EQ(scene.light_count, 5) << "every node below the kept group";
    outer->flags = 0;
    zr_lights_free(&scene, 0);
    EXPECT_EQ(scene.lights, nullptr);
    EXPECT_EQ(scene.light_count, 0);
}

TEST(LightList, LightsOfOneTemplateShareItsTables)
{
    // Whoever goes last frees the tables, in every order; a sanitizer sees the rest.
    for (const int first : { 0, 1, 2 })
    {
        light l = {};
        l.goniometry = zr_new_goniometry();
        l.goniometry->horizontal_count = l.goniometry->vertical_count = 1;
        l.goniometry->rows = static_cast<float**>(zr_malloc(sizeof(float*)));
        l.goniometry->rows[0] = static_cast<float*>(zr_malloc(sizeof(float)));
        l.goniometry->rows[0][0] = 0.75f;
        light* lights[2];
        for (light*& made : lights) { made = zr_create_light(&l, nullptr); }
        l.type = LIGHT_GROUP;
        light* group = zr_create_light(&l, nullptr);
        EXPECT_EQ(group->goniometry, nullptr);
        group->goniometry = l.goniometry; // a luminaire names one that it does not own
        zr_light_free(group);
        EXPECT_NE(lights[0]->goniometry, l.goniometry);
        EXPECT_NE(lights[0]->goniometry, lights[1]->goniometry);
        EXPECT_EQ(lights[1]->goniometry->rows, l.goniometry->rows);
        if (first == 0) { zr_free_goniometry(l.goniometry); }
        zr_light_free(lights[first == 1]);
        EXPECT_EQ(lights[first != 1]->goniometry->rows[0][0], 0.75f);
        if (first == 2) { zr_free_goniometry(l.goniometry); }
        zr_light_free(lights[first != 1]);
        if (first == 1) { zr_free_goniometry(l.goniometry); }
    }
}
