#include <gtest/gtest.h>

#include <barrier>
#include <cmath>
#include <thread>
#include <vector>

#include "tests/support/temporary_folder.hpp"
#include "zirconlite/frame/error.h"
#include "zirconlite/imagefiles/bitmap_store.hpp"

namespace
{

/// A BMP of 2 by 1 pixels, blue of the left one as given.
std::string small_bmp(char blue)
{
    std::string file("BM\0\0\0\0\0\0\0\0\x36\0\0\0\x28\0\0\0\2\0\0\0\1\0\0\0\1\0\x18\0", 30);
    file.resize(54);
    return file + std::string{ blue, 0, 0, 1, 2, 3, 0, 0 };
}

bitmap_format record_of(const std::u16string& path)
{
    bitmap_format record = {};
    path.copy(record.path, std::size(record.path) - 1);
    return record;
}

bitmap* read(const std::u16string& path, bitmap** list)
{
    bitmap_format record = record_of(path);
    return zr_read_bitmap(&record, list);
}

struct BitmapStore : testing::Test
{
    ~BitmapStore() override
    {
        zr_use_temp_bitmap_list(0);
        zr_replace_temp_bitmap(0);
        zr_set_bitmap_ui_not_cached(0);
        zr_free_all_bitmaps();
        zr_free_temp_bitmaps();
    }
    temporary_folder folder;
};

} // namespace

TEST_F(BitmapStore, KeepsOneBitmapForAFile)
{
    folder.write("A.bmp", small_bmp(90));
    bitmap** shared = zr_shared_bitmaps();
    bitmap* first = read(folder.wide("A.BMP"), shared);
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first->pixels[2], 90);
    EXPECT_EQ(std::u16string(first->name), folder.wide("A.bmp")) << "the path as found";
    const size_t bytes = zr_get_bitmap_allocation();
    EXPECT_EQ(read(folder.wide("A.bmp"), shared), first);
    EXPECT_EQ(zr_find_bitmap(folder.wide("A.bmp").c_str()), first);
    EXPECT_EQ(zr_get_bitmap_allocation(), bytes);
    bitmap* own = read(folder.wide("A.bmp"), nullptr);
    EXPECT_NE(own, first);
    EXPECT_EQ(own->flags & (BITMAP_LISTED | BITMAP_OF_USER), 0u);
    zr_free_bitmap(own);

    folder.write("wood.jpg", "no picture");
    const std::u16string longest = folder.wide(std::string(255 - folder.wide("").size(), 'x'));
    for (const std::u16string& path : { folder.wide("none.bmp"), folder.wide(""), std::u16string(u".bmp"),
             std::u16string(u""), folder.wide("wood.unknown"), longest })
    {
        EXPECT_EQ(read(path, shared), nullptr);
    }
    EXPECT_EQ(zr_last_error()->code, ZR_ERROR_LIMIT) << "no room for the extension";
}

TEST_F(BitmapStore, ThreadsThatReadTheSameFilesShareTheirBitmaps)
{
    std::vector<std::u16string> paths;
    for (char i = 'A'; i < 'Z'; ++i)
    {
        folder.write({ i, '.', 'b', 'm', 'p' }, small_bmp(i));
        paths.push_back(folder.wide({ i, '.', 'b', 'm', 'p' }));
    }
    std::vector<bitmap*> got[4];
    std::barrier together(std::ssize(got)); // all ask for a file before anybody has it
    std::vector<std::thread> readers;
    for (auto& row : got)
    {
        const auto read_all = [&]
        {
            for (const auto& p : paths)
            {
                together.arrive_and_wait();
                row.push_back(read(p, zr_shared_bitmaps()));
            }
        };
        readers.emplace_back(read_all);
    }
    for (std::thread& t : readers) { t.join(); }
    for (const auto& row : got)
    {
        EXPECT_NE(row[0], nullptr);
        EXPECT_EQ(row, got[0]);
    }
}

TEST_F(BitmapStore, BuildsLevelsDownToOneTexel)
{
    struct
    {
        uint32_t width, height;
        int32_t levels;
    } const cases[] = { { 1, 1, 1 }, { 300, 200, 10 }, { 5, 3, 4 }, { 1, 1000, 11 }, { 1000, 1, 11 },
        { 2, 4096, 13 } };
    for (const auto& c : cases)
    {
        for (const uint32_t channels : { 1u, 3u, 4u })
        {
            SCOPED_TRACE(testing::Message() << c.width << " x " << c.height << " x " << channels);
            const std::vector<uint8_t> rows(size_t(c.width) * c.height * channels, 200);
            bitmap* b = zr_add_bitmap(u"even", c.width, c.height, channels, rows.data());
            ASSERT_NE(b, nullptr);
            EXPECT_EQ(b->level_count, c.levels);
            EXPECT_FLOAT_EQ(b->average[2], 200 / 255.0f);
            bitmap* copy = zr_dupe_bitmap(b);
            zr_free_all_bitmaps();
            EXPECT_EQ(copy->levels[copy->level_count - 1][channels - 1], 200);
            zr_free_bitmap(copy);
        }
    }
    // Means are rounded to the nearest; an odd column is dropped, a single row counts twice.
    const uint8_t grey[] = { 0, 1, 9, 1, 0, 9, 10, 20, 9 };
    const bitmap* b = zr_add_bitmap(u"grey", 3, 3, 1, grey);
    EXPECT_EQ(b->levels[1][0], 1) << "(0 + 1 + 1 + 0) / 4 + 1/2";
    const uint8_t row[] = { 10, 0, 0, 21, 0, 0 };
    EXPECT_EQ(zr_add_bitmap(u"row", 2, 1, 3, row)->levels[1][0], 16);

    bitmap damaged = *b;
    damaged.store_bytes = 9;
    EXPECT_EQ(zr_build_mipmap(&damaged), 0);
    damaged.width = -1;
    EXPECT_EQ(zr_build_mipmap(&damaged), 0);
}

TEST_F(BitmapStore, SamplesTheNearestTexelOfOneOrTwoLevels)
{
    const uint8_t pixels[] = { 0, 0, 0, 255, 255, 0, 0, 0, 0, 255, 0, 250, 0, 0, 255, 100 };
    const bitmap* b = zr_add_bitmap(u"four", 2, 2, 4, pixels);
    struct
    {
        double u, v;
        int32_t level;
        double fraction, red, green, alpha;
    } const cases[] = {
        { 0.0, 0.0, 0, 0.0, 0, 0, 1 },
        { 0.5, 0.49, 0, 0.0, 1, 0, 0 },
        { 0.49, 0.5, 0, 0.0, 0, 1, 1 },
        { 1.0, 1.0, 0, 0.0, 0, 0, 0.4 },
        { 0.9, 0.1, 1, 0.0, 64 / 255.0, 64 / 255.0, 0.604 },
        { 0.9, 0.1, 0, 0.25, 0.75 + 16 / 255.0, 16 / 255.0, 0.151 },
        { 0.9, 0.1, 7, 0.5, 64 / 255.0, 64 / 255.0, 0.604 },
        { NAN, -1e300, 0, 0.0, 0, 0, 1 },
        { 1e300, INFINITY, -3, 0.0, 0, 0, 0.4 },
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(testing::Message() << c.u << " " << c.v << " " << c.level << " " << c.fraction);
        const double uv[2] = { c.u, c.v };
        double out[4];
        EXPECT_EQ(zr_sample_mipmap(b, uv, c.level, c.fraction, out), 4);
        EXPECT_NEAR(out[0], c.red, 1e-9);
        EXPECT_NEAR(out[1], c.green, 1e-9);
        EXPECT_NEAR(out[3], c.alpha, 1e-9);
    }
}
