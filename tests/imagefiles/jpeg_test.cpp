#include "tests/support/decoded_picture.hpp"
#include "tests/support/temporary_folder.hpp"

#include <fstream>

namespace
{

bytes corpus_file(const char* name)
{
    std::ifstream in(std::string(ZIRCONLITE_SOURCE_DIR "/fuzz/corpus/jpeg/") + name, std::ios::binary);
    return bytes{ std::istreambuf_iterator<char>(in), {} };
}

int max_difference(const bitmap& b)
{
    int largest = 0;
    for (int32_t i = 0; i < b.pixel_count; ++i)
    {
        const int expected[3] = { i % b.width, i / b.width, 200 };
        for (int c = 0; c < 3; ++c)
        {
            largest = std::max(largest, std::abs(expected[c] - b.pixels[3 * i + c]));
        }
    }
    return largest;
}

} // namespace

TEST(Jpeg, WritesByQualityAndReadsBackTheRightWayUp)
{
    const temporary_folder folder;
    size_t sizes[3] = {};
    const uint32_t compressions[3] = { 0, 100, 4000 };
    for (int i = 0; i < 3; ++i)
    {
        bitmap_format record = picture_at(folder.wide("p.jpg"), BITMAP_JPEG, 40, 24, LINE_RGBA);
        record.compression = compressions[i];
        ASSERT_EQ(record.write_image(&record), 1);
        sizes[i] = folder.read("p.jpg").size();
        const owned_bitmap back(record.read_image(&record));
        ASSERT_NE(back, nullptr);
        EXPECT_EQ(back->pixel_format, 1) << "alpha is not kept";
        if (i == 0) { EXPECT_LE(max_difference(*back), 3); }
    }
    EXPECT_GT(sizes[0], sizes[1]);
    EXPECT_EQ(sizes[1], sizes[2]) << "the lowest quality is the lowest";
    bitmap_format wide = picture_at(folder.wide("wide.jpg"), BITMAP_JPEG, 65501, 1, LINE_RGB);
    EXPECT_EQ(wide.write_image(&wide), 0);
    EXPECT_FALSE(std::filesystem::exists(folder.path / "wide.jpg"));
}

TEST(Jpeg, ReadsGreyAndRefusesFourChannels)
{
    zr_status why;
    const owned_bitmap grey = decode_file(zr::decode_jpeg, corpus_file("grey.jpg"), &why);
    ASSERT_NE(grey, nullptr) << why.text;
    EXPECT_EQ(grey->pixel_format, 3);
    EXPECT_EQ(decode_file(zr::decode_jpeg, corpus_file("cmyk.jpg"), &why), nullptr);
    EXPECT_NE(std::string(why.text).find("4 channels"), std::string::npos) << why.text;
}
