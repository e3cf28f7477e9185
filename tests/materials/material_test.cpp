#include <gtest/gtest.h>

#include <cmath>

#include "zirconlite/frame/document.h"
#include "zirconlite/frame/job_state.hpp"
#include "zirconlite/materials/blend.h"
#include "zirconlite/materials/bumps.h"
#include "zirconlite/materials/mat_image.h"
#include "zirconlite/materials/material_list.hpp"
#include "zirconlite/materials/surface.h"
#include "zirconlite/platform/heap.hpp"

namespace
{

simple_material& simple(material* m) { return *reinterpret_cast<simple_material*>(m); }
complex_material& blended(material* m) { return *reinterpret_cast<complex_material*>(m); }

} // namespace

TEST(Material, WeightsAddUpToOne)
{
    struct
    {
        float opacity, diffuse_share, translucent_share;
        float diffuse, reflect, translucent, transparent;
    } const cases[] = {
        { 1, 1, 0, 1, 0, 0, 0 },
        { 0.5f, 0.5f, 0.25f, 0.25f, 0.25f, 0.125f, 0.375f },
        { 0, 1, 0, 0, 0, 0, 1 },
        { 7, -2, 3, 0, 1, 0, 0 },
        { NAN, NAN, NAN, 0, 0, 0, 1 },
    };
    material* m = new_simple_material();
    for (const auto& c : cases)
    {
        simple(m).opacity = c.opacity;
        simple(m).diffuse_share = c.diffuse_share;
        simple(m).translucent_share = c.translucent_share;
        EXPECT_EQ(zr_update_material_weights(m), 1);
        EXPECT_EQ(simple(m).diffuse, c.diffuse);
        EXPECT_EQ(simple(m).reflect, c.reflect);
        EXPECT_EQ(simple(m).translucent, c.translucent);
        EXPECT_EQ(simple(m).transparent, c.transparent);
    }
    free_material(m);
    material* complex = new_complex_material();
    EXPECT_EQ(zr_update_material_weights(complex), 0);
    free_material(complex);
}

TEST(Material, KindsThatAreNoneAreRefused)
{
    material *simple_one = new_simple_material(), *pattern = new_complex_material();
    const double up[3] = { 0, 0, 1 }, one[3] = { 1, 1, 1 };
    EXPECT_EQ(zr_set_blend_kind(pattern, 0), 1);
    EXPECT_EQ(
        zr_set_blend_kind(pattern, -1) | zr_set_blend_kind(pattern, 8) | zr_set_blend_kind(simple_one, 1), 0);
    EXPECT_EQ(blended(pattern).blend, nullptr);
    EXPECT_EQ(zr_add_bump(simple_one, 1, up, up, 0.0, one, 1.0), 1);
    EXPECT_EQ(
        zr_add_bump(pattern, 1, up, up, 0.0, one, 1.0) | zr_add_bump(nullptr, 1, up, up, 0.0, one, 1.0), 0);
    EXPECT_EQ(zr_update_material_weights(nullptr), 0);
    free_material(simple_one);
    free_material(pattern);
}

TEST(Material, ACopySharesNothingWithItsSource)
{
    material* top = new_complex_material();
    material* middle = new_complex_material();
    blended(top).children[0] = middle;
    middle->parent = top;
    blended(middle).children[1] = zr_build_fake_material();
    material* leaf = blended(middle).children[1];
    leaf->parent = middle;
    leaf->name = zr_dupestring(u"oak");
    leaf->id = 77;
    for (const double strength : { 1.0, 2.0 })
    {
        auto* b = static_cast<bump*>(zr_calloc(1, sizeof(bump)));
        b->strength = strength;
        b->next = simple(leaf).bumps;
        simple(leaf).bumps = b;
    }
    simple(leaf).images = zr_new_mat_image();
    blended(top).children[1] = zr_build_fake_material();
    blended(top).children[1]->parent = top;
    blended(top).params.mask = static_cast<mask_source*>(zr_calloc(1, sizeof(mask_source)));
    blended(top).params.mask->references = 1;
    // Whichever request fails, what was copied so far goes and the source stays whole.
    static int requests_left;
    material* copy = nullptr;
    for (int granted = 0; !copy; ++granted)
    {
        ASSERT_LT(granted, 40);
        requests_left = granted;
        zr::platform::set_heap_gate([](size_t) { return requests_left-- > 0; });
        copy = dupe_material(top);
        zr::platform::set_heap_gate(nullptr);
        EXPECT_EQ(blended(top).params.mask->references, copy ? 2 : 1);
    }
    free_material(top); // under the address checks a shared block shows here or below

    EXPECT_EQ(copy->parent, nullptr);
    material* inner = blended(copy).children[0];
    EXPECT_EQ(inner->parent, copy);
    material* copied_leaf = blended(inner).children[1];
    EXPECT_EQ(copied_leaf->parent, inner);
    EXPECT_EQ(std::u16string(copied_leaf->name), u"oak");
    EXPECT_EQ(copied_leaf->id, 77);
    EXPECT_EQ(copied_leaf->surface->material, copied_leaf);
    ASSERT_NE(simple(copied_leaf).bumps, nullptr);
    EXPECT_EQ(simple(copied_leaf).bumps->strength, 2.0);
    EXPECT_EQ(simple(copied_leaf).bumps->next->strength, 1.0);
    EXPECT_EQ(simple(copied_leaf).bumps->next->next, nullptr);
    EXPECT_NE(simple(copied_leaf).images, nullptr);
    EXPECT_EQ(blended(copy).params.mask->references, 1);
    EXPECT_EQ(free_material(copy), 1);
    EXPECT_EQ(dupe_material(nullptr), nullptr);
}

TEST(MaterialList, FindsByNameAndLibrary)
{
    static int loads;
    loads = 0;
    zr::material_library_hook = [](const char16_t* library, const char16_t*, bool uncached) -> material*
    {
        ++loads;
        EXPECT_FALSE(uncached);
        return library[0] == u'w' ? new_simple_material() : nullptr;
    };
    document scene = {};
    material_entry* oak = zr_load_material(&scene, u"oak", u"wood");
    EXPECT_EQ(zr_load_material(&scene, u"oak", u"wood"), oak);
    EXPECT_NE(zr_load_material(&scene, u"Oak", u"wood"), oak) << "names are compared exactly";
    ASSERT_NE(oak->material, nullptr);
    EXPECT_NE(oak->material->surface, nullptr);
    material_entry* missing = zr_load_material(&scene, u"oak", u"stone");
    EXPECT_NE(missing, oak);
    EXPECT_EQ(missing->material, nullptr);
    EXPECT_EQ(zr_load_material(&scene, u"oak", u"stone"), missing);
    EXPECT_EQ(loads, 3) << "a library that failed is not asked again";
    zr::material_library_hook = nullptr;
    EXPECT_EQ(zr_load_material(&scene, u"pine", u"wood")->material, nullptr);

    material* own = new_simple_material();
    material_entry* added = zr_add_material(&scene, u"oak", own);
    EXPECT_NE(added, oak);
    EXPECT_EQ(added->material, own);
    EXPECT_NE(own->surface, nullptr);
    EXPECT_EQ(zr_add_material(&scene, u"oak", new_simple_material()), added);
    EXPECT_EQ(zr_add_material(&scene, u"oak", own), added) << "the entry's own material is not freed";
    EXPECT_EQ(added->material, own);
    EXPECT_EQ(zr_add_material(&scene, nullptr, own), nullptr);
    zr_free_material_list(&scene);
    EXPECT_EQ(scene.materials, nullptr);
}
