// Settings files: texts to the letter, round trips field by field, and what damaged ones do.
#include "zirconlite/settings/settings_text.hpp"

#include <gtest/gtest.h>

#include <string.h>

#include <clocale>
#include <string>

#include "tests/support/scene.hpp"
#include "zirconlite/environment/environment_settings.h"
#include "zirconlite/frame/error.h"
#include "zirconlite/frame/memory.h"
#include "zirconlite/lighting/sun_sky.h"

namespace
{

using namespace zr;

/// A stream in memory.
struct stream
{
    explicit stream(const std::u16string& text = u"") : file(std::tmpfile())
    {
        for (const char16_t c : text)
        {
            std::fputc(c & 0xff, file);
            std::fputc(c >> 8, file);
        }
        std::rewind(file);
    }
    ~stream() { std::fclose(file); }
    std::u16string text()
    {
        std::u16string out;
        std::rewind(file);
        for (int low, high; (low = std::fgetc(file)) != EOF && (high = std::fgetc(file)) != EOF;)
        {
            out += char16_t(low | high << 8);
        }
        std::rewind(file);
        return out;
    }
    FILE* file;
};

std::u16string line_of(const std::u16string& text, const std::u16string& key)
{
    const size_t at = text.find(u"\n" + key + u"=");
    return at == std::u16string::npos ? u"none" : text.substr(at + 1, text.find(u'\n', at + 1) - at - 1);
}

} // namespace

TEST(SettingsFiles, SunAndSkyComeBackFieldByField)
{
    test::scene from, to;
    sun_sky& k = *from.doc->sun_sky;
    k.flags = SUN_BY_ANGLES | SUN_RGB_COLORS;
    k.north = 0.25;
    k.cloudiness = 0.5;
    k.latitude = 59.5;
    k.longitude = 10.75;
    k.time_zone = 1.0;
    std::u16string(u"São \U0001F3D9 Paulo").copy(k.place, 40);
    k.daylight_saving = 1;
    k.day_of_year = 200;
    k.local_minutes = 615;
    k.sun_ct1 = 2600.0f;
    k.direct_sun_rgb[2] = 0.125f;
    k.direct_altitude = 0.5f;
    k.sky_intensity = 3.0f;
    to.doc->sun_sky->sun_size = 0.75;
    stream s;
    std::setlocale(LC_ALL, "de_DE.UTF-8");
    ASSERT_EQ(save_sunsky_config_info(s.file, from.doc), 1);
    const std::u16string text = s.text();
    EXPECT_EQ(text.substr(0, 19), u"#ZR3 SUNSKY\nFLAGS=3");
    EXPECT_EQ(text.substr(text.size() - 5), u"\n#END");
    EXPECT_EQ(line_of(text, u"TIME ZONE"), u"TIME ZONE=60");
    EXPECT_EQ(line_of(text, u"SUN RGB"), u"SUN RGB=1.000000\t1.000000\t0.125000");
    ASSERT_EQ(zr_read_settings_head(s.file), SETTINGS_SUN_SKY);
    ASSERT_EQ(read_sunsky_config_info(s.file, to.doc), 1);
    std::setlocale(LC_ALL, "C");
    stream again;
    save_sunsky_config_info(again.file, to.doc);
    EXPECT_EQ(again.text(), text);
    EXPECT_EQ(to.doc->sun_sky->sun_size, 0.75) << "is not in the file";
    EXPECT_EQ(to.doc->sun_sky_flags, 0u) << "the scene switches the sun on";
}

TEST(SettingsFiles, EnvironmentsComeBackFieldByField)
{
    test::scene from, to;
    document& d = *from.doc;
    environment& e = d.environment;
    d.environment_flags = 0x80000000u | ENVIRONMENT_HAZE;
    e.mode = ENVIRONMENT_GRADIENT_3;
    e.color2[1] = 0.5f;
    e.angle1 = 0.375;
    d.fog_distance = 1234.5;
    d.ground_material_name = zr_dupestring(u"Grass tall");
    e.cu_scale[2] = 1.5f;
    e.cloud_seed = -3;
    e.cloud_offset[0] = -0.25f;
    e.image_flags = BACKGROUND_FIT | BACKGROUND_TILE | BACKGROUND_MIRROR;
    e.image_spherical_angles[3] = 6.25f;
    std::u16string(u"back\\sky.jpg").copy(e.image_filename, 20);
    e.mask_blur = 0.75f;
    to.doc->ground_material_library = zr_dupestring(u"kept");
    stream s;
    ASSERT_EQ(save_environment_config_info(s.file, from.doc), 1);
    const std::u16string text = s.text();
    EXPECT_EQ(line_of(text, u"GP LIBRARY"), u"none") << "there is no string";
    EXPECT_EQ(line_of(text, u"IMAGE TILE MODE"), u"IMAGE TILE MODE=2");
    ASSERT_EQ(zr_read_settings_head(s.file), SETTINGS_ENVIRONMENT);
    ASSERT_EQ(zr_read_environment_config_info(s.file, to.doc), 1);
    EXPECT_EQ(std::u16string(to.doc->ground_material_library), u"kept");
    zr_free(to.doc->ground_material_library);
    to.doc->ground_material_library = nullptr;
    stream again;
    save_environment_config_info(again.file, to.doc);
    EXPECT_EQ(again.text(), text);
    EXPECT_EQ(to.doc->environment.image_flags, e.image_flags);
    EXPECT_EQ(to.doc->environment_flags, d.environment_flags);

    environment_settings general = *get_global_env_ptrs(nullptr);
    const environment_picture_settings picture = {};
    general.mode = ENVIRONMENT_FLAT;
    ASSERT_EQ(zr_store_environment_info(&general, &picture, to.doc), 1);
    EXPECT_EQ(to.doc->environment.mode, ENVIRONMENT_FLAT);
    EXPECT_EQ(get_global_env_ptrs(nullptr)->mode, ENVIRONMENT_GRADIENT_3) << "the working copy is as before";
}

TEST(SettingsFiles, LinesThatAreNotWholeLeaveTheirFields)
{
    const std::u16string tail(600, u'x');
    struct
    {
        const char* what;
        std::u16string body;
        uint32_t flags;
        double north;
        std::u16string place;
    } const cases[] = {
        { "one key", u"FLAGS=2\n#END", 2, 9.0, u"old" },
        { "no end", u"NORTH=1.5", 0, 1.5, u"old" },
        { "behind the end", u"#END\nNORTH=1.5", 0, 9.0, u"old" },
        { "a blank in a text", u"PLACE=New York\n", 0, 9.0, u"New York" },
        { "a text is cut at an equals sign", u"PLACE=New=York\n", 0, 9.0, u"New" },
        { "no value", u"NORTH=\nPLACE\n", 0, 9.0, u"old" },
        { "no number", u"NORTH=east\nFLAGS=nan\n", 0, 9.0, u"old" },
        { "empty pieces", u"=\t=NORTH==\t1.5\n", 0, 1.5, u"old" },
        { "unknown and lower-case keys", u"north=1\nNORTHWEST=2\n NORTH=3\n", 0, 9.0, u"old" },
        { "the tail of a long line is neither key nor end",
            u"X=" + tail + u"NORTH=1\n" + tail + u"#END\nNORTH=2\n", 0, 2.0, u"old" },
        { "numbers as others write them", u"NORTH= +1.5e0 degrees\r\nFLAGS=2.9\r\n", 2, 1.5, u"old" },
        { "too large for the field", u"FLAGS=1e30\n", 0, 9.0, u"old" },
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        test::scene s;
        s.doc->sun_sky->north = 9.0;
        std::u16string(u"old").copy(s.doc->sun_sky->place, 3);
        stream text(c.body);
        ASSERT_EQ(read_sunsky_config_info(text.file, s.doc), 1);
        EXPECT_EQ(s.doc->sun_sky->flags, c.flags);
        EXPECT_EQ(s.doc->sun_sky->north, c.north);
        EXPECT_EQ(std::u16string(s.doc->sun_sky->place), c.place);
    }
}

TEST(SettingsFiles, APathThatIsTooLongIsRefused)
{
    struct
    {
        const char16_t* key;
        size_t length;
        bool fits;
    } const cases[] = {
        { u"IMAGE FILENAME", 259, true },
        { u"IMAGE FILENAME", 260, false },
        { u"IMAGE FILENAME", 600, false },
        { u"GP LIBRARY", 501, true }, // a line has 512 units
        { u"GP LIBRARY", 502, false },
        { u"GP MATERIAL", 501, false },
    };
    for (const auto& c : cases)
    {
        const std::u16string value(c.length, u'x'), line = std::u16string(c.key) + u"=" + value;
        SCOPED_TRACE(c.length);
        test::scene s;
        stream text(line + u"\r\n#END");
        EXPECT_EQ(zr_read_environment_config_info(text.file, s.doc), c.fits);
        if (!c.fits) { EXPECT_NE(strstr(zr_last_error()->text, "longer than"), nullptr); }
        if (c.key[0] == u'I') { continue; } // its field holds no more than a line

        char16_t*& field = c.key[3] == u'L' ? s.doc->ground_material_library : s.doc->ground_material_name;
        zr_free(field);
        field = zr_dupestring(value.c_str());
        stream written;
        EXPECT_EQ(save_environment_config_info(written.file, s.doc), c.fits);
        EXPECT_EQ(written.text().find(line) != std::u16string::npos, c.fits);
    }
}

TEST(SettingsFiles, HeadsTellTheKind)
{
    struct
    {
        const char* what;
        std::u16string text;
        int32_t kind;
    } const cases[] = {
        { "sun", u"#ZR3 SUNSKY\n", SETTINGS_SUN_SKY },
        { "the first 11 characters", u"#ZR3 ENVIROxyz\n", SETTINGS_ENVIRONMENT },
        { "exposure needs all", u"#ZR3 EXPOSUR\n", 0 },
        { "with a mark", u"\ufeff#ZR3 EXPOSURE\r\n", SETTINGS_EXPOSURE },
        { "the other byte order", u"\ufffe\u2300", 0 },
        { "8 bits", u"\u5a23\u3352", 0 },
        { "nothing", u"", 0 },
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        stream s(c.text);
        EXPECT_EQ(zr_read_settings_head(s.file), c.kind);
    }
}

TEST(SettingsFiles, AnExposureIsOneLineOfSixValues)
{
    test::scene s;
    s.doc->ambient_gain = 0.5;
    s.doc->sky_scale = 7.0;
    s.view.brightness = 1.5f;
    s.view.contrast = 0.25f;
    s.view.source_gain = 2.0f;
    s.view.tone_method = TONE_HISTOGRAM;
    stream text;
    ASSERT_EQ(save_exposure_config_info(text.file, s.doc, &s.view), 1);
    EXPECT_EQ(text.text(), u"#ZR3 EXPOSURE\n1.500000\t0.250000\t0.500000\t7.000000\t2.000000\t1\n#END");

    struct
    {
        const char* what;
        std::u16string body;
        int32_t result;
        float brightness;
        int32_t method;
    } const cases[] = {
        { "whole", u"2\t0.5\t1\t9\t1\t0\n#END", 1, 2.0f, 0 },
        { "the last line counts", u"2\t0.5\t1\t9\t1\t0\n3\t0.5\t1\t9\t1\t1\n", 1, 3.0f, 1 },
        { "a value is missing", u"2\t0.5\t1\t9\t1\n#END", 0, 2.0f, 1 },
        { "clamped to its range", u"99\t0.5\t1\t9\t1\t8\n", 1, 5.0f, 1 },
        { "film", u"2\t0.5\t1\t9\t1\t2\n", 1, 2.0f, TONE_FILM },
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        s.view.brightness = 1.5f;
        s.view.tone_method = TONE_HISTOGRAM;
        stream in(c.body);
        EXPECT_EQ(read_exposure_config_info(in.file, s.doc, &s.view), c.result);
        EXPECT_EQ(s.view.brightness, c.brightness);
        EXPECT_EQ(s.view.tone_method, c.method);
        EXPECT_EQ(s.doc->sky_scale, 7.0);
    }
    s.view.exposure_flags = EXPOSURE_LOCKED;
    stream in(u"4\t0.5\t1\t9\t1\t0\n");
    EXPECT_EQ(read_exposure_config_info(in.file, s.doc, &s.view), 0);
    EXPECT_NE(s.view.brightness, 4.0f);
}
