/// @file
/// What reading and writing a picture costs by format, beside ImageMagick for the same file. A picture of 4
/// megapixels with soft colours and some grain. Reading is from memory; writing goes to the temporary folder
/// and ends with the file forced to the disk. ImageMagick is a process of its own, its start included.
///
/// Bytes per second count the pixels, 3 bytes each (Radiance: as if it had them, too).
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "zirconlite/imagefiles/codecs.hpp"
#include "zirconlite/imagefiles/radiance.hpp"
#include "zirconlite/picture/image_buffer.h"

namespace
{

constexpr uint32_t side = 2048;

const std::vector<uint8_t>& rows()
{
    static const std::vector<uint8_t> made = []
    {
        std::vector<uint8_t> v(size_t(side) * side * 3);
        uint32_t grain = 1;
        for (size_t i = 0; i < v.size(); ++i)
        {
            grain = grain * 1664525 + 1013904223;
            const double x = double(i / 3 % side) / side, y = double(i / 3 / side) / side;
            // Flat above, so that run lengths have something to find.
            v[i] = y > 0.7 ? uint8_t(90 + i % 3)
                           : uint8_t(120 + 90 * std::sin(9 * x + double(i % 3)) * y + (grain >> 30));
        }
        return v;
    }();
    return made;
}

int32_t row_source(bitmap_format*, line_request* request)
{
    std::copy_n(&rows()[size_t(request->row) * side * 3], side * 3, request->buffer);
    return 1;
}

struct codec
{
    const char* name;   ///< extension
    const char* magick; ///< how ImageMagick makes the file that is read
    uint32_t format;    ///< 0 Radiance
    zr::picture_decoder decode;
};
constexpr codec codecs[] = {
    { "bmp", "", BITMAP_BMP, zr::decode_bmp },
    { "tga", "-compress rle", BITMAP_TARGA, zr::decode_targa },
    { "tif", "-compress rle", BITMAP_TIF, zr::decode_tiff },
    { "jpg", "-quality 90", BITMAP_JPEG, zr::decode_jpeg },
    { "hdr", "", 0, nullptr },
};

std::string path_of(const std::string& name)
{
    return (std::filesystem::temp_directory_path() / ("zirconlite-bench-" + name)).string();
}

bool run(const std::string& command) { return std::system((command + " > /dev/null 2>&1").c_str()) == 0; }

std::string raw_picture()
{
    const std::string path = path_of("rows.rgb");
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(rows().data()), long(rows().size()));
    return "convert -size " + std::to_string(side) + "x" + std::to_string(side) + " -depth 8 rgb:" + path;
}

void set_counters(benchmark::State& state)
{
    state.SetBytesProcessed(int64_t(state.iterations()) * side * side * 3);
}

void read_codec(benchmark::State& state, const codec& c)
{
    const std::string path = path_of(std::string("read.") + c.name);
    if (!run(raw_picture() + " " + c.magick + " " + path))
    {
        state.SkipWithError("ImageMagick is not installed");
        return;
    }
    std::ifstream in(path, std::ios::binary);
    const std::vector<char> text{ std::istreambuf_iterator<char>(in), {} };
    const auto* bytes = reinterpret_cast<const uint8_t*>(text.data());
    for (auto _ : state)
    {
        zr_status why = {};
        uint64_t where = 0;
        bool whole = false;
        if (c.decode)
        {
            bitmap* b = c.decode(bytes, text.size(), &why, &where);
            whole = b && zr::ok(why) && b->width == int32_t(side);
            zr_free_bitmap(b);
        }
        else
        {
            image_buffer* b = zr_new_image_buffer(1, 1, PIXEL_RADIANCE);
            whole = zr::decode_radiance(bytes, text.size(), b, &why, &where) && zr::ok(why);
            zr_destroy_image_buffer(b);
        }
        if (!whole) { state.SkipWithError(why.text); }
    }
    set_counters(state);
    state.counters["file_MB"] = double(text.size()) / 1e6;
}

void write_codec(benchmark::State& state, const codec& c)
{
    const std::u16string path = std::filesystem::path(path_of(std::string("write.") + c.name)).u16string();
    image_buffer* light = zr_new_image_buffer(side, side, PIXEL_RADIANCE);
    for (uint32_t i = 0; !c.format && i < side * side; ++i)
    {
        pixel_components p = {};
        for (size_t k = 0; k < 3; ++k) { p.surface[k] = rows()[3 * i + k]; }
        pack_pixel(light, &p, zr_image_buffer_pixel(light, int32_t(i % side), int32_t(i / side)));
        *zr_image_buffer_signature(light, int32_t(i / side)) = ROW_COMPLETE;
    }
    bitmap_format record = {};
    zr_init_bitmap_format(c.format, &record);
    path.copy(record.path, path.size());
    record.width = record.height = side;
    record.alpha_mode = LINE_RGB;
    record.compression = 10;
    record.line_source = row_source;
    for (auto _ : state)
    {
        const int32_t done =
            c.format ? record.write_image(&record) : zr_write_radiance_file(path.c_str(), light);
        if (!done) { state.SkipWithError(zr_last_error()->text); }
    }
    zr_destroy_image_buffer(light);
    set_counters(state);
}

void magick_read(benchmark::State& state, const codec& c)
{
    const std::string path = path_of(std::string("read.") + c.name);
    const std::string back = path_of("back.rgb");
    if (!run(raw_picture() + " " + c.magick + " " + path))
    {
        return state.SkipWithError("ImageMagick is not installed");
    }
    for (auto _ : state) { run("convert " + path + " -depth 8 rgb:" + back); }
    set_counters(state);
}

void magick_write(benchmark::State& state, const codec& c)
{
    const std::string command =
        raw_picture() + " " + c.magick + " " + path_of(std::string("written.") + c.name);
    if (!run(command)) { return state.SkipWithError("ImageMagick is not installed"); }
    for (auto _ : state) { run(command); }
    set_counters(state);
}

const bool are_registered = []
{
    const struct
    {
        const char* name;
        void (*measure)(benchmark::State&, const codec&);
    } kinds[] = { { "picture_read/", read_codec }, { "picture_read_magick/", magick_read },
        { "picture_write/", write_codec }, { "picture_write_magick/", magick_write } };
    for (const codec& c : codecs)
    {
        for (const auto& kind : kinds)
        {
            benchmark::RegisterBenchmark((kind.name + std::string(c.name)).c_str(),
                [&c, measure = kind.measure](benchmark::State& state) { measure(state, c); })
                ->Unit(benchmark::kMillisecond)
                ->UseRealTime();
        }
    }
    return true;
}();

} // namespace
