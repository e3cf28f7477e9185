/// @file
/// Row by row, so that memory is that of the finished picture.
#include "host/pictures/light_picture.hpp"

#include <ImfArray.h>
#include <ImfRgbaFile.h>

#include <vector>

namespace host
{

light_picture read_exr(const std::filesystem::path& file, const light_maker& make)
{
    Imf::RgbaInputFile in(file.c_str(), 1);
    const Imath::Box2i window = in.dataWindow();
    const int64_t width = int64_t(window.max.x) - window.min.x + 1,
                  height = int64_t(window.max.y) - window.min.y + 1;
    light_picture light = make(width, height);
    auto pixels = std::vector<Imf::Rgba>(size_t(width));
    std::vector<float> rgb(3 * pixels.size());
    for (int y = 0; y < light->height; ++y)
    {
        const int line = window.min.y + y;
        // The frame is addressed by the file's own coordinates; a stride of 0 keeps every row in the same
        // place.
        in.setFrameBuffer(pixels.data() - window.min.x, 1, 0);
        in.readPixels(line);
        for (size_t x = 0; x < pixels.size(); ++x)
        {
            rgb[3 * x] = pixels[x].r;
            rgb[3 * x + 1] = pixels[x].g;
            rgb[3 * x + 2] = pixels[x].b;
        }
        set_light_row(*light, light->height - 1 - y, rgb.data());
    }
    return light;
}

} // namespace host
