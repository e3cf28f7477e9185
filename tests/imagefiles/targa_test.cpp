#include "tests/support/decoded_picture.hpp"
#include "tests/support/temporary_folder.hpp"

namespace
{

bytes targa(
    uint8_t kind, uint8_t width, uint8_t height, uint8_t depth, uint8_t descriptor, const bytes& pixels)
{
    return joined({ 0, 0, kind, 0, 0, 0, 0, 0, 0, 0, 0, 0, width, 0, height, 0, depth, descriptor }, pixels);
}

} // namespace

TEST(Targa, ReadsEveryFormOfPixel)
{
    bytes with_text_and_map = targa(2, 1, 1, 24, 0, { 7, 7, 7, 9, 9, 9, 9, 9, 9, 3, 2, 1 });
    with_text_and_map[0] = 3; // bytes of text
    with_text_and_map[1] = 1; // a colour map of 2 entries
    with_text_and_map[5] = 2;
    with_text_and_map[7] = 24;
    struct
    {
        const char* what;
        bytes file;
        int32_t format;
        bytes pixels;
    } const cases[] = {
        { "16 bits", targa(2, 2, 1, 16, 0, { 0xFF, 0x7F, 0x00, 0xFC }), 1, { 248, 248, 248, 248, 0, 0 } },
        { "24 bits", targa(2, 1, 1, 24, 0, { 3, 2, 1 }), 1, { 1, 2, 3 } },
        { "32 bits", targa(2, 1, 1, 32, 8, { 3, 2, 1, 4 }), 2, { 1, 2, 3, 4 } },
        { "32 bits, alpha not declared", targa(2, 1, 1, 32, 0, { 3, 2, 1, 4 }), 2, { 1, 2, 3, 4 } },
        { "32 bits, alpha neither declared nor stored", targa(2, 1, 1, 32, 0, { 3, 2, 1, 0 }), 2,
            { 1, 2, 3, 255 } },
        { "32 bits, declared as clear", targa(2, 1, 1, 32, 8, { 3, 2, 1, 0 }), 2, { 1, 2, 3, 0 } },
        { "grey", targa(3, 2, 1, 8, 0, { 5, 6 }), 3, { 5, 6 } },
        { "the first row is the bottom", targa(3, 2, 2, 8, 0, { 1, 2, 3, 4 }), 3, { 1, 2, 3, 4 } },
        { "top row first", targa(3, 2, 2, 8, 0x20, { 1, 2, 3, 4 }), 3, { 3, 4, 1, 2 } },
        { "from right to left", targa(3, 2, 2, 8, 0x10, { 1, 2, 3, 4 }), 3, { 2, 1, 4, 3 } },
        { "from the top right", targa(3, 2, 2, 8, 0x30, { 1, 2, 3, 4 }), 3, { 4, 3, 2, 1 } },
        { "a run goes on in the next row", targa(11, 3, 2, 8, 0, { 0x83, 7, 0x01, 8, 9 }), 3,
            { 7, 7, 7, 7, 8, 9 } },
        { "literals go on in the next row", targa(11, 2, 2, 8, 0, { 0x02, 1, 2, 3, 0x80, 4 }), 3,
            { 1, 2, 3, 4 } },
        { "runs of colours", targa(10, 2, 1, 24, 0, { 0x81, 3, 2, 1 }), 1, { 1, 2, 3, 1, 2, 3 } },
        { "a run beyond the picture ends with it", targa(11, 2, 1, 8, 0, { 0xFF, 7 }), 3, { 7, 7 } },
        { "text and a colour map are passed over", with_text_and_map, 1, { 1, 2, 3 } },
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        zr_status why;
        const owned_bitmap b = decode_file(zr::decode_targa, c.file, &why);
        ASSERT_NE(b, nullptr) << why.text;
        EXPECT_EQ(b->pixel_format, c.format);
        EXPECT_EQ(pixels_of(*b), c.pixels);
        EXPECT_EQ(why.code, ZR_ERROR_NONE);
    }
}

TEST(Targa, RefusesAHeaderAndKeepsThePixelsOfACutFile)
{
    bytes odd = targa(2, 1, 1, 24, 0, bytes(3));
    odd[3] = 1; // the byte behind the kind
    for (const bytes& file :
        { odd, targa(1, 1, 1, 8, 0, bytes(9)), targa(9, 1, 1, 8, 0, bytes(9)), targa(2, 1, 1, 8, 0, bytes(9)),
            targa(3, 1, 1, 16, 0, bytes(9)), targa(2, 0, 1, 24, 0, bytes(9)), bytes(17, 2) })
    {
        EXPECT_EQ(decode_file(zr::decode_targa, file), nullptr);
    }
    struct
    {
        bytes file, pixels;
    } const cut[] = {
        { targa(3, 2, 2, 8, 0x20, { 1, 2, 3 }), { 3, 0, 1, 2 } },
        { targa(11, 3, 1, 8, 0, { 0x81, 7, 0x80 }), { 7, 7, 0 } },
        { targa(11, 3, 1, 8, 0, { 0x02, 7, 8 }), { 7, 8, 0 } },
    };
    for (const auto& c : cut)
    {
        zr_status why;
        const owned_bitmap b = decode_file(zr::decode_targa, c.file, &why);
        ASSERT_NE(b, nullptr);
        EXPECT_EQ(pixels_of(*b), c.pixels);
        EXPECT_EQ(why.code, ZR_ERROR_READ);
    }
}

TEST(Targa, WritesItsBytesExactly)
{
    const temporary_folder folder;
    for (const uint32_t alpha_mode : { LINE_RGB, LINE_RGBA })
    {
        bitmap_format record = picture_at(folder.wide("p.tga"), BITMAP_TARGA, 2, 1, alpha_mode);
        ASSERT_EQ(record.write_image(&record), 1);
        bytes expected = alpha_mode == LINE_RGB ? targa(2, 2, 1, 24, 0, { 200, 0, 0, 200, 0, 1 })
                                                : targa(2, 2, 1, 32, 0, { 200, 0, 0, 100, 200, 0, 1, 101 });
        expected[10] = 1; // the origin is as high as the picture
        const std::string file = folder.read("p.tga");
        EXPECT_EQ(bytes(file.begin(), file.end()), expected);
    }
    bitmap_format wide = picture_at(folder.wide("p.tga"), BITMAP_TARGA, 65536, 1, LINE_RGB);
    EXPECT_EQ(wide.write_image(&wide), 0);
}
