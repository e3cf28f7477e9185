#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "tests/support/temporary_folder.hpp"
#include "zirconlite/frame/error.h"
#include "zirconlite/lighting/goniometry.hpp"
#include "zirconlite/lighting/ies_file.h"

namespace
{

constexpr double degree = M_PI / 180.0;

/// A EULUMDAT file of 2 x 1500 lm, 0.2 by 1.2 m, with C-planes of intensities that are even up to 90 degrees.
std::string ldt(int symmetry, const std::vector<double>& planes, const std::vector<double>& intensities,
    const std::string& lamps = "2", const std::string& flux = "3000")
{
    std::string text = "A company\n3\n" + std::to_string(symmetry) + "\n" + std::to_string(planes.size()) +
                       "\n0\n2\n90\nR 7\nA luminaire\nN-12\na.ldt\n2020-02-02\n1200\n200\n80\n1200\n200\n"
                       "10\n0\n0\n0\n100\n80,5\n1.0\n0\n1\n" +
                       lamps + "\nT8\n" + flux + "\n3000K\n1B\n72\n";
    for (int i = 0; i < 10; ++i) { text += "0.5\n"; }
    for (double p : planes) { text += std::to_string(p) + "\n"; }
    text += "0\n90\n";
    for (double v : intensities) { text += std::to_string(v) + "\n" + std::to_string(v) + "\n"; }
    return text;
}

const std::vector<double> eighths = { 0, 45, 90, 135, 180, 225, 270, 315 };

TEST(EulumdatFile, ReadsEverySymmetry)
{
    // cd per 1000 lm of 3000 lm: a value of 100 is 300 cd.
    const struct
    {
        const char* what;
        std::string text;
        int32_t symmetry;
        std::vector<double> at_eighths; // cd at C0, C45 ... C315
    } cases[] = {
        { "none", ldt(0, eighths, { 10, 20, 30, 40, 50, 60, 70, 100 }), GONIOMETRY_FULL,
            { 30, 60, 90, 120, 150, 180, 210, 300 } },
        { "about the axis", ldt(1, eighths, { 100 }), GONIOMETRY_AXIAL,
            { 300, 300, 300, 300, 300, 300, 300, 300 } },
        { "C0 to C180", ldt(2, eighths, { 10, 20, 30, 40, 50 }), GONIOMETRY_HALF,
            { 30, 60, 90, 120, 150, 120, 90, 60 } },
        // Stored: C270, C315, C0, C45, C90.
        { "C90 to C270", ldt(3, eighths, { 10, 20, 30, 40, 50 }), GONIOMETRY_SIDE,
            { 90, 120, 150, 120, 90, 60, 30, 60 } },
        { "both", ldt(4, eighths, { 10, 20, 30 }), GONIOMETRY_QUADRANT, { 30, 60, 90, 60, 30, 60, 90, 60 } },
    };
    const temporary_folder folder;
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        folder.write("a.LDT", c.text);
        goniometry g = {};
        ASSERT_EQ(zr_read_ies_file(folder.wide("a.LDT").c_str(), &g), 1)
            << zr_last_error()->line << ": " << zr_last_error()->text;
        EXPECT_EQ(g.symmetry, c.symmetry);
        double mean = 0.0;
        for (size_t i = 0; i < 8; ++i)
        {
            const double azimuth = (i > 4 ? eighths[i] - 360 : eighths[i]) * degree;
            EXPECT_NEAR(zr::goniometry_value(g, azimuth, 1.0) * g.peak_candela, c.at_eighths[i], 1e-3) << i;
            mean += c.at_eighths[i] / 8;
        }
        EXPECT_NEAR(g.lumens, 2 * M_PI * mean, 1e-4 * g.lumens);
        zr::clear_goniometry(g);
    }
}

TEST(EulumdatFile, KeepsWhatItsHeadSays)
{
    const temporary_folder folder;
    for (const bool is_absolute : { false, true })
    {
        folder.write("a.ldt", ldt(1, { 0 }, { 100 }, is_absolute ? "-2" : "2"));
        ies_file* file = zr_open_ies_file(folder.wide("a.ldt").c_str());
        ASSERT_NE(file, nullptr) << zr_last_error()->text;
        EXPECT_EQ(file->format, IES_EULUMDAT);
        const char* labels[] = { "[MANUFAC] A company", "[TEST] R 7", "[LUMINAIRE] A luminaire",
            "[LUMCAT] N-12", "[ISSUEDATE] 2020-02-02", "[LAMP] T8" };
        ASSERT_EQ(file->label_count, 6);
        for (int i = 0; i < 6; ++i) { EXPECT_STREQ(file->labels[i], labels[i]); }
        EXPECT_EQ(file->lamp_count, 2);
        EXPECT_EQ(file->lumens_per_lamp, is_absolute ? -1.0f : 1500.0f);
        EXPECT_EQ(file->input_watts, 72.0f);
        // The length of EULUMDAT lies in the plane of C90 and C270.
        EXPECT_EQ(file->opening.shape, LUMINOUS_BOX);
        EXPECT_NEAR(file->opening.width, 1.2, 1e-6);
        EXPECT_NEAR(file->opening.length, 0.2, 1e-6);
        EXPECT_NEAR(file->opening.height, 0.01, 1e-6);
        zr_free_ies_file(file);
    }
    // LM-63 under a wrong name.
    folder.write("b.ldt", "IESNA91\nTILT=NONE\n1 1 1 2 1 1 2 0 0 0 1 1 1\n0 90\n0\n1 1\n");
    ies_file* file = zr_open_ies_file(folder.wide("b.ldt").c_str());
    ASSERT_NE(file, nullptr) << zr_last_error()->text;
    EXPECT_EQ(file->format, IES_LM63_1991);
    zr_free_ies_file(file);
}

TEST(EulumdatFile, SaysWhichLineIsWrong)
{
    const auto changed = [](std::string text, int line, const std::string& to)
    {
        size_t at = 0;
        for (int i = 1; i < line; ++i) { at = text.find('\n', at) + 1; }
        return text.replace(at, text.find('\n', at) - at, to);
    };
    const std::string good = ldt(4, eighths, { 10, 20, 30 });
    const struct
    {
        std::string text;
        int32_t line;
        const char* reason;
    } cases[] = {
        { changed(good, 3, "5"), 3, "must be 0 to 4 and is 5" },
        { changed(good, 4, "7"), 6, "a multiple of 4" },
        { changed(good, 6, "2000000000"), 6, "do not fit" },
        { changed(good, 22, "eighty"), 22, "\"eighty\" is no number" },
        { changed(good, 26, "0"), 26, "0 sets of lamps" },
        { changed(good, 29, "0"), 29, "flux of the lamps must be above 0" },
        { changed(good, 43, "5"), 43, "first C-plane is 5" },
        { changed(good, 45, "20"), 45, "C-plane 3 is 20, which is not above the 45" },
        { changed(good, 45, "91"), 58, "run from 0 to 91; 0 to 90 was expected" },
        { changed(good, 52, "181"), 52, "vertical angle 2 is 181" },
        { changed(good, 55, "-1"), 55, "intensity 1 of plane 2 is below 0" },
        { good.substr(0, good.size() - 10), 58, "ends where an intensity" },
        { ldt(1, { 0 }, { 0 }), 47, "every intensity is 0" },
        { "", 1, "ends where the company" },
    };
    const temporary_folder folder;
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.reason);
        folder.write("a.ldt", c.text);
        EXPECT_EQ(zr_open_ies_file(folder.wide("a.ldt").c_str()), nullptr);
        EXPECT_NE(std::string(zr_last_error()->text).find(c.reason), std::string::npos)
            << zr_last_error()->text;
        EXPECT_EQ(zr_last_error()->line, c.line) << zr_last_error()->text;
    }
}

TEST(PhotometricWriter, GivesBackWhatItRead)
{
    const char* head = "IESNA:LM-63-1995\n[TEST] 4\n[MANUFAC] \xC3\x89lan\nno keyword\n";
    const char* rest = " 1 2 -0.3 -0.3 0\n0.9 1 40\n0 22.5 90\n";
    const auto lm63 = [&](const std::string& horizontal, int rows, const char* lumens = "750",
                          const char* tilt = "TILT=NONE\n")
    {
        std::string text = head + std::string(tilt) + "2 " + lumens + " 1.5 3 " + std::to_string(rows) +
                           rest + horizontal + "\n";
        const bool closes = horizontal.find("360") != std::string::npos;
        for (int i = 0; i < rows; ++i)
        {
            const int k = closes && i == rows - 1 ? 0 : i;
            text += std::to_string(100.1 + 7 * k) + " 80.25 " + std::to_string(k) + "\n";
        }
        return text;
    };
    const struct
    {
        const char* what;
        const char* name;
        std::string text;
    } cases[] = {
        { "axial", "a.ies", lm63("0", 1) },
        { "quadrant", "a.ies", lm63("0 30 90", 3) },
        { "half", "a.ies", lm63("0 60 90 180", 4) },
        { "side", "a.ies", lm63("90 135 180 225 270", 5) },
        { "side of uneven planes", "a.ies", lm63("90 100 180 190 200 270", 6) },
        { "full", "a.ies", lm63("0 90 180 270 350 360", 6) },
        { "absolute", "a.ies", lm63("0", 1, "-1") },
        { "tilt", "a.ies", lm63("0", 1, "750", "TILT=INCLUDE\n1 2 0 90 1.0 .9\n") },
        { "type B", "a.ies",
            std::string("IESNA91\n[TEST] 4\n[MANUFAC] M\nTILT=NONE\n1 900 1 3 3 2 2 0.5 0.4 0\n1 1 40\n") +
                "-60 0 60\n0 20 50\n90 100 50\n70 80 40\n10 20 5\n" },
        { "EULUMDAT, none", "a.ldt", ldt(0, eighths, { 10, 20, 30, 40, 50, 60, 70, 100 }) },
        { "EULUMDAT, axis", "a.ldt", ldt(1, eighths, { 100 }) },
        { "EULUMDAT, half", "a.ldt", ldt(2, eighths, { 10, 20, 30, 40, 50 }) },
        { "EULUMDAT, side", "a.ldt", ldt(3, eighths, { 10, 20, 30, 40, 50 }) },
        { "EULUMDAT, both", "a.ldt", ldt(4, eighths, { 10, 20, 30 }) },
    };
    const temporary_folder folder;
    for (const auto& c : cases)
    {
        for (const char* to : { "b.ies", "b.ldt" })
        {
            SCOPED_TRACE(std::string(c.what) + " to " + to);
            folder.write(c.name, c.text);
            ies_file* from = zr_open_ies_file(folder.wide(c.name).c_str());
            ASSERT_NE(from, nullptr) << zr_last_error()->text;
            ASSERT_EQ(zr_write_ies_file(folder.wide(to).c_str(), from), 1) << zr_last_error()->text;
            ies_file* again = zr_open_ies_file(folder.wide(to).c_str());
            ASSERT_NE(again, nullptr) << zr_last_error()->line << ": " << zr_last_error()->text;
            EXPECT_EQ(again->lamp_count, from->lamp_count);
            EXPECT_NEAR(again->lumens_per_lamp, from->lumens_per_lamp, 1e-3);
            EXPECT_EQ(again->input_watts, from->input_watts);
            EXPECT_EQ(again->opening.shape, from->opening.shape);
            EXPECT_NEAR(again->opening.width, from->opening.width, 1e-6);
            EXPECT_NEAR(again->opening.length, from->opening.length, 1e-6);
            EXPECT_STREQ(again->labels[0], from->format == IES_EULUMDAT || again->format != IES_EULUMDAT
                                               ? from->labels[0]
                                               : from->labels[1]);
            if (again->format != IES_EULUMDAT)
            {
                ASSERT_EQ(again->tilt_count, from->tilt_count);
                if (from->tilt_count) { EXPECT_EQ(again->tilt_factors[1], from->tilt_factors[1]); }
                EXPECT_EQ(again->label_count, from->label_count);
            }
            goniometry a = {}, b = {};
            ASSERT_EQ(zr_fill_goniometry(from, &a), 1);
            ASSERT_EQ(zr_fill_goniometry(again, &b), 1);
            EXPECT_NEAR(b.lumens, a.lumens, 1e-5 * a.lumens);
            EXPECT_NEAR(b.peak_candela, a.peak_candela, 1e-5 * a.peak_candela);
            for (double azimuth = -175; azimuth < 180; azimuth += 12.5)
            {
                EXPECT_NEAR(zr::goniometry_value(b, azimuth * degree, 0.5),
                    zr::goniometry_value(a, azimuth * degree, 0.5), 1e-5)
                    << azimuth;
            }
            zr::clear_goniometry(a);
            zr::clear_goniometry(b);
            zr_free_ies_file(from);
            zr_free_ies_file(again);
        }
    }
    EXPECT_EQ(zr_write_ies_file(folder.wide("none/a.ies").c_str(), nullptr), 0);
    // A single direction has no lumens, which EULUMDAT divides by.
    folder.write("a.ies", "IESNA91\nTILT=NONE\n1 -1 1 1 1 1 2 0 0 0\n1 1 40\n0\n0\n100\n");
    ies_file* beam = zr_open_ies_file(folder.wide("a.ies").c_str());
    ASSERT_NE(beam, nullptr) << zr_last_error()->text;
    EXPECT_EQ(zr_write_ies_file(folder.wide("c.ies").c_str(), beam), 1);
    EXPECT_EQ(zr_write_ies_file(folder.wide("c.ldt").c_str(), beam), 0);
    EXPECT_EQ(zr_write_ies_file(folder.wide("none/c.ies").c_str(), beam), 0);
    EXPECT_EQ(zr_last_error()->code, ZR_ERROR_WRITE);
    zr_free_ies_file(beam);
}

} // namespace
