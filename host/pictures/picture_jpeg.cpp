/// @file
/// JPEG of four inks. Programs that write them by the custom of the most common one store them inverted, and
/// say so by a marker of its own.
#include "host/pictures/other_pictures.hpp"

#include <algorithm>
#include <csetjmp>
#include <cstdio>

#include <jpeglib.h>

namespace host
{

namespace
{

/// Everything that a jump out of libjpeg could skip.
struct jpeg_reading
{
    jpeg_decompress_struct decoder;
    jpeg_error_mgr errors;
    std::vector<uint8_t> row;
    uint32_t rows_done = 0;
    char text[JMSG_LENGTH_MAX] = "";
    jmp_buf back;
};

void on_error(j_common_ptr decoder);
void on_message(j_common_ptr);
bool decode(jpeg_reading& r, std::span<const uint8_t> bytes, picture8& out, std::string& why);
void to_rgb(const uint8_t* inks, uint32_t width, bool is_inverted, uint8_t* out);

} // namespace

bool read_cmyk_jpeg(std::span<const uint8_t> bytes, picture8& out, std::string& why)
{
    jpeg_reading r{};
    r.decoder.err = jpeg_std_error(&r.errors);
    r.errors.error_exit = on_error;
    r.errors.output_message = on_message;
    r.decoder.client_data = &r;
    const bool done = decode(r, bytes, out, why);
    if (done && (r.text[0] || r.errors.num_warnings > 0))
    {
        why = "the JPEG file is damaged, what is missing is grey or black";
    }
    if (!done && why.empty()) { why = r.text; }
    jpeg_destroy_decompress(&r.decoder);
    return done;
}

namespace
{

void on_error(j_common_ptr decoder)
{
    auto* r = static_cast<jpeg_reading*>(decoder->client_data);
    decoder->err->format_message(decoder, r->text);
    longjmp(r->back, 1);
}

void on_message(j_common_ptr) {}

/// Between setjmp and the last call of libjpeg no object with a destructor is made here.
bool decode(jpeg_reading& r, std::span<const uint8_t> bytes, picture8& out, std::string& why)
{
    if (setjmp(r.back)) { return r.rows_done > 0; }
    jpeg_create_decompress(&r.decoder);
    jpeg_mem_src(&r.decoder, bytes.data(), static_cast<unsigned long>(bytes.size()));
    jpeg_read_header(&r.decoder, TRUE);
    if (r.decoder.num_components != 4) { return false; }
    if (!make_picture(out, r.decoder.image_width, r.decoder.image_height, 3, bytes.size(), why))
    {
        return false;
    }
    r.decoder.out_color_space = JCS_CMYK;
    jpeg_start_decompress(&r.decoder);
    r.row.resize(size_t(out.width) * 4);
    JSAMPROW rows[] = { r.row.data() };
    while (r.decoder.output_scanline < r.decoder.output_height)
    {
        jpeg_read_scanlines(&r.decoder, rows, 1);
        const size_t from_below = out.height - 1 - r.rows_done++;
        to_rgb(r.row.data(), out.width, r.decoder.saw_Adobe_marker, &out.rows[from_below * out.width * 3]);
    }
    jpeg_finish_decompress(&r.decoder);
    return true;
}

/// Inks as light: what each lets through, times what black does.
void to_rgb(const uint8_t* inks, uint32_t width, bool is_inverted, uint8_t* out)
{
    for (uint32_t x = 0; x < width; ++x, inks += 4, out += 3)
    {
        const auto light = [&](int i) { return uint32_t(is_inverted ? inks[i] : 255 - inks[i]); };
        for (int c = 0; c < 3; ++c) { out[c] = uint8_t((light(c) * light(3) + 127) / 255); }
    }
}

} // namespace

} // namespace host
