#include <string.h>

#include "tests/support/decoded_picture.hpp"
#include "tests/support/temporary_folder.hpp"

namespace
{

enum : uint16_t
{
    WIDTH = 256,
    HEIGHT = 257,
    BITS = 258,
    COMPRESSION = 259,
    MODEL = 262,
    STRIPS = 273,
    SAMPLES = 277,
    STRIP_ROWS = 278,
    PLANES = 284,
    PALETTE = 320,
    EXTRA = 338,
    FORMAT = 339
};

/// Values of an entry; longer lists follow the directory.
struct entry
{
    uint16_t tag, type; ///< 3 of 16 bits, 4 of 32
    std::vector<uint32_t> values;
};

/// A picture of 2 x 2 grey pixels in one strip, changed by `changes`; an entry without values is left out.
/// Strip values count from the start of `pixels`.
bytes tiff(const std::vector<entry>& changes, const bytes& pixels, bool is_big_endian = false)
{
    std::vector<entry> entries = { { WIDTH, 3, { 2 } }, { HEIGHT, 3, { 2 } }, { BITS, 3, { 8 } },
        { MODEL, 3, { 1 } }, { STRIPS, 4, { 0 } } };
    for (const entry& change : changes)
    {
        std::erase_if(entries, [&](const entry& e) { return e.tag == change.tag; });
        if (!change.values.empty()) { entries.push_back(change); }
    }
    const auto put = [&](bytes& out, uint32_t value, int size)
    {
        for (int i = 0; i < size; ++i)
        {
            out.push_back(uint8_t(value >> 8 * (is_big_endian ? size - 1 - i : i)));
        }
    };
    uint32_t pixels_at = uint32_t(8 + 2 + 12 * entries.size() + 4), lists_at = pixels_at;
    for (const entry& e : entries)
    {
        const size_t size = e.values.size() * (e.type == 3 ? 2 : 4);
        if (size > 4) { pixels_at += uint32_t(size); }
    }
    bytes out = is_big_endian ? bytes{ 'M', 'M' } : bytes{ 'I', 'I' }, lists;
    put(out, 42, 2);
    put(out, 8, 4);
    put(out, uint32_t(entries.size()), 2);
    for (const entry& e : entries)
    {
        bytes values;
        for (const uint32_t v : e.values)
        {
            put(values, e.tag == STRIPS ? v + pixels_at : v, e.type == 3 ? 2 : 4);
        }
        put(out, e.tag, 2);
        put(out, e.type, 2);
        put(out, uint32_t(e.values.size()), 4);
        if (values.size() > 4)
        {
            put(out, lists_at + uint32_t(lists.size()), 4);
            lists = joined(lists, values);
            continue;
        }
        values.resize(4);
        out = joined(out, values);
    }
    put(out, 0, 4);
    return joined(joined(out, lists), pixels);
}

/// 256 entries a channel; entry 1 is `one`, entry 2 is `two`.
std::vector<uint32_t> palette(uint32_t one, uint32_t two)
{
    std::vector<uint32_t> values(768);
    for (size_t channel = 0; channel < 3; ++channel)
    {
        values[256 * channel + 1] = one;
        values[256 * channel + 2] = two;
    }
    return values;
}

bytes grey(const bytes& values)
{
    bytes out;
    for (const uint8_t v : values) { out.insert(out.end(), 3, v); }
    return out;
}

const entry packed = { COMPRESSION, 3, { 32773 } };

} // namespace

TEST(Tiff, ReadsEveryForm)
{
    const bytes four = { 1, 2, 3, 4 }, flipped = grey({ 3, 4, 1, 2 });
    struct
    {
        const char* what;
        bytes file, pixels;
    } const cases[] = {
        { "grey", tiff({}, four), flipped },
        { "big-endian", tiff({}, four, true), flipped },
        { "white is zero", tiff({ { MODEL, 3, { 0 } } }, four), grey({ 252, 251, 254, 253 }) },
        { "three samples",
            tiff({ { HEIGHT, 4, { 1 } }, { SAMPLES, 3, { 3 } }, { BITS, 3, { 8, 8, 8 } } },
                { 1, 2, 3, 4, 5, 6 }),
            { 1, 2, 3, 4, 5, 6 } },
        { "four samples, big-endian",
            tiff({ { HEIGHT, 3, { 1 } }, { SAMPLES, 3, { 4 } }, { BITS, 3, { 8, 8, 8, 8 } } },
                { 1, 2, 3, 4, 5, 6, 7, 8 }, true),
            { 1, 2, 3, 4, 5, 6, 7, 8 } },
        { "a fourth sample that is no alpha",
            tiff({ { WIDTH, 3, { 1 } }, { HEIGHT, 3, { 1 } }, { SAMPLES, 3, { 4 } },
                     { BITS, 3, { 8, 8, 8, 8 } }, { EXTRA, 3, { 0 } } },
                { 1, 2, 3, 0 }),
            { 1, 2, 3, 255 } },
        { "alpha that the colours were multiplied with",
            tiff({ { WIDTH, 3, { 1 } }, { HEIGHT, 3, { 1 } }, { SAMPLES, 3, { 4 } },
                     { BITS, 3, { 8, 8, 8, 8 } }, { EXTRA, 3, { 1 } } },
                { 64, 128, 0, 128 }),
            { 128, 255, 0, 128 } },
        { "palette by its high byte",
            tiff({ { MODEL, 3, { 3 } }, { PALETTE, 3, palette(0xFF00, 0x1234) } }, { 1, 2, 1, 0 }),
            grey({ 255, 0, 255, 18 }) },
        { "palette of 8 bits", tiff({ { PALETTE, 3, palette(0x00FF, 0x0012) } }, { 1, 2, 1, 0 }),
            grey({ 255, 0, 255, 18 }) },
        { "strips", tiff({ { STRIP_ROWS, 3, { 1 } }, { STRIPS, 4, { 2, 0 } } }, { 3, 4, 1, 2 }), flipped },
        { "a strip table of 16 bits",
            tiff({ { STRIP_ROWS, 3, { 1 } }, { STRIPS, 3, { 2, 0 } } }, { 3, 4, 1, 2 }), flipped },
        { "the last strip is short",
            tiff({ { HEIGHT, 3, { 3 } }, { STRIP_ROWS, 3, { 2 } }, { STRIPS, 3, { 2, 0 } } },
                { 5, 6, 1, 2, 3, 4 }),
            grey({ 5, 6, 3, 4, 1, 2 }) },
        { "PackBits: literals, nothing, a run", tiff({ packed }, { 1, 1, 2, 128, 255, 3 }),
            grey({ 3, 3, 1, 2 }) },
        { "PackBits: 129 is 128 times",
            tiff({ packed, { WIDTH, 3, { 128 } }, { HEIGHT, 3, { 1 } } }, { 129, 9 }), grey(bytes(128, 9)) },
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        zr_status why;
        const owned_bitmap b = decode_file(zr::decode_tiff, c.file, &why);
        ASSERT_NE(b, nullptr) << why.text;
        EXPECT_EQ(why.code, ZR_ERROR_NONE) << why.text;
        EXPECT_EQ(b->pixel_format, b->bits_per_pixel == 32 ? 2 : 1);
        EXPECT_EQ(pixels_of(*b), c.pixels);
    }
}

TEST(Tiff, RefusesOtherForms)
{
    const entry changes[] = { { BITS, 3, { 16 } }, { BITS, 3, {} }, { SAMPLES, 3, { 2 } },
        { SAMPLES, 3, { 5 } }, { COMPRESSION, 3, { 5 } }, { WIDTH, 3, {} }, { HEIGHT, 3, { 0 } },
        { STRIPS, 4, {} }, { MODEL, 3, { 5 } }, { STRIP_ROWS, 3, { 0 } }, { WIDTH, 4, { 0x7FFFFFFF } },
        { HEIGHT, 4, { 0xFFFFFFFF } } };
    for (const entry& change : changes)
    {
        SCOPED_TRACE(change.tag);
        EXPECT_EQ(decode_file(zr::decode_tiff, tiff({ change }, bytes(64))), nullptr);
    }
    EXPECT_EQ(decode_file(zr::decode_tiff, tiff({ { SAMPLES, 3, { 3 } }, { PLANES, 3, { 2 } } }, bytes(64))),
        nullptr);
    bytes big = tiff({}, bytes(64));
    big[2] = 43;
    const uint32_t to_start = uint32_t(0) - (8 + 2 + 12 * 5 + 4); // strips count from the pixels
    struct
    {
        bytes file;
        const char* says;
    } const named[] = {
        { big, "BigTIFF" },
        { tiff({ { SAMPLES, 3, { 3 } }, { BITS, 3, { 8, 5, 8 } } }, bytes(64)), "different depths" },
        { tiff({ { FORMAT, 3, { 2 } } }, bytes(64)), "signed" },
        { tiff({ { STRIPS, 4, { to_start } } }, bytes(64)), "byte 0" },
    };
    for (const auto& n : named)
    {
        zr_status why;
        EXPECT_EQ(decode_file(zr::decode_tiff, n.file, &why), nullptr);
        EXPECT_NE(strstr(why.text, n.says), nullptr) << why.text;
    }
    for (const char* text :
        { "GIF89a, or so it says at its beginning", "short", "\x89PNG\r\n\x1A\n and more of it" })
    {
        zr_status why = {};
        EXPECT_EQ(zr_decode_picture(reinterpret_cast<const uint8_t*>(text), strlen(text), &why), nullptr);
        EXPECT_NE(strstr(why.text, "not a picture"), nullptr) << why.text;
    }
}

TEST(Tiff, WhatIsDamagedInItsPixelsKeepsTheRowsBefore)
{
    struct
    {
        const char* what;
        bytes file;
    } const cases[] = {
        { "the second row is cut", tiff({}, { 1, 2, 3 }) },
        { "a strip outside of the file",
            tiff({ { STRIP_ROWS, 3, { 1 } }, { STRIPS, 4, { 0, 900 } } }, { 1, 2 }) },
        { "a strip table that is too short",
            tiff({ { STRIP_ROWS, 3, { 1 } }, { HEIGHT, 3, { 3 } }, { STRIPS, 3, { 0, 900 } } }, { 1, 2 }) },
        { "a run beyond the row", tiff({ packed }, { 1, 1, 2, 254, 3, 1, 1, 1 }) },
        { "literals beyond the file", tiff({ packed }, { 1, 1, 2, 1, 3 }) },
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        zr_status why;
        const owned_bitmap b = decode_file(zr::decode_tiff, c.file, &why);
        ASSERT_NE(b, nullptr) << why.text;
        EXPECT_EQ(why.code, ZR_ERROR_READ);
        const bytes pixels = pixels_of(*b), top(pixels.end() - 6, pixels.end());
        EXPECT_EQ(top, grey({ 1, 2 }));
        EXPECT_EQ(bytes(pixels.begin(), pixels.end() - 6), bytes(pixels.size() - 6));
    }
}

TEST(Tiff, WritesItsBytesExactlyAndReadsThemBack)
{
    const temporary_folder folder;
    bitmap_format record = picture_at(folder.wide("p.tif"), BITMAP_TIF, 1, 2, LINE_RGBA);
    ASSERT_EQ(record.write_image(&record), 1);
    const bytes expected = { 'I', 'I', 42, 0, 8, 0, 0, 0, 7, 0, //
        0x15, 1, 3, 0, 1, 0, 0, 0, 4, 0, 0, 0,                  // samples
        0x02, 1, 3, 0, 4, 0, 0, 0, 98, 0, 0, 0,                 // bits
        0x00, 1, 4, 0, 1, 0, 0, 0, 1, 0, 0, 0,                  // width
        0x01, 1, 4, 0, 1, 0, 0, 0, 2, 0, 0, 0,                  // height
        0x16, 1, 4, 0, 1, 0, 0, 0, 2, 0, 0, 0,                  // rows of a strip
        0x06, 1, 3, 0, 1, 0, 0, 0, 2, 0, 0, 0,                  // colour model
        0x11, 1, 4, 0, 1, 0, 0, 0, 106, 0, 0, 0,                // strip
        0, 0, 0, 0, 8, 0, 8, 0, 8, 0, 8, 0,                     //
        0, 1, 200, 100, 0, 0, 200, 100 };
    const std::string file = folder.read("p.tif");
    EXPECT_EQ(bytes(file.begin(), file.end()), expected);
    const owned_bitmap back(record.read_image(&record));
    ASSERT_NE(back, nullptr);
    EXPECT_EQ(pixels_of(*back), (bytes{ 0, 0, 200, 100, 0, 1, 200, 100 }));
}
