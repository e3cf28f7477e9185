#include <gtest/gtest.h>

#include <cmath>

#include "tests/support/materials.hpp"
#include "tests/support/scene.hpp"
#include "zirconlite/imagefiles/bitmap_store.h"
#include "zirconlite/materials/image_sampling.hpp"
#include "zirconlite/materials/mat_image.h"
#include "zirconlite/materials/opacity.hpp"
#include "zirconlite/materials/surface_evaluation.hpp"
#include "zirconlite/platform/heap.hpp"

namespace
{

using namespace zr;
using namespace test;

/// A simple material under test with pictures of one colour each.
struct painted
{
    painted() : whole(new_simple_material()) {}
    ~painted()
    {
        free_material(whole);
        zr_free_all_bitmaps();
    }
    painted(const painted&) = delete;
    painted& operator=(const painted&) = delete;

    /// One more picture of 1 by 1 texel, at the end of the list.
    mat_image& add(uint32_t flags, float strength, const std::vector<uint8_t>& texel)
    {
        mat_image** link = &simple(whole).images;
        while (*link) { link = &(*link)->next; }
        *link = zr_new_mat_image();
        (*link)->flags = flags;
        (*link)->strength = strength;
        const std::u16string name(1, char16_t(u'a' + count++)); // one key for each picture
        (*link)->bitmap = zr_add_bitmap(name.c_str(), 1, 1, uint32_t(texel.size()), texel.data());
        return **link;
    }
    surface at(const vector3& p, ray r = hit_from_above())
    {
        r.map_point = p;
        surface s;
        zr_resolve_surface(whole, &r, &s);
        normal = r.shading_normal;
        return s;
    }

    material* whole;
    vector3 normal;
    int count = 0;
    const physical_colors physical;
};

double linear(double byte) { return std::pow(byte / 255.0, 2.2); }

} // namespace

TEST(Images, TakeTheirShareOfEachChannel)
{
    const std::vector<uint8_t> white = { 255, 255, 255 }, grey = { 100 };
    {
        painted m;
        m.add(IMAGE_ON_COLOR, 1.0f, white);
        EXPECT_FLOAT_EQ(m.at({}).color[0], 1.0f);
        m.add(IMAGE_ON_COLOR, 1.0f, grey);
        EXPECT_NEAR(m.at({}).color[2], 0.5 * 0.5 + 0.5 * linear(100), 1e-6);
        EXPECT_NEAR(m.at({}).translucent_color[2], 0.5 * 0.5 + 0.5 * linear(100), 1e-6);
        EXPECT_EQ(m.at({}).reflect_color[0], 1.0f);
        surface neutral;
        zr_resolve_surface(m.whole, nullptr, &neutral);
        EXPECT_NEAR(neutral.color[1], 0.5 * 0.5 + 0.5 * linear(100), 1e-6);
        m.add(IMAGE_ON_COLOR, 1.0f, white).bitmap = nullptr;
        EXPECT_NEAR(m.at({}).color[1], 2 / 9.0 + linear(100) / 3, 1e-6)
            << "a missing picture leaves its share";
    }
    {
        painted m;
        for (int i = 0; i < 3; ++i) { m.add(IMAGE_ON_COLOR, 0.5f, white); }
        EXPECT_NEAR(m.at({}).color[0], 1 - std::pow(1 - 0.5 / 1.5 * 0.5, 3), 1e-6);
        m.whole->flags |= MATERIAL_REFLECT_FOLLOWS_COLOR;
        EXPECT_EQ(m.at({}).reflect_color[0], m.at({}).color[0]);
        m.add(IMAGE_ON_TRANSPARENT, 0.5f, grey);
        EXPECT_NEAR(m.at({}).transparent_color[0], 0.5 * linear(100), 1e-6);
    }
    painted m;
    simple(m.whole).diffuse_share = 0.75f;
    zr_update_material_weights(m.whole);
    m.add(IMAGE_ON_SHININESS, 1.0f, { 0, 100, 0 });
    surface s = m.at({});
    EXPECT_NEAR(s.reflect, 0.25 + 0.75 * linear(100), 1e-6);
    EXPECT_NEAR(s.highlight, s.reflect * 300 + 1, 1e-4);
    EXPECT_NEAR(s.diffuse, 0.75 - 0.75 * linear(100), 1e-6);
    EXPECT_TRUE(is_always_opaque(m.whole));
    m.add(IMAGE_ON_CLEARNESS, 1.0f, white);
    s = m.at({});
    EXPECT_FLOAT_EQ(s.transparent, 1.0f);
    EXPECT_EQ(s.diffuse + s.reflect + s.translucent, 0.0f);
    EXPECT_FALSE(is_always_opaque(m.whole));
}

TEST(Images, ShareAChannelByTheirStrengths)
{
    // Of two in one channel each takes its strength, and its part in the sum of both, of what was there at
    // first.
    const struct
    {
        uint32_t flag;
        float surface::*part;
    } channels[] = { { IMAGE_ON_CLEARNESS, &surface::transparent },
        { IMAGE_ON_SHININESS, &surface::reflect } };
    for (const auto& c : channels)
    {
        painted two;
        two.add(c.flag, 1.0f, { 255, 255, 255 });
        two.add(c.flag, 0.5f, { 255, 255, 255 });
        const surface s = two.at({});
        EXPECT_NEAR(s.*c.part, 1 / 1.5 + 0.5 * 0.5 / 1.5, 1e-6);
        EXPECT_NEAR(s.diffuse, 1 - s.*c.part, 1e-6);
    }
}

TEST(Images, KeysSelectWhatIsSeeThrough)
{
    bitmap rgba = {}, rgb = {};
    rgba.bytes_per_pixel = 4;
    rgb.bytes_per_pixel = 3;
    struct
    {
        const char* what;
        const bitmap& b;
        mat_key key;
        double sample[4], value;
    } const cases[] = {
        { "none", rgba, { 0, 1, {}, 0, 0, {}, 0 }, { 0, 0, 0, 0.25 }, 0 },
        { "alpha", rgba, { 3, 0, {}, 0, 0, {}, 0 }, { 0, 0, 0, 0.25 }, 0.75 },
        { "alpha inverted", rgba, { 3, 1, {}, 0, 0, {}, 0 }, { 0, 0, 0, 0.25 }, 0.25 },
        { "alpha of a picture without", rgb, { 3, 1, {}, 0, 0, {}, 0 }, { 0, 0, 0, 0 }, 0 },
        { "inside a hard edge", rgb, { 1, 0, { 0, 1, 0 }, 0.1f, 0, {}, 0 }, { 0.09, 0.95, 0 }, 1 },
        { "outside", rgb, { 1, 0, { 0, 1, 0 }, 0.1f, 0, {}, 0 }, { 0.2, 1, 0 }, 0 },
        { "outside, inverted", rgb, { 1, 1, { 0, 1, 0 }, 0.1f, 0, {}, 0 }, { 0.2, 1, 0 }, 1 },
        { "feathered", rgb, { 1, 0, { 0, 1, 0 }, 0.2f, 1, {}, 0 }, { 30 / 255.0, 240 / 255.0, 0 },
            1 - 45 / 153.0 },
        { "no tolerance", rgb, { 1, 0, { 0, 1, 0 }, 0, 0, {}, 0 }, { 0, 1, 0 }, 0 },
        { "no tolerance, inverted", rgb, { 1, 1, { 0, 1, 0 }, 0, 0, {}, 0 }, { 0, 1, 0 }, 1 },
    };
    for (const auto& c : cases)
    {
        mat_key key = c.key;
        zr_update_mat_key(&key);
        EXPECT_NEAR(key_value(c.b, key, c.sample), c.value, 1e-6) << c.what;
    }

    painted m;
    simple(m.whole).ior = 1.5f;
    mat_image& leaf = m.add(IMAGE_ON_COLOR, 1.0f, { 255, 255, 255, 100 });
    leaf.key->kind = KEY_ALPHA;
    EXPECT_NEAR(m.at({}).color[0], 0.4, 1e-6) << "covered, not cut";
    leaf.key->flags = KEY_CUTS_OUT;
    const surface s = m.at({});
    EXPECT_NEAR(s.transparent, 0.6, 1e-6);
    EXPECT_NEAR(s.diffuse, 0.4, 1e-6);
    EXPECT_EQ(s.ior, 1.0f);
    EXPECT_EQ(s.transparent_color[1], 1.0f);
    EXPECT_FALSE(is_always_opaque(m.whole));
    surface neutral;
    zr_resolve_surface(m.whole, nullptr, &neutral);
    EXPECT_EQ(neutral.transparent, 0.0f);
}

TEST(Images, TilesRepeatOrMirrorAndBumpsFollowTheBrightness)
{
    painted m;
    mat_image& image = m.add(IMAGE_ON_COLOR, 1.0f, { 0 });
    const uint8_t ramp[] = { 0, 60, 120, 180, 0, 60, 120, 180 };
    image.bitmap = zr_add_bitmap(u"ramp", 4, 2, 1, ramp);
    image.size[0] = image.size[1] = 4.0;
    struct
    {
        double x;
        uint32_t mirror;
        int byte;
        double tilt;
    } const cases[] = { { 1.5, 0, 60, 1 }, { 5.5, 0, 60, 1 }, { -2.5, 0, 60, 1 }, { 3.9, 0, 180, 1 },
        { 0.1, 0, 0, -1 }, { 0.1, 1, 0, 1 }, { 5.5, 1, 120, -1 }, { -1.5, 1, 60, -1 }, { 9.5, 1, 60, 1 },
        { 3.99, 1, 180, 1 }, { 1e300, 1, 0, 1 }, { NAN, 0, 0, -1 } };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(testing::Message() << c.x << (c.mirror ? " mirrored" : ""));
        image.flags = IMAGE_ON_COLOR | c.mirror;
        image.bump_strength = 0.0f;
        zr_update_mat_image(&image);
        EXPECT_NEAR(m.at({ c.x, 1.0, 0 }).color[0], linear(c.byte), 1e-6);
        EXPECT_EQ(m.normal.x, 0.0);
        image.bump_strength = 1.0f;
        m.at({ c.x, 3.0, 0 });
        EXPECT_GE(m.normal.x * c.tilt, 0.0);
        EXPECT_NEAR(length(m.normal), 1.0, 1e-9);
    }
    // Columns 120 apart: a slope of 3 x 120 / 255 / 6, deepened eight times.
    image.flags = IMAGE_ON_COLOR;
    m.at({ 1.9, 1.0, 0 });
    EXPECT_NEAR(m.normal.x / m.normal.z, 8.0 * 3 * 120 / 255 / 6, 1e-6);

    // Blurring moves the look within the picture, equally in every render.
    fill_random_tables();
    for (double& a : job.bitmap_jitter_amplitude) { a = 0.1; }
    image.flags = IMAGE_ON_COLOR | IMAGE_BLUR_LITTLE | IMAGE_BLUR_MOST;
    int moved = 0;
    for (int i = 0; i < 100; ++i)
    {
        ray r = hit_from_above();
        r.pixel[0] = i;
        const float color = m.at({ 1.99, 1.0, 0 }, r).color[0];
        EXPECT_EQ(m.at({ 1.99, 1.0, 0 }, r).color[0], color);
        moved += color != float(linear(60));
    }
    EXPECT_GT(moved, 30);
    EXPECT_LT(moved, 70);
}

TEST(Images, CopiesOwnTheirKeyAndOnlyOwnPixelsThatWereAskedFor)
{
    const uint8_t texel[] = { 7, 8, 9 };
    for (const bool of_user : { false, true })
    {
        for (const int32_t wanted : { 0, 1 })
        {
            mat_image* image = zr_new_mat_image();
            image->bitmap = zr_add_bitmap(u"a", 1, 1, 3, texel);
            if (of_user)
            {
                image->bitmap = zr_dupe_bitmap(image->bitmap);
                image->bitmap->flags |= BITMAP_OF_USER;
            }
            image->key->kind = KEY_ALPHA;
            image->dupe_user = [](mat_image* copy) { ++copy->user_data; };
            image->user_data = 41;
            image->next = image;
            mat_image* copy = zr_dupe_mat_image_ex(image, wanted);
            ASSERT_NE(copy, nullptr);
            EXPECT_EQ(copy->bitmap != image->bitmap, of_user || wanted) << of_user << wanted;
            EXPECT_EQ(copy->bitmap->pixels[1], 8);
            EXPECT_NE(copy->key, image->key);
            EXPECT_EQ(copy->key->kind, KEY_ALPHA);
            EXPECT_EQ(copy->user_data, 42u);
            EXPECT_EQ(copy->next, nullptr);
            image->bitmap = of_user ? image->bitmap : nullptr;
            EXPECT_EQ(zr_free_mat_image(image, 0) & zr_free_mat_image(copy, 0), 1);
        }
    }
    mat_image* bare = zr_new_mat_image();
    mat_image* copy = zr_dupe_mat_image_ex(bare, 1);
    ASSERT_NE(copy, nullptr) << "a picture that was not found";
    EXPECT_EQ(copy->bitmap, nullptr);
    zr_free_mat_image(copy, 0);
    zr::platform::set_heap_gate([](size_t bytes) { return bytes != sizeof(mat_key); });
    EXPECT_EQ(zr_dupe_mat_image_ex(bare, 1), nullptr);
    zr::platform::set_heap_gate(nullptr);
    zr_free_mat_image(bare, 0);
    zr_free_all_bitmaps();
}
