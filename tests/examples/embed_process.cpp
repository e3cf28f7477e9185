/// @file
/// The embedding example, run as a program: the picture that it writes shows the room it builds.
#include <gtest/gtest.h>

#include <cstdlib>

#include "tests/support/temporary_folder.hpp"
#include "zirconlite/imagefiles/bitmap_format.h"

namespace
{

struct mean_color
{
    double rgb[3];
};

/// Of a rectangle in fractions of the picture, rows from below.
mean_color mean_of(const bitmap& b, double left, double bottom, double right, double top)
{
    mean_color mean = {};
    int count = 0;
    for (int y = int(bottom * b.height); y < int(top * b.height); ++y)
    {
        for (int x = int(left * b.width); x < int(right * b.width); ++x, ++count)
        {
            for (int i = 0; i < 3; ++i) { mean.rgb[i] += b.pixels[(size_t(y) * b.width + x) * 3 + i]; }
        }
    }
    for (double& channel : mean.rgb) { channel /= count; }
    return mean;
}

TEST(Embed, WritesThePictureOfItsRoom)
{
    const temporary_folder folder;
    const std::string file = (folder.path / "room.bmp").string();
    ASSERT_EQ(std::system(("'" EMBED_PROGRAM "' '" + file + "' > /dev/null").c_str()), 0);

    bitmap_format record = {};
    zr_init_bitmap_format(BITMAP_BMP, &record);
    folder.wide("room.bmp").copy(record.path, 255);
    bitmap* picture = record.read_image(&record);
    ASSERT_NE(picture, nullptr);
    EXPECT_EQ(picture->width, 320);
    EXPECT_EQ(picture->height, 240);
    const mean_color wall = mean_of(*picture, 0.45, 0.8, 0.55, 0.9);
    const mean_color block = mean_of(*picture, 0.45, 0.3, 0.55, 0.36);
    EXPECT_GT(wall.rgb[0], 100) << "the back wall is lit";
    EXPECT_NEAR(wall.rgb[1], wall.rgb[0], 60) << "and of plaster";
    EXPECT_GT(block.rgb[0], 1.5 * block.rgb[2]) << "the block is red";
    const mean_color floor_left = mean_of(*picture, 0.1, 0.05, 0.15, 0.1);
    EXPECT_GT(floor_left.rgb[0], 20);
    zr_free_bitmap(picture);

    EXPECT_NE(std::system("'" EMBED_PROGRAM "' /no/such/folder/room.bmp > /dev/null 2>&1"), 0);
}

} // namespace
