/// @file
/// The light of a picture, for comparisons of whole pictures.
#pragma once

#include <algorithm>
#include <vector>

#include "zirconlite/frame/render_view.h"
#include "zirconlite/picture/image_buffer.h"

namespace test
{

/// Radiance of all pixels, row by row from below, three values each: from the sums of samples where there are
/// some, else from the packed pixels.
inline std::vector<float> light_of(const render_view& v)
{
    std::vector<float> all;
    for (int32_t y = 0; y < v.height; ++y)
    {
        for (int32_t x = 0; x < v.width; ++x)
        {
            float rgb[3] = { 0, 0, 0 };
            if (!zr_image_buffer_mean(v.image, x, y, rgb))
            {
                pixel_components c;
                zr_unpack_internal_pixel(v.image, zr_image_buffer_pixel(v.image, x, y), &c, 0);
                for (int i = 0; i < 3; ++i) { rgb[i] = c.surface[i] + c.background[i]; }
            }
            all.insert(all.end(), rgb, rgb + 3);
        }
    }
    return all;
}

inline double average(const std::vector<float>& values)
{
    double sum = 0.0;
    for (const float v : values) { sum += v; }
    return sum / double(std::max<size_t>(values.size(), 1));
}

} // namespace test
