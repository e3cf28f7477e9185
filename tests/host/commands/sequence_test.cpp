// Series of frames: their moments, and that a series broken off and started again is the one of a single run.
#include "host/commands/sequence.hpp"
#include "host/failure.hpp"
#include "tests/support/program.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <csignal>
#include <thread>

#include "zirconlite/picture/tone.h"

namespace
{

const char ground_obj[] =
    "v -20 -20 0\nv 20 -20 0\nv 20 20 0\nv -20 20 0\nv -1 3 0\nv 1 3 0\nv 1 3 3\nv -1 3 3\n"
    "f 1 2 3 4\nf 5 6 7 8\n";
const char day_toml[] = R"(
[camera]
eye = [0, -6, 2.5]
target = [0, 0, 0.8]
[render]
size = [64, 48]
threads = 2
[sun]
place = "Oslo"
date = "2026-06-21"
[[model]]
file = "ground.obj"
)";

host::scene sunny() { return host::parse_scene(day_toml, "day.toml"); }

int render(const temporary_folder& folder, std::vector<std::string> arguments)
{
    arguments.insert(arguments.begin(), "render");
    return run_program(folder, arguments);
}
std::string printed(const temporary_folder& folder)
{
    return folder.read("output.txt") + folder.read("errors.txt");
}

} // namespace

TEST(Sequence, NamesItsMoments)
{
    struct
    {
        const char *time, *date;
        size_t count;
        const char *first, *last;
    } const cases[] = {
        { "", "", 0, "", "" },
        { "14:30", "", 1, "2026-06-21 14:30", "2026-06-21 14:30" },
        { "", "2025-12-31", 1, "2025-12-31 12:00", "2025-12-31 12:00" },
        { "06:00..20:00/15m", "", 57, "2026-06-21 06:00", "2026-06-21 20:00" },
        { "06:00..20:10/15m", "", 57, "2026-06-21 06:00", "2026-06-21 20:00" },
        { "12:00..12:00/1h", "", 1, "2026-06-21 12:00", "2026-06-21 12:00" },
        { "22:30..01:00/1h", "2026-12-31", 3, "2026-12-31 22:30", "2027-01-01 00:30" },
        { "09:00", "2026-01-01..2026-12-31/7d", 53, "2026-01-01 09:00", "2026-12-31 09:00" },
        { "", "2024-02-28..2024-03-01/1d", 3, "2024-02-28 12:00", "2024-03-01 12:00" },
        { "", "2026-01-01..2026-03-01/2w", 5, "2026-01-01 12:00", "2026-02-26 12:00" },
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(std::string(c.time) + " " + c.date);
        const auto frames = host::read_sequence({ c.time, c.date, "locked" }, sunny());
        ASSERT_EQ(frames.size(), c.count);
        if (frames.empty()) { continue; }
        EXPECT_EQ(frames.front().date + " " + frames.front().time, c.first);
        EXPECT_EQ(frames.back().date + " " + frames.back().time, c.last);
    }
    const char* const wrong[][2] = { { "6:00..20:00/15m", "" }, { "06:00..20:00", "" },
        { "06:00..20:00/", "" }, { "06:00..20:00/0m", "" }, { "06:00..20:00/15", "" },
        { "06:00..20:00/15d", "" }, { "06:00..24:00/15m", "" }, { "06:00..20:00/99999999m", "" },
        { "25:00", "" }, { "", "2026-02-30" }, { "", "2026-03-01..2026-02-01/1d" },
        { "", "1900-01-01..2026-02-01/1d" }, { "06:00..20:00/15m", "2026-01-01..2026-12-31/7d" },
        { "..", ".." } };
    for (const auto& w : wrong)
    {
        EXPECT_THROW(host::read_sequence({ w[0], w[1], "locked" }, sunny()), host::failure)
            << w[0] << " " << w[1];
    }
    host::scene dark = sunny();
    dark.sun.is_on = false;
    EXPECT_THROW(host::read_sequence({ "14:30", "", "locked" }, dark), host::failure);
}

TEST(Sequence, KeepsAnExposureToTheBit)
{
    document* d = zr_open_document();
    render_view &made = d->views[0], &kept = d->views[1];
    const int32_t size[2] = { 64, 64 };
    for (render_view* v : { &made, &kept })
    {
        zr_init_view(d, v, nullptr);
        v->brightness = 0.3f;
    }
    ASSERT_EQ(make_histogram(&made, size), 1);
    for (int i = 0; i < 20; ++i) { histogram_add_sample(&made, 1.7f * float(i * i) + 0.1f); }
    ASSERT_EQ(finish_histogram(&made, 77.7), 1);
    made.measured_luminance = 77.7;
    made.world_luminance = 38.9;
    zr_set_raytrace_tone_operator(&made);
    const std::string text = host::exposure_text(made);
    host::lock_exposure(kept, text, "kept.txt");
    for (const float light : { 0.001f, 0.2f, 3.3f, 41.7f, 500.0f, 9000.0f })
    {
        for (const int32_t method : { TONE_POWER, TONE_HISTOGRAM })
        {
            made.tone_method = kept.tone_method = method;
            float a[3] = { light, 0.7f * light, 0.2f * light }, b[3] = { a[0], a[1], a[2] };
            tone(&made, made.tone_exponent, made.tone_scale, a, 0);
            tone(&kept, kept.tone_exponent, kept.tone_scale, b, 0);
            EXPECT_TRUE(std::equal(a, a + 3, b)) << light << ", method " << method;
        }
    }
    EXPECT_EQ(make_histogram(&kept, size), -1) << "locked";

    made.tone_method = kept.tone_method = TONE_HISTOGRAM;
    for (size_t cut = 0; cut + 1 < text.size(); cut += 37)
    {
        EXPECT_THROW(host::lock_exposure(kept, text.substr(0, cut), "cut.txt"), host::failure) << cut;
    }
    std::string bent = text;
    bent.replace(bent.rfind("bin ") + 4, 1, "-");
    EXPECT_THROW(host::lock_exposure(kept, bent, "bent.txt"), host::failure);
    kept.brightness = 0.5f;
    EXPECT_THROW(host::lock_exposure(kept, text, "other.txt"), host::failure);
    zr_close_document(d);
}

TEST(Sequence, GoesOnWhereItWasKilled)
{
    temporary_folder whole, broken;
    for (const temporary_folder* f : { &whole, &broken })
    {
        f->write("ground.obj", ground_obj);
        f->write("day.toml", day_toml);
    }
    std::vector<std::string> arguments = { "day.toml", "-o", "d.png", "--time", "05:00..13:00/2h" };
    ASSERT_EQ(render(whole, arguments), 0) << printed(whole);

    const pid_t id =
        start_program(broken, { "render", "day.toml", "-o", "d.png", "--time", "05:00..13:00/2h" });
    for (int i = 0; i < 60000 && !std::filesystem::exists(broken.path / "d-0002.png"); ++i)
    {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    kill(id, SIGKILL);
    end_of_program(id);
    std::filesystem::remove(broken.path / "d-0001.png"); // also the frame that the exposure came from
    ASSERT_EQ(render(broken, arguments), 0) << printed(broken);
    EXPECT_NE(printed(broken).find("frames that were there: "), std::string::npos);
    for (int i = 1; i <= 5; ++i)
    {
        const std::string name = "d-000" + std::to_string(i) + ".png";
        EXPECT_FALSE(whole.read(name).empty());
        EXPECT_EQ(whole.read(name), broken.read(name)) << name;
    }
    EXPECT_NE(whole.read("d-0001.png"), whole.read("d-0004.png"));

    // All frames are there, but of another contrast; then without the exposure that they have.
    std::vector<std::string> changed = arguments;
    changed.insert(changed.end(), { "--contrast", "0.7" });
    EXPECT_EQ(render(broken, changed), int(host::exit_bad_scene));
    EXPECT_NE(printed(broken).find("contrast"), std::string::npos) << printed(broken);
    std::filesystem::remove(broken.path / "d-exposure.txt");
    EXPECT_EQ(render(broken, arguments), int(host::exit_bad_scene));

    broken.write("d-exposure.txt", "zirconlite exposure 1\n");
    std::filesystem::remove(broken.path / "d-0003.png");
    EXPECT_EQ(render(broken, arguments), int(host::exit_bad_scene))
        << "a damaged exposure is reported, not measured anew";
    arguments.insert(arguments.end(), { "--exposure", "running" });
    ASSERT_EQ(render(broken, arguments), 0);
    EXPECT_NE(broken.read("d-0003.png"), whole.read("d-0003.png")) << "with its own exposure";
}

TEST(Sequence, TakesPlaceDayAndPictureFromSettingsFiles)
{
    const auto units = [](const std::u16string& text)
    { return std::string(reinterpret_cast<const char*>(text.data()), 2 * text.size()); };
    temporary_folder f;
    std::string scene = "settings = [\"a.su\"]\n" + std::string(day_toml);
    scene.erase(scene.find("place"), scene.find("[[model]]") - scene.find("place"));
    f.write("day.toml", scene);
    f.write("ground.obj", ground_obj);
    f.write("a.su",
        units(u"#ZR3 SUNSKY\nPLACE=\xd83d\nLATITUDE=0.84\nLONGITUDE=0.28\nTIME ZONE=60\nDATE=10\n#END"));
    const std::vector<std::string> arguments = { "day.toml", "-o", "d.png", "--time", "11:00..12:00/1h" };
    ASSERT_EQ(render(f, arguments), 0) << printed(f);
    EXPECT_NE(printed(f).find("2026-01-11 12:00"), std::string::npos) << printed(f);
    f.write("a.su", units(u"#ZR3 EXPOSURE\n0\t0.5\t0\t1\t1\t0\n#END"));
    EXPECT_EQ(render(f, arguments), int(host::exit_bad_scene)) << "nothing says the place";
    f.write("day.toml", "settings = [\"a.en\"]\n" + std::string(day_toml));
    f.write("a.en", units(u"#ZR3 ENVIRONMENT\nFLAGS=1\nIMAGE FILENAME=sky\xd83d.png\n#END"));
    ASSERT_EQ(render(f, { "day.toml", "-o", "d.png" }), 0);
    EXPECT_NE(printed(f).find("a.en: the picture \"sky?.png\" is left out"), std::string::npos);
}
