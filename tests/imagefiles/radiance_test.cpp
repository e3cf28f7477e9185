#include "tests/support/temporary_folder.hpp"
#include "zirconlite/frame/error.h"
#include "zirconlite/frame/memory.h"
#include "zirconlite/imagefiles/radiance.hpp"
#include "zirconlite/picture/image_buffer.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace
{

struct buffer_free
{
    void operator()(image_buffer* b) const { zr_destroy_image_buffer(b); }
};
using owned_buffer = std::unique_ptr<image_buffer, buffer_free>;

owned_buffer new_picture(int32_t width, int32_t height)
{
    owned_buffer b(zr_new_image_buffer(width, height, PIXEL_RADIANCE));
    for (int32_t y = 0; y < height; ++y) { *zr_image_buffer_signature(b.get(), y) = ROW_COMPLETE; }
    return b;
}

void put(image_buffer& b, int32_t x, int32_t y, float r, float g, float blue, bool is_background = false)
{
    pixel_components c = {};
    float* rgb = is_background ? c.background : c.surface;
    rgb[0] = r, rgb[1] = g, rgb[2] = blue;
    pack_pixel(&b, &c, zr_image_buffer_pixel(&b, x, y));
}

/// The red mantissa of a pixel with the exponent 136, that is its red less the half; -1 for black.
int red(const image_buffer& b, int32_t x, int32_t y)
{
    pixel_components c;
    const uint8_t* pixel = zr_image_buffer_pixel_ex(&b, x, y, nullptr);
    return zr_unpack_internal_pixel(&b, pixel, &c, 1) & PIXEL_HAS_SURFACE ? int(c.surface[0]) : -1;
}

std::string pixel(int red) { return { char(red), 0, 0, char(136) }; }

/// Reads `pixels` behind a head with the resolution line; the picture is 3 x 2 of black before.
struct reading
{
    owned_buffer buffer = new_picture(3, 2);
    zr_status why = {};
    bool done;
    reading(const std::string& resolution, const std::string& pixels,
        const std::string& text = "#?RADIANCE\nEXPOSURE=8\nFORMAT=32-bit_rle_rgbe\n")
    {
        const std::string file = text + "\n" + resolution + "\n" + pixels;
        uint64_t where = 0;
        const std::vector<uint8_t> exact(file.begin(), file.end());
        done = zr::decode_radiance(exact.data(), exact.size(), buffer.get(), &why, &where);
    }
};

} // namespace

TEST(Radiance, ReadsAllOrientations)
{
    // The file has 128 to 133; expected is the bottom row, then the top row.
    struct
    {
        const char* resolution;
        std::vector<int> expected;
    } const cases[] = {
        { "-Y 2 +X 3", { 131, 132, 133, 128, 129, 130 } },
        { "+Y 2 +X 3", { 128, 129, 130, 131, 132, 133 } },
        { "-Y 2 -X 3", { 133, 132, 131, 130, 129, 128 } },
        { "+Y 2 -X 3", { 130, 129, 128, 133, 132, 131 } },
        { "+X 3 +Y 2", { 128, 130, 132, 129, 131, 133 } },
        { "+X 3 -Y 2", { 129, 131, 133, 128, 130, 132 } },
        { "-X 3 +Y 2", { 132, 130, 128, 133, 131, 129 } },
        { "-X 3 -Y 2", { 133, 131, 129, 132, 130, 128 } },
    };
    std::string pixels;
    for (int i = 128; i < 134; ++i) { pixels += pixel(i); }
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.resolution);
        const reading r(c.resolution, pixels);
        ASSERT_TRUE(r.done) << r.why.text;
        EXPECT_EQ(r.why.code, ZR_ERROR_NONE) << r.why.text;
        std::vector<int> found;
        for (int i = 0; i < 6; ++i) { found.push_back(red(*r.buffer, i % 3, i / 3)); }
        EXPECT_EQ(found, c.expected);
    }
}

TEST(Radiance, ReadsBothFormsOfRunLengthsAndKeepsWhatADamagedFileHas)
{
    const std::string run_of_8 = { 2, 2, 0, 8, char(136), char(200), 8, 0, 0, 0, 0, 0, 0, 0, 0, char(136), 0,
        char(136), char(136) };
    const std::string repeat_2 = { 1, 1, 1, 2 }, repeat_256 = { 1, 1, 1, 1 };
    const std::string eight_flat = pixel(150) + pixel(151) + std::string{ 1, 1, 1, 6 };
    struct
    {
        const char* what;
        int width;
        std::string pixels;
        int whole; ///< pixels from the left that are not black
        std::vector<int> first;
    } const cases[] = {
        { "planes", 8, run_of_8, 8, { 200 } },
        { "flat though it could be encoded", 8, eight_flat, 8, { 150, 151, 151 } },
        { "repeats count 256 times as much", 259, pixel(150) + repeat_2 + repeat_256, 259, { 150 } },
        { "repeats without an end", 4, pixel(150) + repeat_2 + std::string{ 1, 1, 1, char(255) }, 3,
            { 150 } },
        { "nothing to repeat", 4, repeat_2, 0, {} },
        { "a cut flat row", 4, pixel(150) + "abc", 1, { 150 } },
        { "another length", 9, run_of_8, 0, {} },
        { "a run beyond the plane", 8, std::string{ 2, 2, 0, 8, char(137), 5 }, 0, {} },
        { "literals beyond the plane", 8, std::string{ 2, 2, 0, 8, 9 } + std::string(40, 1), 0, {} },
        { "a cut plane", 8, run_of_8.substr(0, run_of_8.size() - 1), 0, {} },
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        const reading r("-Y 1 +X " + std::to_string(c.width), c.pixels);
        ASSERT_TRUE(r.done);
        EXPECT_EQ(zr::ok(r.why), c.whole == c.width) << r.why.text;
        for (int x = 0; x < c.width; ++x) { EXPECT_EQ(red(*r.buffer, x, 0) >= 0, x < c.whole) << x; }
        for (size_t x = 0; x < c.first.size(); ++x) { EXPECT_EQ(red(*r.buffer, int32_t(x), 0), c.first[x]); }
    }
}

TEST(Radiance, IsKnownByItsMarkOrItsFormat)
{
    struct
    {
        const char* text;
        bool is_read;
    } const cases[] = { { "#?RGBE\n", true }, { "FORMAT=32-bit_rle_rgbe\n", true },
        { "pfilt -1\nFORMAT=32-bit_rle_rgbe\n", true }, { "pfilt -1\n", false }, { "", false },
        { "\nFORMAT=32-bit_rle_rgbe\n", false } };
    for (const auto& c : cases)
    {
        EXPECT_EQ(reading("-Y 1 +X 1", pixel(150), c.text).done, c.is_read) << c.text;
    }
}

TEST(Radiance, WritesItsBytesExactly)
{
    const temporary_folder folder;
    const std::string head = "#?RADIANCE\nFORMAT=32-bit_rle_rgbe\n\n";
    const auto written = [&](const image_buffer& b)
    {
        EXPECT_EQ(zr_write_radiance_file(folder.wide("p.hdr").c_str(), &b), 1);
        return folder.read("p.hdr");
    };
    owned_buffer narrow = new_picture(7, 2);
    put(*narrow, 0, 1, 0.5f, 0.25f, 0); // top left
    std::string flat =
        head + "-Y 2 +X 7\n" + std::string{ char(128), char(64), 0, char(128) } + std::string(13 * 4, 0);
    EXPECT_EQ(written(*narrow), flat) << "7 pixels are flat";
    // The second has sums of two samples, 1 and 0.5 on average; the third is packed as the first.
    narrow->sums = static_cast<pixel_sums*>(zr_calloc(14, sizeof(pixel_sums)));
    narrow->sums[8].radiance[0] = 1.5f;
    narrow->sums[8].background[0] = 0.5f;
    narrow->sums[8].radiance[1] = 1.0f;
    narrow->sums[8].count = 2;
    put(*narrow, 2, 1, 0.5f, 0.25f, 0);
    flat.replace(
        head.size() + 14, 8, std::string{ 127, 63, 0, char(129), char(128), char(64), 0, char(128) });
    EXPECT_EQ(written(*narrow), flat);

    // 3 equal, 2 others, 200 equal, 3 equal: a literal of 5, two runs, a short run at the end.
    owned_buffer wide = new_picture(208, 1);
    for (int x = 0; x < 208; ++x)
    {
        put(*wide, x, 0, x < 3 || x > 204 ? 0.5f : x == 3 ? 0.6f : x == 4 ? 0.7f : 0.8f, 0, 0);
    }
    const std::string planes =
        head + "-Y 1 +X 208\n" +
        std::string{ 2, 2, 0, char(208), 5, char(128), char(128), char(128), char(153), char(179), char(255),
            char(204), char(201), char(204), char(131), char(128) };
    EXPECT_EQ(written(*wide).substr(0, planes.size()), planes);
}

TEST(Radiance, KeepsACommentInItsHead)
{
    const temporary_folder folder;
    const owned_buffer written = new_picture(3, 2), back = new_picture(1, 1);
    put(*written, 1, 1, 200, 100, 50);
    ASSERT_EQ(zr_write_noted_radiance_file(folder.wide("a.hdr").c_str(), written.get(), "one\ntwo"), 1);
    std::ifstream file(folder.path / "a.hdr", std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(file)), {});
    EXPECT_EQ(bytes.find("#?RADIANCE\n# one\n# two\nFORMAT=32-bit_rle_rgbe\n\n-Y 2 +X 3\n"), 0u);
    ASSERT_EQ(zr_read_radiance_file(folder.wide("a.hdr").c_str(), back.get()), 1);
    EXPECT_NEAR(red(*back, 1, 1), 200, 1);
    const std::string endless(401, 'x');
    EXPECT_EQ(zr_write_noted_radiance_file(folder.wide("a.hdr").c_str(), written.get(), endless.c_str()), 0);
    EXPECT_EQ(zr_last_error()->code, ZR_ERROR_LIMIT);
}
