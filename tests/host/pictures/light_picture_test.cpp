// Pictures of light in files of other programs keep their values.
#include "host/failure.hpp"
#include "host/pictures/light_picture.hpp"
#include "tests/support/temporary_folder.hpp"

#include <ImfArray.h>
#include <ImfRgbaFile.h>
#include <gtest/gtest.h>
#include <png.h>

#include <limits>

using namespace host;

namespace
{

std::array<float, 3> radiance_at(const image_buffer& light, int x, int y)
{
    pixel_components c{};
    zr_unpack_internal_pixel(&light, zr_image_buffer_pixel(&light, x, y), &c, 1);
    return { c.surface[0] + c.background[0], c.surface[1] + c.background[1], c.surface[2] + c.background[2] };
}

/// Which failure reading the file is; done when there is none.
exit_code code_of(const std::filesystem::path& file)
{
    try
    {
        std::string warning;
        read_light(file, warning);
    }
    catch (const failure& f)
    {
        EXPECT_EQ(std::string(f.what()).find('\n'), std::string::npos) << f.what();
        return f.code;
    }
    return exit_done;
}

} // namespace

TEST(LightPicture, ReadsOpenExrWithItsRange)
{
    const temporary_folder folder;
    const std::filesystem::path file = folder.path / "a.exr";
    const float nan = std::numeric_limits<float>::quiet_NaN(), inf = std::numeric_limits<float>::infinity();
    const Imf::Rgba pixels[6] = { { 5000, 0.25f, 0.001f }, { 1, 2, 3 }, { -4, 0, 8 }, { nan, 1, 1 },
        { inf, 1, 1 }, { 0, 0, 0 } };
    {
        // A window that does not begin at 0: its top row is y = -1.
        const Imath::Box2i window({ -3, -1 }, { -1, 0 });
        Imf::RgbaOutputFile out(file.c_str(), window, window, Imf::WRITE_RGB);
        out.setFrameBuffer(pixels + 3 + 3, 1, 3);
        out.writePixels(2);
    }
    EXPECT_TRUE(holds_light(file));
    std::string warning;
    const light_picture light = read_light(file, warning);
    ASSERT_EQ(light->width, 3);
    ASSERT_EQ(light->height, 2);
    const std::array<float, 3> sun = radiance_at(*light, 0, 1);
    EXPECT_NEAR(sun[0], 5000, 50);
    EXPECT_NEAR(radiance_at(*light, 1, 1)[2], 3, 0.05);
    EXPECT_NEAR(radiance_at(*light, 2, 1)[0], 0, 0.05); // below 0; a shared exponent has no exact 0
    EXPECT_NEAR(radiance_at(*light, 0, 0)[0], 0, 0.01); // not a number
    EXPECT_NEAR(radiance_at(*light, 1, 0)[0], 65504, 700);

    const std::string whole = folder.read("a.exr");
    for (size_t size = 4; size < whole.size(); size += 7)
    {
        folder.write("cut.exr", whole.substr(0, size));
        EXPECT_EQ(code_of(folder.path / "cut.exr"), exit_bad_scene) << size;
    }
    EXPECT_EQ(code_of(folder.path / "none.exr"), exit_missing_file);
    folder.write("text.exr", "no picture");
    EXPECT_EQ(code_of(folder.path / "text.exr"), exit_bad_scene);
}

TEST(LightPicture, ReadsSixteenBitsOfAPng)
{
    const temporary_folder folder;
    const std::filesystem::path file = folder.path / "a.png";
    // Two levels that fall together in 8 bits, and white; linear light, as the format writes its gamma.
    const uint16_t row[9] = { 1000, 1000, 1000, 1060, 1060, 1060, 65535, 65535, 65535 };
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = 3;
    image.height = 1;
    image.format = PNG_FORMAT_LINEAR_RGB;
    ASSERT_TRUE(png_image_write_to_file(&image, file.c_str(), 0, row, 0, nullptr));
    EXPECT_FALSE(holds_light(file));
    std::string warning;
    const light_picture light = read_light(file, warning);
    EXPECT_NEAR(radiance_at(*light, 0, 0)[1], 1000 / 65535.0, 2e-4);
    EXPECT_GT(radiance_at(*light, 1, 0)[1], radiance_at(*light, 0, 0)[1]);
    EXPECT_NEAR(radiance_at(*light, 2, 0)[1], 1, 0.01);
}

TEST(LightPicture, KnowsRadianceByItsMarkOrItsFormat)
{
    const std::string pixels("\n\n-Y 1 +X 2\n\x80\x40\x20\x81\0\0\0\0", 21),
        format = "FORMAT=32-bit_rle_rgbe";
    struct
    {
        std::string file;
        bool is_light;
    } const cases[] = {
        { "#?RADIANCE" + pixels, true },
        { "VIEW= -vp 0 0 0\n" + format + pixels, true },
        { "a text\n\n" + format + pixels, false }, // behind the head
        { format.substr(1) + pixels, false },
        { "", false },
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.file);
        const temporary_folder folder;
        folder.write("a", c.file);
        EXPECT_EQ(holds_light(folder.path / "a"), c.is_light);
        if (!c.is_light) { continue; }
        std::string warning;
        const light_picture light = read_light(folder.path / "a", warning);
        EXPECT_NEAR(radiance_at(*light, 0, 0)[0], 1, 0.01);
        EXPECT_EQ(warning, "");
    }
}
