// Scenes that use most of the system, compared with stored pictures of their radiance that somebody has
// looked at.
//
// After a change that is meant to change pictures, render them again and look at them before they are
// committed:
//     ZIRCONLITE_ACCEPT_REFERENCES=1 ctest --preset release -R References
#include "host/pictures/light_picture.hpp"
#include "tests/support/program.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "zirconlite/picture/image_buffer.h"

namespace
{

const bool accepts = std::getenv("ZIRCONLITE_ACCEPT_REFERENCES");
constexpr auto replace = std::filesystem::copy_options::overwrite_existing;

std::filesystem::path stored(const char* reference)
{
    return std::filesystem::path(ZIRCONLITE_SOURCE_DIR "/tests/references") / reference;
}

std::vector<pixel_components> pixels_of(const std::filesystem::path& file)
{
    std::string warning;
    const host::light_picture light = host::read_light(file, warning);
    std::vector<pixel_components> pixels(size_t(light->width) * size_t(light->height));
    for (int32_t y = 0; y < light->height; ++y)
    {
        for (int32_t x = 0; x < light->width; ++x)
        {
            zr_unpack_internal_pixel(&*light, zr_image_buffer_pixel(&*light, x, y),
                &pixels[size_t(y) * size_t(light->width) + size_t(x)], 1);
        }
    }
    return pixels;
}

} // namespace

TEST(References, PicturesAreMadeAgain)
{
    struct
    {
        const char* reference;
        std::vector<std::string> arguments; ///< the first names the input, beside the references
    } const cases[] = {
        { "lights-exact.hdr", { "lights.toml", "--light-model", "exact", "--search", "tree" } },
        { "lights-fast.hdr", { "lights.toml", "--light-model", "fast", "--search", "grid" } },
        { "sky-exact.hdr", { "sky.toml", "--light-model", "exact" } },
        { "sky-fast.hdr", { "sky.toml", "--light-model", "fast", "--projection", "light-probe" } },
        { "windows-exact.hdr", { "windows.toml", "--light-model", "exact" } },
        { "windows-fast.hdr", { "windows.toml", "--light-model", "fast", "--projection", "perspective" } },
        { "map-exact.hdr", { "environment_map.toml", "--light-model", "exact" } },
        { "map-fast.hdr", { "environment_map.toml", "--light-model", "fast", "--projection", "parallel" } },
        { "map-sphere.hdr",
            { "environment_map.toml", "--light-model", "fast", "--projection", "spherical" } },
        { "odds-2.hdr", { "odds.toml", "--quality", "2", "--light-model", "fast" } },
        { "odds-4.hdr", { "odds.toml", "--quality", "4", "--antialiasing", "0.95" } },
        { "odds-probes.png", { "odds.toml", "--quality", "2", "--light-model", "fast" } },
        { "odds-1.hdr", { "odds.toml", "--quality", "1" } },
        { "gallery.hdr", { "../../examples/gallery/gallery.toml", "--size", "120x64" } },
        { "mappings.hdr", { "../../examples/gallery/mappings.toml", "--size", "120x64" } },
        { "day.hdr", { "../../examples/day/day.toml", "--size", "60x40" } },
        { "windows-power.png", { "windows.toml", "--method", "power", "--brightness", "0.3" } },
        { "windows-histogram.png", { "windows.toml", "--method", "histogram", "--contrast", "0.7" } },
        { "lights-film.png",
            { "lights.toml", "--method", "film", "--contrast", "0.4", "--region", "0,8,72,40" } },
        { "lights-paths.hdr", { "lights.toml", "--sampler", "converging", "--indirect", "paths" } },
        { "sky-cache.hdr", { "sky.toml", "--sampler", "converging", "--indirect", "cache" } },
        { "windows-cache.png",
            { "windows.toml", "--sampler", "converging", "--indirect", "cache", "--denoise" } },
        { "map-paths.hdr", { "environment_map.toml", "--sampler", "converging", "--indirect", "paths" } },
        { "odds-paths.png", { "odds.toml", "--sampler", "converging", "--indirect", "paths", "--denoise",
                                "--region", "3,5,50,35" } },
    };
    const temporary_folder folder;
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.reference);
        std::vector<std::string> arguments = c.arguments;
        arguments[0] = stored(c.reference).parent_path() / c.arguments[0];
        arguments.insert(arguments.begin(), "render");
        arguments.insert(arguments.end(), { "-o", c.reference, "--threads", "2" });
        const auto is_given = [&](const char* option)
        { return std::find(arguments.begin(), arguments.end(), option) != arguments.end(); };
        if (!is_given("--method")) { arguments.insert(arguments.end(), { "--method", "histogram" }); }
        if (!is_given("--sampler")) { arguments.insert(arguments.end(), { "--sampler", "strips" }); }
        else { arguments.insert(arguments.end(), { "--light-model", "exact", "--max-samples", "16" }); }
        ASSERT_EQ(run_program(folder, arguments), 0) << folder.read("errors.txt");
        const std::filesystem::path made = folder.path / c.reference;
        if (accepts) { std::filesystem::copy_file(made, stored(c.reference), replace); }
        const std::vector<pixel_components> now = pixels_of(made), then = pixels_of(stored(c.reference));
        ASSERT_EQ(now.size(), then.size());
        // Another machine's sine may tip a sample over an edge, here and there.
        size_t different = 0;
        for (size_t i = 0; i < now.size(); ++i)
        {
            different += std::memcmp(&now[i], &then[i], sizeof now[i]) != 0;
        }
        ASSERT_LE(different, now.size() / 1000);
    }
}

TEST(References, SunAndSkyArePrintedAgain)
{
    const temporary_folder folder;
    std::string printed;
    for (int month = 1; month <= 12; ++month)
    {
        char date[16], cloudiness[8];
        std::snprintf(date, sizeof date, "2026-%02d-%02d", month, 2 * month + 3);
        std::snprintf(cloudiness, sizeof cloudiness, "%.2f", 0.08 * month);
        for (const char* angles : { "tables", "almanac" })
        {
            ASSERT_EQ(
                run_program(folder, { "sun", "--latitude", "41.5", "--longitude", "-8.25", "--date", date,
                                        "--cloudiness", cloudiness, "--angles", angles, "--table", "2h" }),
                0);
            printed += folder.read("output.txt");
        }
    }
    folder.write("sun.txt", printed);
    if (accepts) { std::filesystem::copy_file(folder.path / "sun.txt", stored("sun.txt"), replace); }
    std::ifstream in(stored("sun.txt"));
    EXPECT_EQ(printed, std::string(std::istreambuf_iterator<char>(in), {}));
}
