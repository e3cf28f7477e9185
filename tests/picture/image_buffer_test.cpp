#include <gtest/gtest.h>

#include <cmath>

#include "zirconlite/frame/document.h"
#include "zirconlite/frame/error.h"
#include "zirconlite/picture/gamma_tables.hpp"
#include "zirconlite/picture/image_buffer.h"

namespace
{

struct owned_buffer
{
    explicit owned_buffer(image_buffer* b) : buffer(b) {}
    ~owned_buffer() { zr_destroy_image_buffer(buffer); }
    image_buffer* operator->() const { return buffer; }
    operator image_buffer*() const { return buffer; }
    image_buffer* buffer;
};

pixel_components surface(float r, float g, float b)
{
    pixel_components c = {};
    c.surface[0] = r, c.surface[1] = g, c.surface[2] = b;
    return c;
}

} // namespace

TEST(ImageBuffer, PacksRadianceWithASharedExponent)
{
    const owned_buffer buffer(zr_new_image_buffer(4, 4, PIXEL_RADIANCE));
    const float infinity = INFINITY;
    struct
    {
        const char* what;
        float rgb[3];
        uint8_t bytes[4];
    } const cases[] = {
        { "the unit", { 1.0f, 0.5f, 0.25f }, { 65, 128, 64, 32 } },
        { "just below a power", { 0.99999994f, 0.0f, 0.0f }, { 64, 255, 0, 0 } },
        { "below the lowest", { 0.99e-7f, 0.0f, 0.0f }, { 0, 0, 0, 0 } },
        { "the lowest", { 1e-7f, 0.0f, 0.0f }, { 41, 214, 0, 0 } },
        { "the highest", { 9.2e18f, 0.0f, 0.0f }, { 127, 255, 0, 0 } },
        { "beyond the highest", { 9.3e18f, 0.0f, 0.0f }, { 127, 255, 0, 0 } },
        { "infinity", { infinity, 1.0f, infinity }, { 127, 255, 0, 255 } },
        { "a channel that is no number", { NAN, 1.0f, 0.5f }, { 65, 0, 128, 64 } },
        { "no numbers", { NAN, NAN, NAN }, { 0, 0, 0, 0 } },
        { "a negative channel", { -1.0f, 1.0f, -infinity }, { 65, 0, 128, 0 } },
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        uint8_t pixel[5] = { 9, 9, 9, 9, 9 };
        const pixel_components components = surface(c.rgb[0], c.rgb[1], c.rgb[2]);
        pack_pixel(buffer, &components, pixel);
        for (int i = 0; i < 4; ++i) { EXPECT_EQ(pixel[i], c.bytes[i]) << i; }
        EXPECT_EQ(pixel[4], 9) << "a ratio of 0 leaves the byte";
    }

    const uint8_t unit[5] = { 65, 128, 64, 32, 0 };
    pixel_components back;
    EXPECT_EQ(zr_unpack_internal_pixel(buffer, unit, &back, 0), uint32_t(PIXEL_HAS_SURFACE));
    EXPECT_EQ(back.surface[0], 1.00390625f);
    EXPECT_EQ(back.surface[1], 0.50390625f);
    EXPECT_EQ(back.surface[2], 0.25390625f);
}

TEST(ImageBuffer, SeparatesBackgroundFromSurfaces)
{
    const owned_buffer buffer(zr_new_image_buffer(4, 4, PIXEL_RADIANCE));
    struct
    {
        const char* what;
        float surface, background;
        uint32_t written, read;
    } const cases[] = {
        { "nothing", 0.0f, 0.0f, 0, 0 },
        { "surface", 2.0f, 0.0f, PIXEL_HAS_SURFACE, PIXEL_HAS_SURFACE },
        { "background", 0.0f, 2.0f, PIXEL_HAS_BACKGROUND, PIXEL_HAS_BACKGROUND },
        { "both keep their sum as surface", 1.0f, 1.0f, PIXEL_HAS_SURFACE | PIXEL_HAS_BACKGROUND,
            PIXEL_HAS_SURFACE },
        { "background too dark to keep", 0.0f, 1e-9f, PIXEL_HAS_BACKGROUND, 0 },
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        pixel_components components = surface(c.surface, 0.0f, 0.0f);
        components.background[0] = c.background;
        components.source_ratio = 0.5f;
        uint8_t pixel[5] = {};
        EXPECT_EQ(pack_pixel(buffer, &components, pixel), c.written);
        pixel_components back;
        const bool has_ratio = c.read != PIXEL_HAS_BACKGROUND;
        EXPECT_EQ(zr_unpack_internal_pixel(buffer, pixel, &back, 0),
            c.read | (has_ratio ? uint32_t(PIXEL_HAS_SOURCE_RATIO) : 0u));
        EXPECT_NEAR(back.source_ratio, has_ratio ? 0.5f : 0.0f, 1.0f / 255.0f);
        if (c.read == PIXEL_HAS_SURFACE) { EXPECT_NEAR(back.surface[0], 2.0f, 0.02f); }
        EXPECT_EQ(back.background[0] > 0.0f, c.read == PIXEL_HAS_BACKGROUND);
    }
}

TEST(ImageBuffer, KeepsTheWeakChannelsOfABackground)
{
    const owned_buffer buffer(zr_new_image_buffer(4, 4, PIXEL_RADIANCE));
    uint8_t pixel[5] = {};
    for (const float weak : { 0.0f, 1e-5f, 1e-4f, 0.001f, 0.003f, 0.0077f, 0.02f, 0.3f, 0.99f, 1.0f })
    {
        for (int strongest = 0; strongest < 3; ++strongest)
        {
            SCOPED_TRACE(testing::Message() << weak << " beside channel " << strongest);
            pixel_components c = {};
            c.background[strongest] = 1.02f;
            c.background[(strongest + 1) % 3] = weak * 1.02f;
            pack_pixel(buffer, &c, pixel);
            pixel_components back;
            EXPECT_EQ(zr_unpack_internal_pixel(buffer, pixel, &back, 0), uint32_t(PIXEL_HAS_BACKGROUND));
            for (int i = 0; i < 3; ++i)
            {
                const double wanted = std::pow(c.background[i], 1 / 2.2);
                EXPECT_NEAR(std::pow(back.background[i], 1 / 2.2), wanted, 1.5 / 255.0) << i;
            }
        }
    }
    const pixel_components over = surface(1.0f, 1.0f, 1.0f);
    pack_pixel(buffer, &over, pixel);
    EXPECT_EQ(pixel[4], 0) << "the fractions are no ratio";
    // Without fractions a background unpacks as any other pixel.
    const uint8_t bare[5] = { 65 | 0x80, 128, 64, 0, 0 };
    pixel_components back;
    zr_unpack_internal_pixel(buffer, bare, &back, 0);
    EXPECT_EQ(back.background[1], 0.50390625f);
    EXPECT_EQ(back.background[2], 0.00390625f);
}

TEST(ImageBuffer, HasThePlanesThatTheDocumentAsksFor)
{
    document scene = {};
    scene.environment_flags = ENVIRONMENT_ALPHA;
    scene.render_flags = RENDER_DEPTH_PLANE | RENDER_OBJECT_IDS;
    scene.quality = 3;
    const owned_buffer buffer(new_image_buffer(&scene, 5, 3));
    ASSERT_NE(buffer.buffer, nullptr);
    EXPECT_EQ(buffer->planes, uint32_t(PLANE_ALPHA | PLANE_DEPTH | PLANE_OBJECT_ID));
    pixel_pointers at;
    image_buffer_pixel_pointers(buffer, 4, 2, &at);
    EXPECT_EQ(at.alpha, buffer->alpha + 2 * 9 + 4);
    EXPECT_EQ(at.object_id, buffer->object_ids + 2 * 9 + 4);
    EXPECT_EQ(at.depth, buffer->depth + 2 * 9 + 4);
    const pixel_pointers before = at;
    image_buffer_advance(buffer, &at, -3);
    EXPECT_EQ(at.pixel, before.pixel - 3 * buffer->pixel_size);
    EXPECT_EQ(at.alpha, before.alpha - 3);
    EXPECT_EQ(at.object_id, before.object_id - 3);
    EXPECT_EQ(at.depth, before.depth - 3);
    *before.depth = 1.0f; // the last entry lies inside its block, which the address checks watch
    scene.quality = 2;
    const owned_buffer coarse(new_image_buffer(&scene, 5, 3));
    EXPECT_EQ(coarse->planes, uint32_t(PLANE_ALPHA));
}

TEST(ImageBuffer, SimplePixelsGoThroughTheSimpleGammaAndBack)
{
    zr::fill_gamma_tables();
    const owned_buffer buffer(zr_new_image_buffer(2, 2, PIXEL_SIMPLE));
    EXPECT_EQ(buffer->pixel_size, 4);
    pixel_components c = {};
    c.simple[0] = 0.5f, c.simple[1] = 7.0f, c.simple[2] = NAN;
    uint8_t pixel[4] = {};
    EXPECT_EQ(pack_pixel(buffer, &c, pixel), uint32_t(PIXEL_HAS_SIMPLE));
    EXPECT_EQ(pixel[0], 186); // 0.5 ^ (1 / 2.2) x 255
    EXPECT_EQ(pixel[1], 255);
    EXPECT_EQ(pixel[2], 0);
    pixel_components back;
    EXPECT_EQ(zr_unpack_internal_pixel(buffer, pixel, &back, 0), uint32_t(PIXEL_HAS_SIMPLE));
    EXPECT_NEAR(back.simple[0], 0.5f, 0.005f);
    zr_unpack_internal_pixel(buffer, pixel, &back, 1);
    EXPECT_NEAR(back.simple[0], 186.0f / 255.0f, 1e-5f);
}
