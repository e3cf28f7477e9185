// Pictures between this program and ImageMagick: files that it makes are read with the same pixels, and files
// that are written here open there with the same pixels.
#include "host/pictures/picture_reader.hpp"
#include "tests/support/temporary_folder.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>

namespace
{

/// The standard output of a shell command run in the folder; its failure fails the test.
std::string output_of(const temporary_folder& folder, const std::string& command)
{
    const std::string whole = "cd '" + folder.path.string() + "' && " + command + " > out.bin 2> err.txt";
    EXPECT_EQ(std::system(whole.c_str()), 0) << command << "\n" << folder.read("err.txt");
    return folder.read("out.bin");
}

class PictureFormats : public testing::Test
{
protected:
    void SetUp() override
    {
        if (std::system("convert -version > /dev/null 2>&1") != 0)
        {
            GTEST_SKIP() << "ImageMagick is not installed";
        }
        // An odd width, so that padded rows show; smooth colours with an edge, and an alpha of their own.
        output_of(folder,
            "convert -size 61x37 gradient:red-blue -rotate 20 +repage -crop 61x37+3+5 +repage -fill green "
            "-draw 'rectangle 5,5 20,12' -strip -depth 8 PNG24:source.png && convert source.png '(' -size "
            "61x37 gradient: ')' -compose copy-opacity -composite PNG32:alpha.png");
    }
    std::string absolute(const std::string& name) { return (folder.path / name).string(); }
    /// Top row first, as ImageMagick decodes the file.
    std::string reference(const std::string& name, const std::string& layout, const char* orient = "")
    {
        return output_of(folder, "convert " + name + " " + orient + " -depth 8 " + layout + ":-");
    }
    /// Top row first, as it is read here.
    static std::string rows_of(const host::picture8& p)
    {
        std::string out;
        const size_t row = size_t(p.width) * p.channels;
        for (size_t y = p.height; y-- > 0;)
        {
            out.append(p.rows.begin() + long(y * row), p.rows.begin() + long((y + 1) * row));
        }
        return out;
    }
    static int max_difference(const std::string& a, const std::string& b)
    {
        if (a.size() != b.size()) { return 999; }
        int largest = 0;
        for (size_t i = 0; i < a.size(); ++i)
        {
            largest = std::max(largest, std::abs(int(uint8_t(a[i])) - int(uint8_t(b[i]))));
        }
        return largest;
    }
    /// For codings that lose detail at edges.
    static double mean_difference(const std::string& a, const std::string& b)
    {
        double sum = a.size() == b.size() ? 0 : 1e9;
        for (size_t i = 0; i < a.size() && i < b.size(); ++i)
        {
            sum += std::abs(int(uint8_t(a[i])) - int(uint8_t(b[i])));
        }
        return sum / double(a.size());
    }
    temporary_folder folder;
};

} // namespace

// Each line of the file: its name, its channels, the difference that its coding leaves, how ImageMagick
// brings it upright or to colours, and how it makes it.
TEST_F(PictureFormats, FilesOfOtherProgramsReadWithTheSamePixels)
{
    std::ifstream in(ZIRCONLITE_SOURCE_DIR "/tests/references/picture-formats.txt");
    std::string name, layout, bar, orient, made_by;
    int tolerance = 0;
    while (in >> name >> layout >> tolerance >> bar && std::getline(in, orient, '|') &&
           std::getline(in, made_by))
    {
        SCOPED_TRACE(name);
        output_of(folder, "convert " + made_by);
        host::picture8 p;
        std::string why;
        ASSERT_TRUE(host::read_picture_file(absolute(name), p, why)) << why;
        EXPECT_EQ(why, "");
        ASSERT_EQ(p.width, 61u);
        ASSERT_EQ(p.height, 37u);
        EXPECT_EQ(p.channels, layout == "gray" ? 1u : layout.size());
        EXPECT_LE(max_difference(rows_of(p), reference(name, layout, orient.c_str())), tolerance);
    }
    EXPECT_EQ(made_by, " source.png -colorspace gray -define png:color-type=0 grey.png");
}

TEST_F(PictureFormats, WrittenFilesOpenThereWithTheSamePixels)
{
    struct
    {
        const char *from, *to, *layout;
        const char* orient = "";
        double mean = 0;
    } const cases[] = {
        { "source.png", "a.bmp", "rgb" },
        { "alpha.png", "b.bmp", "rgb" },
        { "source.png", "a.tga", "rgb", "-auto-orient" },
        { "alpha.png", "b.tga", "rgba", "-auto-orient" },
        { "source.png", "a.tif", "rgb" },
        { "alpha.png", "b.tiff", "rgba" },
        { "a.tif", "c.png", "rgb" },
        { "b.tga", "d.png", "rgba" },
        { "source.png", "a.JPG", "rgb", "", 1 },
        { "source.png", "b.jpeg", "rgb", "", 1 },
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.to);
        output_of(folder,
            std::string("'" ZIRCONLITE_HOST_PROGRAM "' convert --quality 100 ") + c.from + " " + c.to);
        // A JPEG is compared with the other program's, whose colours lose the same at edges.
        const std::string same_jpeg = "source.png -quality 100 -sampling-factor 2x2 jpg:- | convert -";
        const std::string original = c.mean > 0                        ? same_jpeg
                                     : std::string(c.layout) == "rgba" ? "alpha.png"
                                                                       : "source.png";
        const std::string expected =
            reference(original, c.layout, c.from == std::string("alpha.png") ? "-alpha on" : "");
        EXPECT_LE(mean_difference(reference(c.to, c.layout, c.orient), expected), c.mean);
    }
}

TEST_F(PictureFormats, ADamagedPngGivesWhatItHasAndABombIsRefused)
{
    output_of(folder, "head -c 900 source.png > cut.png && head -c 20 source.png > head.png && convert -size "
                      "5000x5000 xc:black "
                      "bomb.png");
    host::picture8 p;
    std::string why;
    EXPECT_TRUE(host::read_picture_file(absolute("cut.png"), p, why));
    EXPECT_NE(why, "");
    EXPECT_EQ(p.width, 61u);
    EXPECT_FALSE(host::read_picture_file(absolute("head.png"), p, why));
    EXPECT_FALSE(host::read_picture_file(absolute("bomb.png"), p, why));
    EXPECT_NE(why, "");
}

namespace
{

std::string little(uint32_t v, int bytes)
{
    std::string out;
    for (; bytes > 0; --bytes, v >>= 8) { out += char(v & 0xFF); }
    return out;
}

/// A BMP of the header with `bits` a pixel; `between` is what comes before the pixels.
std::string bmp(
    int width, int height, int bits, int compression, const std::string& between, const std::string& pixels)
{
    return "BM" + little(0, 8) + little(uint32_t(54 + between.size()), 4) + little(40, 4) +
           little(uint32_t(width), 4) + little(uint32_t(height), 4) + little(1, 2) +
           little(uint32_t(bits), 2) + little(uint32_t(compression), 4) + little(0, 12) +
           little(compression == 3 ? 0 : 3, 4) + little(0, 4) + between + pixels;
}

std::string targa(int kind, int width, int height, int bits, int descriptor, const std::string& rest)
{
    return little(0, 1) + little(kind == 1 || kind == 9, 1) + little(uint32_t(kind), 1) + little(0, 2) +
           little(kind == 1 || kind == 9 ? 2 : 0, 2) + little(kind == 1 || kind == 9 ? 16 : 0, 1) +
           little(0, 4) + little(uint32_t(width), 2) + little(uint32_t(height), 2) +
           little(uint32_t(bits), 1) + little(uint32_t(descriptor), 1) + rest;
}

std::span<const uint8_t> as_bytes(const std::string& s)
{
    return { reinterpret_cast<const uint8_t*>(s.data()), s.size() };
}

const std::string black_red_green = little(0, 4) + little(0xFF0000, 4) + little(0x00FF00, 4);

} // namespace

// By hand from the formats' definitions; rows from the bottom up, k black, r red, g green, - clear.
TEST(PictureForms, AreReadPixelByPixel)
{
    struct
    {
        const char* what;
        std::string file, seen;
        const char* warning = "";
    } const cases[] = {
        { "runs of 4 bits, plain ones, a jump and an end",
            bmp(5, 3, 4, 2, black_red_green,
                std::string("\x05\x12\0\0\0\x03\x21\x10\0\x02\x01\x01\x01\x22\0\x01", 16)),
            "rgrgrgrrkkkkkkg" },
        { "runs of 8 bits with an odd number of plain ones",
            bmp(4, 2, 8, 1, black_red_green,
                std::string("\0\x03\x01\x02\x01\0\x01\x02\0\0\x04\x01\0\x01", 14)),
            "rgrgrrrr" },
        { "a run beyond the row", bmp(2, 1, 8, 1, black_red_green, std::string("\x09\x01\0\x01", 4)), "rr" },
        { "runs that end early", bmp(2, 2, 8, 1, black_red_green, std::string("\x02\x01", 2)), "rrkk",
            "row 1 of 2" },
        { "masks of 12 bits, top row first",
            bmp(1, -2, 16, 3, little(0x0F, 4) + little(0xF0, 4) + little(0xF00, 4),
                little(0x0F, 2) + "xx" + little(0xF0, 2) + "xx"),
            "gr" },
        { "a map of 15 bits", targa(1, 2, 1, 8, 0, little(0x7C00, 2) + little(0x03E0, 2) + little(0x0001, 2)),
            "gr" },
        { "a map's runs from the right",
            targa(9, 3, 1, 8, 0x10, little(0x7C00, 2) + little(0x03E0, 2) + std::string("\x81\0\0\1", 4)),
            "grr" },
        { "an index outside the map", targa(1, 1, 1, 8, 0, little(0x7C00, 4) + "\x09"), "k" },
        { "grey and alpha", targa(3, 2, 1, 16, 8, std::string("\0\xFF\0\0", 4)), "k-" },
        { "deep grey", targa(3, 1, 1, 16, 0, std::string("\xFF\0", 2)), "k" },
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        host::picture8 p;
        std::string why;
        ASSERT_TRUE(host::read_picture_bytes(as_bytes(c.file), p, why)) << why;
        EXPECT_NE(why.find(c.warning), std::string::npos) << why;
        EXPECT_EQ(why.empty(), !*c.warning) << why;
        std::string seen;
        for (size_t i = 0; i < p.rows.size(); i += p.channels)
        {
            const uint8_t* t = &p.rows[i];
            seen += p.channels == 4 && t[3] == 0                        ? '-'
                    : p.channels == 1 || (t[0] == t[1] && t[1] == t[2]) ? (t[0] == 0 ? 'k' : 'w')
                    : t[0] == 255                                       ? 'r'
                                                                        : 'g';
        }
        EXPECT_EQ(seen, c.seen);
    }
}

TEST(PictureForms, RefusalsNameTheReason)
{
    const std::pair<std::string, const char*> cases[] = {
        { "a text of no kind at all", "no picture of a kind that is read" },
        { std::string("RIFF\1\0\0\0WEBPVP8 ", 16), "WebP pictures are not supported" },
        { "#?RADIANCE\n", "stores radiance" },
        { bmp(60000, 60000, 8, 1, black_red_green, "x"), "too many" },
    };
    for (const auto& [file, part] : cases)
    {
        host::picture8 p;
        std::string why;
        EXPECT_FALSE(host::read_picture_bytes(as_bytes(file), p, why)) << part;
        EXPECT_NE(why.find(part), std::string::npos) << why;
    }
}

// Cut anywhere and changed anywhere a file is read or refused, with a reason when it is refused.
TEST_F(PictureFormats, SurviveDamageOfEveryForm)
{
    output_of(folder,
        "convert source.png -crop 24x16+0+0 +repage small.png && convert small.png -compress lzw a.tif && "
        "convert small.png -define tiff:tile-geometry=16x16 -compress zip b.tif && convert small.png "
        "-colorspace CMYK c.jpg && convert small.png -colors 9 -type palette -compress rle BMP3:d.bmp && "
        "convert small.png -colors 9 -type palette -compress rle e.tga");
    for (const char* name : { "a.tif", "b.tif", "c.jpg", "d.bmp", "e.tga" })
    {
        const std::string whole = folder.read(name);
        const size_t step = whole.size() / 150 + 1;
        for (size_t at = 0; at < whole.size(); at += step)
        {
            std::string changed = whole;
            changed[at] = char(~changed[at]);
            for (const std::string& file : { whole.substr(0, at), changed })
            {
                host::picture8 p;
                std::string why;
                const bool is_read = host::read_picture_bytes(as_bytes(file), p, why);
                EXPECT_TRUE(is_read || !why.empty()) << name << " at " << at;
                EXPECT_EQ(p.rows.size(), size_t(p.width) * p.height * p.channels);
            }
        }
    }
}
