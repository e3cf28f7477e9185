#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "tests/support/temporary_folder.hpp"
#include "zirconlite/frame/error.h"
#include "zirconlite/lighting/goniometry.hpp"
#include "zirconlite/lighting/ies_file.h"

namespace
{

constexpr double degree = M_PI / 180.0;

/// The parts of a small LM-63 file, each of which a test may replace.
struct ies_text
{
    std::string heading = "IESNA:LM-63-1995\n";
    std::string labels = "[TEST] 12\n";
    std::string tilt = "TILT=NONE\n";
    std::string lamps = "1 1000 2 ";
    std::string counts = "3 2 ";
    std::string sizes = "1 2 0.5 0.25 0\n";
    std::string ballast = "1.0 1.0 40\n";
    std::string vertical = "0 45 90\n";
    std::string horizontal = "0 90\n";
    std::string candela = "100 80 0\n100 50 0\n";

    std::string text() const
    {
        return heading + labels + tilt + lamps + counts + sizes + ballast + vertical + horizontal + candela;
    }
};

/// Opens and frees.
struct opened_ies
{
    explicit opened_ies(const std::u16string& path) : file(zr_open_ies_file(path.c_str())) {}
    ~opened_ies() { zr_free_ies_file(file); }
    opened_ies(const opened_ies&) = delete;
    opened_ies& operator=(const opened_ies&) = delete;
    ies_file* operator->() const { return file; }
    ies_file* file;
};

TEST(IesFile, ReadsEveryEditionLineEndAndEncoding)
{
    const ies_text plain;
    const auto with = [](auto change)
    {
        ies_text t;
        change(t);
        return t.text();
    };
    const auto replaced = [](std::string text, const std::string& from, const std::string& to)
    {
        for (size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size())
        {
            text.replace(at, from.size(), to);
        }
        return text;
    };
    const auto utf16 = [](const std::string& text)
    {
        std::string units = "\xFF\xFE";
        for (char c : text) { (units += c) += '\0'; }
        return units;
    };
    const struct
    {
        const char* what;
        std::string text;
        int32_t format, labels;
    } cases[] = {
        { "1986, no heading", with([](auto& t) { t.heading = "Some luminaire\n"; }), IES_LM63_1986, 2 },
        { "1991", with([](auto& t) { t.heading = "IESNA91\n"; }), IES_LM63_1991, 1 },
        { "1995", plain.text(), IES_LM63_1995, 1 },
        { "2002", with([](auto& t) { t.heading = "IESNA:LM-63-2002\n"; }), IES_LM63_2002, 1 },
        { "2019", with([](auto& t) { t.heading = "IES:LM-63-2019\n"; }), IES_LM63_2019, 1 },
        { "blanks behind the heading", with([](auto& t) { t.heading = "IESNA91 \t \n"; }), IES_LM63_1991, 1 },
        { "CR LF", replaced(plain.text(), "\n", "\r\n"), IES_LM63_1995, 1 },
        { "CR", replaced(plain.text(), "\n", "\r"), IES_LM63_1995, 1 },
        { "UTF-8 with its mark", "\xEF\xBB\xBF" + plain.text(), IES_LM63_1995, 1 },
        { "UTF-16", utf16(plain.text()), IES_LM63_1995, 1 },
        { "commas", with([](auto& t) { t.candela = "100,80, 0 ,100\n50,,0"; }), IES_LM63_1995, 1 },
        { "every number on a line", with([](auto& t) { t.candela = "100\n80\n0\n\n100\n50\n0"; }),
            IES_LM63_1995, 1 },
        { "signs and exponents", with([](auto& t) { t.candela = "+1e2 8E+1 .0 1000.0e-1 +50. 0\n"; }),
            IES_LM63_1995, 1 },
        { "integers written as reals", with([](auto& t) { t.counts = "3.0 2. "; }), IES_LM63_1995, 1 },
        { "a very long line", with([](auto& t) { t.labels = "[TEST] " + std::string(100000, 'x') + "\n"; }),
            IES_LM63_1995, 1 },
        { "a mark of the end", plain.text() + "\x1A", IES_LM63_1995, 1 },
    };
    const temporary_folder folder;
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        folder.write("a.ies", c.text);
        const opened_ies ies(folder.wide("a.ies"));
        ASSERT_NE(ies.file, nullptr) << zr_last_error()->line << ": " << zr_last_error()->text;
        EXPECT_EQ(ies->format, c.format);
        EXPECT_EQ(ies->label_count, c.labels);
        ASSERT_EQ(ies->vertical_count, 3);
        ASSERT_EQ(ies->horizontal_count, 2);
        EXPECT_EQ(ies->vertical_angles[1], 45.0f);
        EXPECT_EQ(ies->horizontal_angles[1], 90.0f);
        const float candela[] = { 100, 80, 0, 100, 50, 0 };
        for (int i = 0; i < 6; ++i) { EXPECT_EQ(ies->candela[i], candela[i]); }
        EXPECT_EQ(ies->input_watts, 40.0f);
    }
    folder.write("latin.ies", with([](auto& t) { t.labels = "[LAMP] 30\xB0\x07\n"; }));
    const opened_ies latin(folder.wide("latin.ies"));
    ASSERT_NE(latin.file, nullptr);
    EXPECT_STREQ(latin->labels[0], "[LAMP] 30\xC2\xB0");
}

TEST(IesFile, GivesTheLightThatItsTableHolds)
{
    const struct
    {
        const char* what;
        std::string horizontal, candela, lamps, ballast, sizes;
        int32_t symmetry;
        double peak, lumens;
    } cases[] = {
        // Even over the half sphere below: 2 pi x peak.
        { "axial", "0", "50 50 50", "1 1000 2 ", "1 1 40\n", "1 2 0 0 0\n", 1, 100, 200 * M_PI },
        { "ballast below 1", "0", "50 50 50", "1 1000 2 ", "0.9 1 40\n", "1 2 0 0 0\n", 1, 90, 180 * M_PI },
        { "ballast above 1", "0", "50 50 50", "1 1000 2 ", "1.2 1 40\n", "1 2 0 0 0\n", 1, 120, 240 * M_PI },
        { "absolute", "0", "50 50 50", "1 -1 2 ", "1 1 40\n", "1 2 0 0 0\n", 1, 100, 200 * M_PI },
        { "quadrant", "0 90", "0 0 0 50 50 50", "1 1000 1 ", "1 1 40\n", "1 2 0 0 0\n", 2, 50, 50 * M_PI },
        { "half", "0 180", "0 0 0 50 50 50", "1 1000 1 ", "1 1 40\n", "1 2 0 0 0\n", 3, 50, 50 * M_PI },
        { "side", "90 270", "0 0 0 50 50 50", "1 1000 1 ", "1 1 40\n", "1 2 0 0 0\n", 4, 50, 50 * M_PI },
        { "full", "0 360", "0 0 0 50 50 50", "1 1000 1 ", "1 1 40\n", "1 2 0 0 0\n", 0, 50, 50 * M_PI },
        { "from -180", "-180 180", "0 0 0 50 50 50", "1 1000 1 ", "1 1 40\n", "1 2 0 0 0\n", 0, 50,
            50 * M_PI },
    };
    const temporary_folder folder;
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        ies_text t;
        t.horizontal = c.horizontal + "\n";
        t.counts = c.horizontal.find(' ') == std::string::npos ? "3 1 " : "3 2 ";
        t.candela = c.candela;
        t.lamps = c.lamps;
        t.ballast = c.ballast;
        t.sizes = c.sizes;
        folder.write("a.ies", t.text());
        goniometry g = {};
        ASSERT_EQ(zr_read_ies_file(folder.wide("a.ies").c_str(), &g), 1) << zr_last_error()->text;
        EXPECT_EQ(g.symmetry, c.symmetry);
        EXPECT_NEAR(g.peak_candela, c.peak, 1e-5 * c.peak);
        EXPECT_NEAR(g.lumens, c.lumens, 1e-5 * c.lumens);
        EXPECT_NEAR(g.lm_per_cd, c.lumens / c.peak, 1e-5 * c.lumens / c.peak);
        EXPECT_NEAR(g.vertical_angles[1], 45 * degree, 1e-7);
        // A second file takes the place of the first; one that fails leaves it.
        EXPECT_EQ(zr_read_ies_file(folder.wide("a.ies").c_str(), &g), 1);
        EXPECT_EQ(zr_read_ies_file(folder.wide("none.ies").c_str(), &g), 0);
        EXPECT_NEAR(g.peak_candela, c.peak, 1e-5 * c.peak);
        zr::clear_goniometry(g);
    }
}

TEST(IesFile, TurnsTheOtherTypesOfPhotometry)
{
    // A beam 30 degrees to the right of the axis and 20 above it, and what type C calls this direction. Type
    // B counts its angles from straight down, type A from the horizon ahead.
    const double h = 30 * degree, v = 20 * degree;
    const struct
    {
        const char* what;
        std::string type, horizontal, counts;
        int32_t symmetry;
        double down, ahead, right;
    } cases[] = {
        { "B", "2", "-90 20 30 40 90", "5 5 ", GONIOMETRY_FULL, std::cos(h) * std::cos(v),
            std::cos(h) * std::sin(v), std::sin(h) },
        { "B, both sides", "2", "0 20 30 40 90", "5 5 ", GONIOMETRY_HALF, std::cos(h) * std::cos(v),
            std::cos(h) * std::sin(v), std::sin(h) },
        { "A", "3", "-90 20 30 40 90", "5 5 ", GONIOMETRY_FULL, -std::sin(v), std::cos(v) * std::cos(h),
            std::cos(v) * std::sin(h) },
        { "A, both sides", "3", "0 20 30 40 90", "5 5 ", GONIOMETRY_HALF, -std::sin(v),
            std::cos(v) * std::cos(h), std::cos(v) * std::sin(h) },
    };
    const temporary_folder folder;
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        ies_text t;
        t.counts = c.counts;
        t.sizes = c.type + " 2 0 0 0\n";
        t.vertical = "-90 10 20 30 90\n";
        t.horizontal = c.horizontal + "\n";
        t.candela = "0 0 0 0 0\n0 0 0 0 0\n0 0 100 0 0\n0 0 0 0 0\n0 0 0 0 0\n";
        folder.write("a.ies", t.text());
        goniometry g = {};
        ASSERT_EQ(zr_read_ies_file(folder.wide("a.ies").c_str(), &g), 1) << zr_last_error()->text;
        EXPECT_EQ(g.symmetry, c.symmetry);
        // Counter-clockwise seen from above, so what is to the right is at negative azimuths.
        const double polar = std::acos(c.down), azimuth = std::atan2(-c.right, c.ahead);
        EXPECT_GT(zr::goniometry_value(g, azimuth, polar), 0.75);
        EXPECT_LT(zr::goniometry_value(g, azimuth, polar + 12 * degree), 0.05);
        EXPECT_LT(zr::goniometry_value(g, azimuth + M_PI, polar), 0.05);
        const double other_side = zr::goniometry_value(g, -azimuth, polar);
        if (c.symmetry == GONIOMETRY_HALF) { EXPECT_GT(other_side, 0.75); }
        else { EXPECT_LT(other_side, 0.05); }
        // A pyramid over a patch of 20 by 20 degrees; the patch shrinks by the cosine of its latitude.
        const double latitude = c.type == "2" ? h : v, sides = c.symmetry == GONIOMETRY_HALF ? 2 : 1;
        const double lumens = 200.0 * sides * 100 * degree * degree * std::cos(latitude);
        EXPECT_NEAR(g.lumens, lumens, 0.01 * lumens);
        zr::clear_goniometry(g);
    }
}

TEST(IesFile, KnowsTheOpening)
{
    const struct
    {
        const char* sizes;
        int32_t shape;
        double width, length, height;
    } cases[] = {
        { "0 0 0", LUMINOUS_POINT, 0, 0, 0 },
        { ".5 1.5 0", LUMINOUS_RECTANGLE, .5, 1.5, 0 },
        { ".5 1.5 .1", LUMINOUS_BOX, .5, 1.5, .1 },
        { "-.2 0 0", LUMINOUS_DISK, .2, .2, 0 },
        { "-.2 -.2 0", LUMINOUS_DISK, .2, .2, 0 },
        { "-.2 0 .4", LUMINOUS_CYLINDER, .2, .2, .4 },
        { "-.2 -.2 -.2", LUMINOUS_SPHERE, .2, .2, .2 },
        { "0 1.2 -.04", LUMINOUS_TUBE, .04, 1.2, .04 },
        { "-.04 1.2 -.04", LUMINOUS_TUBE, .04, 1.2, .04 },
        { "1.2 -.04 -.04", LUMINOUS_TUBE, 1.2, .04, .04 },
        { "-.2 0 -.2", LUMINOUS_UPRIGHT, .2, 0, .2 },
    };
    const temporary_folder folder;
    for (const auto& c : cases)
    {
        for (const double unit : { 0.3048, 1.0 })
        {
            SCOPED_TRACE(testing::Message() << c.sizes << " x " << unit);
            ies_text t;
            t.sizes = std::string(unit == 1.0 ? "1 2 " : "1 1 ") + c.sizes + "\n";
            folder.write("a.ies", t.text());
            const opened_ies ies(folder.wide("a.ies"));
            ASSERT_NE(ies.file, nullptr) << zr_last_error()->text;
            EXPECT_EQ(ies->opening.shape, c.shape);
            EXPECT_NEAR(ies->opening.width, c.width * unit, 1e-6);
            EXPECT_NEAR(ies->opening.length, c.length * unit, 1e-6);
            EXPECT_NEAR(ies->opening.height, c.height * unit, 1e-6);
        }
    }
}

TEST(IesFile, ReadsTiltInTheFileAndBesideIt)
{
    const temporary_folder folder;
    const std::string tilt = "2\n3\n0 45\n90\n1.0 .95 .9\n";
    ies_text t;
    t.tilt = "TILT=INCLUDE\n" + tilt;
    folder.write("inside.ies", t.text());
    t.tilt = "TILT=Lamp.TLT\n";
    folder.write("sub/beside.ies", t.text());
    folder.write("sub/lamp.tlt", tilt);
    for (const char* name : { "inside.ies", "sub/beside.ies" })
    {
        SCOPED_TRACE(name);
        const opened_ies ies(folder.wide(name));
        ASSERT_NE(ies.file, nullptr) << zr_last_error()->text;
        EXPECT_EQ(ies->lamp_to_luminaire, 2);
        ASSERT_EQ(ies->tilt_count, 3);
        EXPECT_EQ(ies->tilt_angles[2], 90.0f);
        EXPECT_EQ(ies->tilt_factors[1], 0.95f);
        EXPECT_EQ(ies->candela[1], 80.0f);
    }
}

TEST(IesFile, SaysWhichLineIsWrong)
{
    const auto with = [](auto change)
    {
        ies_text t;
        change(t);
        return t.text();
    };
    const struct
    {
        const char* what;
        std::string text;
        int32_t line;
        const char* reason;
    } cases[] = {
        { "empty", "", 1, "without a line TILT=" },
        { "no tilt", with([](auto& t) { t.tilt = ""; }), 8, "without a line TILT=" },
        { "tilt of nothing", with([](auto& t) { t.tilt = "TILT= \n"; }), 3, "followed by nothing" },
        { "missing tilt file", with([](auto& t) { t.tilt = "TILT=none.tlt\n"; }), 3,
            "\"none.tlt\" not found beside" },
        { "tilt from a folder", with([](auto& t) { t.tilt = "TILT=sub\n"; }), 3, "is not a file" },
        { "tilt from itself", with([](auto& t) { t.tilt = "TILT=a.ies\n"; }), 3, "names itself" },
        { "tilt count", with([](auto& t) { t.tilt = "TILT=INCLUDE\n1\n9000 0 1\n"; }), 5,
            "9000 tilt angles" },
        { "tilt geometry", with([](auto& t) { t.tilt = "TILT=INCLUDE\n4\n1 0 1\n"; }), 4,
            "1, 2 or 3 and is 4" },
        { "no lamp", with([](auto& t) { t.lamps = "0 1000 1 "; }), 5, "0 lamps" },
        { "multiplier 0", with([](auto& t) { t.lamps = "1 1000 0 "; }), 5, "multiplier must be above 0" },
        { "ballast 0", with([](auto& t) { t.ballast = "0 1 40\n"; }), 5, "ballast factor must be above 0" },
        { "no angle", with([](auto& t) { t.counts = "0 2 "; }), 4, "at least 1" },
        { "half an angle", with([](auto& t) { t.counts = "3.5 2 "; }), 4, "whole number and is 3.5" },
        { "huge counts", with([](auto& t) { t.counts = "2147483647 2147483647 "; }), 4, "do not fit" },
        { "count beyond all integers", with([](auto& t) { t.counts = "1e30 2 "; }), 4, "whole number" },
        { "unknown type", with([](auto& t) { t.sizes = "4 2 0 0 0\n"; }), 4,
            "1 (C), 2 (B) or 3 (A) and is 4" },
        { "unknown unit", with([](auto& t) { t.sizes = "1 3 0 0 0\n"; }), 4, "feet" },
        { "text in a number", with([](auto& t) { t.vertical = "0 4S 90\n"; }), 6, "\"4S\" is no number" },
        { "not a number", with([](auto& t) { t.candela = "100 nan 0\n1 1 1"; }), 8, "\"nan\" is no number" },
        { "infinite", with([](auto& t) { t.candela = "100 inf 0\n1 1 1"; }), 8, "\"inf\" is no number" },
        { "hexadecimal", with([](auto& t) { t.candela = "100 0x10 0\n1 1 1"; }), 8, "\"0x10\" is no number" },
        { "two points", with([](auto& t) { t.candela = "100 1.2.3 0\n1 1 1"; }), 8, "is no number" },
        { "two signs", with([](auto& t) { t.candela = "100 +-1 0\n1 1 1"; }), 8, "is no number" },
        { "beyond a float", with([](auto& t) { t.candela = "100\n1e39 0\n1 1 1"; }), 9, "too large" },
        { "falling angles", with([](auto& t) { t.vertical = "0\n45\n40\n"; }), 8,
            "angle 3 is 40, which is not above the 45" },
        { "equal angles", with([](auto& t) { t.horizontal = "90 90\n"; }), 7, "not above the 90" },
        { "above the zenith", with([](auto& t) { t.vertical = "0 90 181\n"; }), 6, "0 to 180 was expected" },
        { "below the nadir", with([](auto& t) { t.vertical = "-5 45 90\n"; }), 6, "0 to 180 was expected" },
        { "all dark", with([](auto& t) { t.candela = "0 0 0\n0 0 0\n"; }), 9, "every candela value is 0" },
        { "less than dark", with([](auto& t) { t.candela = "1 1 1\n1 -1 0\n"; }), 9,
            "value 2 of row 2 is below 0" },
        { "too few values", with([](auto& t) { t.candela = "100 80 0\n100\n"; }), 10,
            "ends where a candela value" },
        { "too many values", with([](auto& t) { t.candela += "12\n"; }), 10, "the counts are wrong" },
        { "type B of one plane", with([](auto& t) { t.sizes = "2 2 0 0 0\n", t.counts = "3 1 "; }), 5,
            "type B" },
    };
    const temporary_folder folder;
    folder.write("sub/b.tlt", "TILT=c.tlt\n");
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        folder.write("a.ies", c.text);
        goniometry g = {};
        EXPECT_EQ(zr_read_ies_file(folder.wide("a.ies").c_str(), &g), 0);
        EXPECT_EQ(g.rows, nullptr);
        const zr_status& why = *zr_last_error();
        EXPECT_NE(std::string(why.text).find(c.reason), std::string::npos) << why.text;
        EXPECT_EQ(why.line, c.line) << why.text;
        EXPECT_EQ(std::string(why.file), (folder.path / "a.ies").string());
    }
    // A fault in a tilt file is one of that file.
    folder.write("a.ies", with([](auto& t) { t.tilt = "TILT=b.tlt\n"; }));
    folder.write("b.tlt", "\nTILT=a.ies\n");
    EXPECT_EQ(zr_open_ies_file(folder.wide("a.ies").c_str()), nullptr);
    EXPECT_EQ(std::string(zr_last_error()->file), (folder.path / "b.tlt").string());
    EXPECT_EQ(zr_last_error()->line, 2);
    EXPECT_EQ(std::string(zr_last_error()->text), "a tilt file cannot name another one");
}

} // namespace
