#include "host/pictures/light_picture.hpp"

#include "host/failure.hpp"
#include "host/library_session.hpp"
#include "host/text.hpp"
#include "zirconlite/frame/error.h"
#include "zirconlite/imagefiles/radiance.h"

#include <fmt/format.h>
#include <png.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <fstream>
#include <string_view>
#include <vector>

namespace host
{

namespace
{

constexpr int64_t pixel_limit = 1 << 26;
// Runs of one colour pack this well; a header that claims more than that lies.
constexpr int64_t free_pixels = 1 << 20, densest_pixels = 2048;
constexpr float max_radiance = 65504; // of half a word; brighter ones are infinite in most files
constexpr std::string_view exr_mark("\x76\x2F\x31\x01", 4), png_mark("\x89PNG", 4);
constexpr size_t max_head_bytes = 4096; // of text before the pixels of a Radiance picture

std::string first_bytes(const std::filesystem::path& file, size_t count);
light_picture read_png_light(const std::filesystem::path& file);
light_picture read_radiance(const std::filesystem::path& file, std::string& warning);
light_picture make_light(const std::filesystem::path& file, int64_t width, int64_t height);
[[noreturn]] void damaged(const std::filesystem::path& file, const std::string& why);

} // namespace

bool is_radiance(std::string_view head)
{
    if (head.starts_with("#?")) { return true; }
    head = head.substr(0, max_head_bytes);
    for (size_t end = head.find('\n'); end != std::string_view::npos && end > 1; end = head.find('\n'))
    {
        if (head.starts_with("FORMAT=32-bit_rle_")) { return true; }
        head.remove_prefix(end + 1);
    }
    return false;
}

bool holds_light(const std::filesystem::path& file)
{
    const std::string head = first_bytes(file, max_head_bytes);
    return head.starts_with(exr_mark) || is_radiance(head);
}

void set_light_row(image_buffer& light, int y, const float* rgb)
{
    *zr_image_buffer_signature(&light, y) = ROW_COMPLETE;
    for (int x = 0; x < light.width; ++x, rgb += 3)
    {
        pixel_components c{};
        for (int i = 0; i < 3; ++i) { c.surface[i] = rgb[i] > 0 ? std::min(rgb[i], max_radiance) : 0; }
        pack_pixel(&light, &c, zr_image_buffer_pixel(&light, x, y));
    }
}

light_picture read_light(const std::filesystem::path& file, std::string& warning)
{
    std::error_code error;
    if (!std::filesystem::exists(file, error))
    {
        throw failure(exit_missing_file, file.string() + ": file not found");
    }
    const std::string mark = first_bytes(file, exr_mark.size());
    if (mark == png_mark) { return read_png_light(file); }
    if (mark != exr_mark) { return read_radiance(file, warning); }
    try
    {
        return read_exr(file, [&](int64_t width, int64_t height) { return make_light(file, width, height); });
    }
    catch (const failure&)
    {
        throw;
    }
    catch (const std::exception& e)
    {
        std::string why = e.what();
        std::replace(why.begin(), why.end(), '\n', ' ');
        damaged(file, "the OpenEXR file is damaged: " + why);
    }
}

namespace
{

std::string first_bytes(const std::filesystem::path& file, size_t count)
{
    std::string bytes(count, '\0');
    std::ifstream in(file, std::ios::binary);
    in.read(bytes.data(), std::streamsize(count));
    bytes.resize(size_t(in.gcount()));
    return bytes;
}

/// The PNG as linear light of 16 bits, by libpng's reading of its gamma.
light_picture read_png_light(const std::filesystem::path& file)
{
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_file(&image, file.c_str())) { damaged(file, image.message); }
    image.format = PNG_FORMAT_LINEAR_RGB;
    light_picture light;
    std::vector<uint16_t> words;
    try
    {
        light = make_light(file, image.width, image.height);
        words.resize(PNG_IMAGE_SIZE(image) / sizeof(uint16_t));
    }
    catch (...)
    {
        png_image_free(&image);
        throw;
    }
    if (!png_image_finish_read(&image, nullptr, words.data(), 0, nullptr)) { damaged(file, image.message); }
    std::vector<float> rgb(3 * size_t(light->width));
    for (int y = 0; y < light->height; ++y)
    {
        const uint16_t* row = &words[size_t(y) * rgb.size()];
        std::transform(row, row + rgb.size(), rgb.begin(), [](uint16_t v) { return float(v) / 65535; });
        set_light_row(*light, light->height - 1 - y, rgb.data());
    }
    return light;
}

light_picture read_radiance(const std::filesystem::path& file, std::string& warning)
{
    light_picture light(zr_new_image_buffer(1, 1, PIXEL_RADIANCE));
    if (!light) { throw failure(exit_render_failed, "out of memory"); }
    const zr_status before = *zr_last_error();
    const bool done = zr_read_radiance_file(utf16_of(file).c_str(), light.get()) != 0;
    const zr_status& s = *zr_last_error();
    if (!done) { damaged(file, s.text); }
    if (std::memcmp(&before, &s, sizeof s) != 0) { warning = s.text; }
    return light;
}

light_picture make_light(const std::filesystem::path& file, int64_t width, int64_t height)
{
    std::error_code error;
    const int64_t bytes = int64_t(std::filesystem::file_size(file, error));
    const bool is_sound = width > 0 && height > 0 && width <= pixel_limit && height <= pixel_limit;
    const int64_t pixels = is_sound ? width * height : 0;
    if (!is_sound || pixels > pixel_limit || (pixels > free_pixels && pixels / densest_pixels > bytes))
    {
        damaged(
            file, fmt::format("{} x {} pixels are too many for a file of {} bytes", width, height, bytes));
    }
    light_picture light(zr_new_image_buffer(int32_t(width), int32_t(height), PIXEL_RADIANCE));
    if (!light) { throw failure(exit_render_failed, file.string() + ": out of memory"); }
    return light;
}

[[noreturn]] void damaged(const std::filesystem::path& file, const std::string& why)
{
    throw failure(exit_bad_scene, fmt::format("{}: {}", file.string(), why));
}

} // namespace

} // namespace host
