// Scenes that use most of the system, compared with stored pictures of their radiance that somebody has
// looked at.
//
// After a change that is meant to change pictures, render them again and look at them before they are
// committed:
//     ZIRCONLITE_ACCEPT_PICTURES=1 ctest --preset release -R ReferencePictures
#include "host/pictures/light_picture.hpp"
#include "tests/support/program.hpp"

#include <gtest/gtest.h>

#include <cstring>

#include "zirconlite/picture/image_buffer.h"

namespace
{

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

TEST(ReferencePictures, AreRenderedAgain)
{
    struct
    {
        const char *scene, *reference;
        std::vector<std::string> options;
    } const cases[] = {
        { "tests/pictures/lights.toml", "lights-exact.hdr",
            { "--light-model", "exact", "--search", "tree" } },
        { "tests/pictures/lights.toml", "lights-fast.hdr", { "--light-model", "fast", "--search", "grid" } },
        { "tests/pictures/sky.toml", "sky-exact.hdr", { "--light-model", "exact" } },
        { "tests/pictures/sky.toml", "sky-fast.hdr",
            { "--light-model", "fast", "--projection", "light-probe" } },
        { "tests/pictures/windows.toml", "windows-exact.hdr", { "--light-model", "exact" } },
        { "tests/pictures/windows.toml", "windows-fast.hdr",
            { "--light-model", "fast", "--projection", "perspective" } },
        { "tests/pictures/environment_map.toml", "map-exact.hdr", { "--light-model", "exact" } },
        { "tests/pictures/environment_map.toml", "map-fast.hdr",
            { "--light-model", "fast", "--projection", "parallel" } },
        { "examples/gallery/gallery.toml", "gallery.hdr", { "--size", "120x64" } },
        { "examples/gallery/mappings.toml", "mappings.hdr", { "--size", "120x64" } },
        { "examples/day/day.toml", "day.hdr", { "--size", "60x40" } },
    };
    const temporary_folder folder;
    const std::string source = ZIRCONLITE_SOURCE_DIR "/";
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.reference);
        const std::filesystem::path rendered = folder.path / c.reference;
        const std::filesystem::path stored = source + "tests/pictures/" + c.reference;
        std::vector<std::string> arguments = { "render", source + c.scene, "-o", c.reference, "--threads",
            "2" };
        arguments.insert(arguments.end(), c.options.begin(), c.options.end());
        ASSERT_EQ(run_program(folder, arguments), 0) << folder.read("errors.txt");
        if (std::getenv("ZIRCONLITE_ACCEPT_PICTURES"))
        {
            std::filesystem::copy_file(rendered, stored, std::filesystem::copy_options::overwrite_existing);
        }
        const std::vector<pixel_components> now = pixels_of(rendered), then = pixels_of(stored);
        ASSERT_EQ(now.size(), then.size());
        // Another machine's sine may tip a sample over an edge, here and there.
        size_t different = 0;
        for (size_t i = 0; i < now.size(); ++i)
        {
            if (std::memcmp(&now[i], &then[i], sizeof now[i]) != 0) { ++different; }
        }
        EXPECT_LE(different, now.size() / 1000);
    }
}
