#include <gtest/gtest.h>

#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>

#include "tests/support/decoded_picture.hpp"
#include "tests/support/temporary_folder.hpp"

namespace
{

/// A BMP file: header of a size, then masks or palette as they come, then rows.
struct bmp_file
{
    uint32_t header_size = 40;
    int32_t width = 2, height = 2;
    uint16_t bits = 24;
    uint32_t compression = 0;
    bytes masks_and_palette = {}; ///< behind the first 54 bytes, or 26 of the core form
    bytes rows = {};

    bytes build() const
    {
        const size_t fields = header_size == 12 ? 26 : 54;
        bytes out(std::max(fields + masks_and_palette.size(), size_t(14) + header_size));
        uint8_t* at = zr::put_u16(out.data(), 0x4D42);
        zr::put_u32(at + 8, uint32_t(out.size()));
        zr::put_u32(&out[14], header_size);
        if (header_size == 12)
        {
            zr::put_u16(&out[18], uint16_t(width));
            zr::put_u16(&out[20], uint16_t(height));
            zr::put_u16(&out[24], bits);
        }
        else
        {
            zr::put_u32(&out[18], uint32_t(width));
            zr::put_u32(&out[22], uint32_t(height));
            zr::put_u16(&out[28], bits);
            zr::put_u32(&out[30], compression);
        }
        std::copy(masks_and_palette.begin(), masks_and_palette.end(), out.begin() + ptrdiff_t(fields));
        out.insert(out.end(), rows.begin(), rows.end());
        return out;
    }
};

owned_bitmap decode(const bytes& file, zr_status* why = nullptr)
{
    return decode_file(zr::decode_bmp, file, why);
}

/// `count` masks, little-endian.
bytes words(std::initializer_list<uint32_t> values)
{
    bytes out;
    for (const uint32_t v : values)
    {
        out.resize(out.size() + 4);
        zr::put_u32(&out[out.size() - 4], v);
    }
    return out;
}

} // namespace

TEST(Bmp, ReadsEveryFormOfPixel)
{
    const bytes palette = { 10, 20, 30, 0, 40, 50, 60, 0 },
                greys = { 30, 30, 30, 0, 60, 60, 60, 0 }; // B, G, R, unused
    const bytes core_palette = { 30, 30, 30, 60, 60, 60 };
    const bytes v4_tail(108 - 40), v5_tail(124 - 40);
    struct
    {
        const char* what;
        bmp_file file;
        int32_t format;
        bytes pixels;
    } const cases[] = {
        { "1 bit of greys", { 40, 3, 1, 1, 0, greys, { 0xA0, 0, 0, 0 } }, 3, { 60, 30, 60 } },
        { "1 bit, core header, palette of 3 bytes", { 12, 3, 1, 1, 0, core_palette, { 0x40, 0, 0, 0 } }, 3,
            { 30, 60, 30 } },
        { "4 bits, high nibble first", { 40, 3, 1, 4, 0, palette, { 0x10, 0x10, 0, 0 } }, 1,
            { 60, 50, 40, 30, 20, 10, 60, 50, 40 } },
        { "8 bits behind a header of 108 bytes",
            { 108, 2, 1, 8, 0, joined(v4_tail, palette), { 1, 0, 0, 0 } }, 1, { 60, 50, 40, 30, 20, 10 } },
        { "8 bits behind a header of 124 bytes",
            { 124, 1, 1, 8, 0, joined(v5_tail, palette), { 1, 0, 0, 0 } }, 1, { 60, 50, 40 } },
        { "16 bits are 5-5-5", { 40, 2, 1, 16, 0, {}, { 0x1F, 0x7C, 0x08, 0x02 } }, 1,
            { 255, 0, 255, 0, 132, 66 } },
        { "16 bits with fields 5-6-5",
            { 40, 2, 1, 16, 3, words({ 0xF800, 0x07E0, 0x1F }), { 0x1F, 0xF8, 0, 4 } }, 1,
            { 255, 0, 255, 0, 130, 0 } },
        { "24 bits", { 40, 1, 1, 24, 0, {}, { 3, 2, 1, 0 } }, 1, { 1, 2, 3 } },
        { "24 bits, core header", { 12, 1, 1, 24, 0, {}, { 3, 2, 1, 0 } }, 1, { 1, 2, 3 } },
        { "32 bits without masks are opaque", { 40, 1, 1, 32, 0, {}, { 3, 2, 1, 4 } }, 2, { 1, 2, 3, 255 } },
        { "32 bits with every alpha 0 are opaque",
            { 56, 2, 1, 32, 3, words({ 0xFF000000, 0xFF0000, 0xFF00, 0xFF }), { 0, 3, 2, 1, 0, 6, 5, 4 } }, 2,
            { 1, 2, 3, 255, 4, 5, 6, 255 } },
        { "16 bits with an alpha mask",
            { 56, 2, 1, 16, 3, words({ 0x7C00, 0x03E0, 0x1F, 0x8000 }), { 0x1F, 0x7C, 0x00, 0x80 } }, 2,
            { 255, 0, 255, 0, 0, 0, 0, 255 } },
        { "1 bit of two colours", { 40, 2, 1, 1, 0, { 10, 20, 30, 0, 40, 50, 60, 0 }, { 0x40, 0, 0, 0 } }, 1,
            { 30, 20, 10, 60, 50, 40 } },
        { "32 bits with fields and no alpha",
            { 40, 1, 1, 32, 3, words({ 0xFF, 0xFF00, 0xFF0000 }), { 1, 2, 3, 4 } }, 2, { 1, 2, 3, 255 } },
        { "32 bits with alpha in a header of 56 bytes",
            { 56, 1, 1, 32, 3, words({ 0xFF000000, 0xFF0000, 0xFF00, 0xFF }), { 4, 3, 2, 1 } }, 2,
            { 1, 2, 3, 4 } },
        { "bottom row first", { 40, 1, 2, 24, 0, {}, { 3, 2, 1, 0, 6, 5, 4, 0 } }, 1, { 1, 2, 3, 4, 5, 6 } },
        { "top row first", { 40, 1, -2, 24, 0, {}, { 3, 2, 1, 0, 6, 5, 4, 0 } }, 1, { 4, 5, 6, 1, 2, 3 } },
        { "an index beyond a short palette is black", { 40, 1, 1, 8, 0, {}, { 200, 0, 0, 0 } }, 1,
            { 0, 0, 0 } },
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        const owned_bitmap b = decode(c.file.build());
        ASSERT_NE(b, nullptr);
        EXPECT_EQ(b->pixel_format, c.format);
        EXPECT_EQ(b->width, c.file.width);
        EXPECT_EQ(b->height, std::abs(c.file.height));
        ASSERT_EQ(size_t(b->byte_count), c.pixels.size());
        EXPECT_EQ(bytes(b->pixels, b->pixels + b->byte_count), c.pixels);
        EXPECT_GE(b->store_bytes, uint32_t(b->byte_count * 4 / 3)) << "room for the mipmaps";
    }
}

TEST(Bmp, RefusesWhatItCannotRead)
{
    struct
    {
        const char* what;
        bmp_file file;
        int32_t code;
    } const cases[] = {
        { "run lengths", { 40, 2, 2, 8, 1, {}, bytes(64) }, ZR_ERROR_FORMAT },
        { "fields with 24 bits", { 40, 2, 2, 24, 3, {}, bytes(64) }, ZR_ERROR_FORMAT },
        { "2 bits", { 40, 2, 2, 2, 0, {}, bytes(64) }, ZR_ERROR_FORMAT },
        { "no width", { 40, 0, 2, 24, 0, {}, bytes(64) }, ZR_ERROR_FORMAT },
        { "negative width", { 40, -2, 2, 24, 0, {}, bytes(64) }, ZR_ERROR_FORMAT },
        { "the lowest height", { 40, 1, INT32_MIN, 24, 0, {}, bytes(64) }, ZR_ERROR_LIMIT },
        { "sizes beyond the file", { 40, INT32_MAX, INT32_MAX, 32, 0, {}, bytes(64) }, ZR_ERROR_LIMIT },
        { "a width beyond the limit", { 40, 1 << 22, 1, 1, 0, {}, bytes(1 << 19) }, ZR_ERROR_LIMIT },
        { "a store that the file cannot fill", { 40, 20000, 10000, 24, 0, {}, bytes(64) }, ZR_ERROR_FORMAT },
        { "masks that overlap", { 40, 1, 1, 16, 3, words({ 0xF800, 0xFFE0, 0x1F }), bytes(4) },
            ZR_ERROR_FORMAT },
        { "a mask with a hole", { 40, 1, 1, 16, 3, words({ 0xF800, 0x05E0, 0x1F }), bytes(4) },
            ZR_ERROR_FORMAT },
        { "a mask of no bits", { 40, 1, 1, 32, 3, words({ 0, 0xFF00, 0xFF }), bytes(4) }, ZR_ERROR_FORMAT },
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        zr_status why;
        EXPECT_EQ(decode(c.file.build(), &why), nullptr);
        EXPECT_EQ(why.code, c.code) << why.text;
    }
}

TEST(Bmp, WritesItsBytesExactly)
{
    const temporary_folder folder;
    bitmap_format record = picture_at(folder.wide("small.bmp"), BITMAP_BMP, 1, 2, LINE_RGBA);
    ASSERT_EQ(record.write_image(&record), 1);
    const unsigned char expected[] = { 'B', 'M', 64, 0, 0, 0, 0, 0, 0, 0, 56, 0, 0, 0, 40, 0, 0, 0, 1, 0, 0,
        0, 2, 0, 0, 0, 1, 0, 24, 0, 0, 0, 0, 0, 8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
        0, 200, 0, 0, 0, 200, 1, 0, 0 };
    const std::string file = folder.read("small.bmp");
    EXPECT_EQ(bytes(file.begin(), file.end()), bytes(std::begin(expected), std::end(expected)));

    const owned_bitmap back(record.read_image(&record));
    ASSERT_NE(back, nullptr);
    EXPECT_EQ(bytes(back->pixels, back->pixels + 6), (bytes{ 0, 0, 200, 0, 1, 200 }));
}

TEST(Bmp, AFailedWriteKeepsTheOldFile)
{
    const temporary_folder folder;
    folder.write("kept.bmp", "the old picture");
    // A limit on the size of files stands for the full disk.
    const auto old_handler = std::signal(SIGXFSZ, SIG_IGN);
    rlimit old_limit;
    getrlimit(RLIMIT_FSIZE, &old_limit);
    rlimit low = old_limit;
    low.rlim_cur = 4096;
    setrlimit(RLIMIT_FSIZE, &low);
    bitmap_format record = picture_at(folder.wide("kept.bmp"), BITMAP_BMP, 200, 200, LINE_RGBA);
    const int32_t result = record.write_image(&record);
    setrlimit(RLIMIT_FSIZE, &old_limit);
    std::signal(SIGXFSZ, old_handler);
    EXPECT_EQ(result, 0);
    EXPECT_EQ(zr_last_error()->code, ZR_ERROR_WRITE);
    EXPECT_NE(std::string(zr_last_error()->file).find("kept.bmp"), std::string::npos);
    EXPECT_EQ(folder.read("kept.bmp"), "the old picture");
    size_t files = 0;
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(folder.path)) { ++files; }
    EXPECT_EQ(files, 1u) << "no half-written file is left";

    bitmap_format nowhere = picture_at(folder.wide("missing/picture.bmp"), BITMAP_BMP, 4, 4, LINE_RGBA);
    EXPECT_EQ(nowhere.write_image(&nowhere), 0);
    EXPECT_EQ(nowhere.read_image(&nowhere), nullptr);
    EXPECT_EQ(zr_last_error()->code, ZR_ERROR_NOT_FOUND);
}

TEST(BitmapFormats, AreFoundByIdExtensionAndIndex)
{
    struct
    {
        std::u16string extension;
        uint32_t id;
        int32_t known;
        const char16_t* own_extension;
    } const cases[] = { { u"TIF", BITMAP_TIF, 1, u"tif" }, { u"tiff", BITMAP_TIFF, 1, u"tiff" },
        { u"Bmp", BITMAP_BMP, 1, u"bmp" }, { u"tg", BITMAP_JPEG, 0, u"jpg" }, { u"", BITMAP_JPEG, 0, u"jpg" },
        { u"bmpx", BITMAP_JPEG, 0, u"jpg" } };
    for (const auto& c : cases)
    {
        std::u16string extension = c.extension;
        bitmap_format record = {};
        record.width = 17;
        EXPECT_EQ(zr_get_bitmap_format_by_ext(extension.data(), &record), c.known);
        EXPECT_EQ(record.format_id, c.id);
        EXPECT_EQ(std::u16string(record.extension), c.own_extension);
        EXPECT_EQ(record.width, 17u) << "what the caller set stays";
        for (const char16_t unit : extension) { EXPECT_FALSE(unit >= u'A' && unit <= u'Z'); }
        EXPECT_EQ(zr_bitmap_format_id_from_ext(extension.data()), c.id);
    }
    bitmap_format record = {};
    EXPECT_EQ(zr_init_bitmap_format(99, &record), 0);
    EXPECT_EQ(record.format_id, uint32_t(BITMAP_JPEG));
    for (const int32_t index : { -1, 5 }) { EXPECT_EQ(zr_init_bitmap_format_by_index(index, &record), 0); }

    std::vector<uint32_t> seen;
    const auto until_bmp = [](bitmap_format* format, void* argument) -> int32_t
    {
        static_cast<std::vector<uint32_t>*>(argument)->push_back(format->format_id);
        return format->format_id != BITMAP_BMP;
    };
    EXPECT_EQ(zr_enum_bitmap_formats(until_bmp, &seen), 0);
    EXPECT_EQ(seen, (std::vector<uint32_t>{ BITMAP_JPEG, BITMAP_TARGA, BITMAP_BMP }));
}
