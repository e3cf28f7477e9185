/// @file
/// `zirconlite ies` from outside.
#include "host/photometry/drawing.hpp"
#include "host/photometry/stroke_font.hpp"
#include "host/pictures/light_picture.hpp"
#include "tests/support/program.hpp"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cmath>

namespace
{

/// 100 cd into the whole lower half, twice as much between 30 and 60 degrees in the plane of C90.
const char quadrant[] = "IESNA:LM-63-2002\n[LUMINAIRE] A & B\nTILT=NONE\n2 500 1 7 2 1 2 0.6 1.2 0 1 1 40\n"
                        "0 29 30 60 61 89 90\n0 90\n100 100 100 100 100 100 0\n100 100 200 200 100 100 0\n";
const char even[] = "IESNA91\nTILT=NONE\n1 -1 1 2 1 1 2 0 0 0 1 1 10\n0 90\n0\n100 100\n";

TEST(IesCommand, PrintsWhatTheFileHolds)
{
    const temporary_folder folder;
    folder.write("a.ies", quadrant);
    ASSERT_EQ(run_program(folder, { "ies", "a.ies" }), 0) << folder.read("errors.txt");
    const std::string text = folder.read("output.txt");
    for (const char* part :
        { "[LUMINAIRE] A & B", "LM-63-2002", "2 of 500 lm; 40 W", "1.2 m along C0 by 0.6 m",
            "type C; vertical 0 to 90 (7), horizontal 0 to 90 (2)", "in both planes",
            "1000 lm in lamps by the head", "200.0 cd at C90, 30 degrees from the axis; 200.0 cd/klm",
            "C0-C180       beam 179.0", "C90-C270      beam 178.0", "downwards     100.0 %" })
    {
        EXPECT_NE(text.find(part), std::string::npos) << part << "\n" << text;
    }
    ASSERT_EQ(run_program(folder, { "ies", "a.ies", "--json" }), 0);
    const auto j = nlohmann::json::parse(folder.read("output.txt"));
    EXPECT_EQ(j["lamp_lumens"], 1000);
    EXPECT_NEAR(j["efficacy"].get<double>(), j["lumens"].get<double>() / 40, 1e-6);
    EXPECT_NEAR(j["planes"][0]["field_deg"].get<double>(), 179.8, 0.11);
}

TEST(IesCommand, FailsWithFileAndLine)
{
    const temporary_folder folder;
    folder.write("bad.ies", std::string(even).replace(std::string(even).find("0 90"), 4, "9 90x"));
    const struct
    {
        std::vector<std::string> arguments;
        int code;
        const char* reason;
    } cases[] = {
        { { "ies", "none.ies" }, 3, "none.ies: no such file" },
        { { "ies", "bad.ies" }, 2, "bad.ies:4: \"90x\" is no number" },
        { { "ies", "bad.ies", "--plot", "a.xyz" }, 1, "a.xyz" },
        { { "ies", "bad.ies", "--distance", "0" }, 64, "distance" },
        { { "ies" }, 64, "FILE" },
    };
    for (const auto& c : cases)
    {
        EXPECT_EQ(run_program(folder, c.arguments), c.code);
        EXPECT_NE(folder.read("errors.txt").find(c.reason), std::string::npos) << folder.read("errors.txt");
    }
}

TEST(IesCommand, PlotsAndConverts)
{
    const temporary_folder folder;
    folder.write("a.ies", quadrant);
    ASSERT_EQ(run_program(folder, { "ies", "a.ies", "--plot", "a.svg", "--to", "b.ldt" }), 0);
    const std::string svg = folder.read("a.svg");
    EXPECT_NE(svg.find("A &amp; B"), std::string::npos);
    EXPECT_NE(svg.find("Rings in cd/klm"), std::string::npos);
    // The rings end at 200 cd/klm. In the plane of C90 the curve reaches them at 45 degrees, in that of C0
    // half way.
    const double radius = 336, x = 400, y = 92;
    const auto on_curve = [&](double share)
    {
        char point[64];
        std::snprintf(point, sizeof point, "%.2f,%.2f ", x + radius * share * std::sqrt(0.5),
            y + radius * share * std::sqrt(0.5));
        return std::string(point);
    };
    const size_t dashed = svg.find("stroke-dasharray"), whole = svg.find("stroke=\"#c8281e\"");
    ASSERT_LT(dashed, whole);
    EXPECT_NE(svg.substr(dashed, whole - dashed).find(on_curve(1.0)), std::string::npos);
    EXPECT_NE(svg.substr(whole).find(on_curve(0.5)), std::string::npos);
    ASSERT_EQ(run_program(folder, { "ies", "b.ldt", "--candela", "--plot", "b.png" }), 0);
    EXPECT_NE(folder.read("output.txt").find("200.0 cd at C90"), std::string::npos);
    EXPECT_GT(std::filesystem::file_size(folder.path / "b.png"), 5000u);
}

TEST(IesCommand, RendersTheLightOnTheWall)
{
    // 100 cd at half a metre: 400 lx where the wall is nearest, on a paint that reflects 0.75 ^ 2.2.
    const temporary_folder folder;
    folder.write("a.ies", even);
    ASSERT_EQ(run_program(folder, { "ies", "a.ies", "--wall", "w.hdr", "--height", "1.5" }), 0)
        << folder.read("errors.txt");
    std::string warning;
    const host::light_picture light = host::read_light(folder.path / "w.hdr", warning);
    double most = 0;
    for (int yy = 0; yy < light->height; ++yy)
    {
        for (int xx = 0; xx < light->width; ++xx)
        {
            pixel_components c;
            zr_unpack_internal_pixel(light.get(), zr_image_buffer_pixel(light.get(), xx, yy), &c, 0);
            most = std::max(most, double(c.surface[1]));
        }
    }
    EXPECT_NEAR(most, 400 * std::pow(0.75, 2.2) / M_PI, 0.03 * most);
}

TEST(Drawing, CoversThePixelsOfItsLines)
{
    host::drawing d{ 40, 20, {}, {} };
    d.lines.push_back({ { { 2, 5.5 }, { 38, 5.5 } }, { 0, 0, 0 }, 1 });
    d.lines.push_back({ { { 2, 12.5 }, { 38, 12.5 } }, { 255, 0, 0 }, 2, 6 });
    const std::vector<uint8_t> pixels = host::pixels_of(d);
    const auto at = [&](int x, int y)
    {
        return std::array<int, 3>{ pixels[size_t(3 * (40 * y + x))], pixels[size_t(3 * (40 * y + x) + 1)],
            pixels[size_t(3 * (40 * y + x) + 2)] };
    };
    using rgb = std::array<int, 3>;
    EXPECT_EQ(at(20, 5), (rgb{ 0, 0, 0 }));
    EXPECT_EQ(at(20, 4), (rgb{ 255, 255, 255 }));
    EXPECT_EQ(at(4, 12), (rgb{ 255, 0, 0 }));
    EXPECT_EQ(at(4, 11), (rgb{ 255, 128, 128 }));
    EXPECT_EQ(at(11, 12), (rgb{ 255, 255, 255 })); // a gap
    EXPECT_EQ(at(16, 12), (rgb{ 255, 0, 0 }));
    for (char32_t c = U' '; c < 0x7F; ++c)
    {
        for (const char* s = host::strokes_of(c); *s; s += *s == ' ' ? 1 : 2)
        {
            if (*s != ' ') { ASSERT_TRUE(s[0] <= '4' && s[1] >= '0' && s[1] <= '8') << char(c); }
        }
    }
}

} // namespace
