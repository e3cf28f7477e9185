/// @file
/// Forms of picture files that the library does not read: BMP with run lengths and channel masks, TARGA with
/// colour maps and deep grey, CMYK JPEG, and TIFF of every coding that libtiff knows.
#pragma once

#include "host/pictures/picture_reader.hpp"

namespace host
{

/// A reader of one format; false, with the reason in `why`, when it does not read this file either.
using picture_reader = bool (*)(std::span<const uint8_t> bytes, picture8& out, std::string& why);

bool read_other_bmp(std::span<const uint8_t> bytes, picture8& out, std::string& why);
bool read_other_targa(std::span<const uint8_t> bytes, picture8& out, std::string& why);
bool read_cmyk_jpeg(std::span<const uint8_t> bytes, picture8& out, std::string& why);
bool read_any_tiff(std::span<const uint8_t> bytes, picture8& out, std::string& why);

/// Makes the rows of a picture, black; false, with the reason, for a size that a file of `file_bytes` cannot
/// hold.
bool make_picture(
    picture8& out, uint64_t width, uint64_t height, uint32_t channels, uint64_t file_bytes, std::string& why);

/// Gives a picture whose alpha is 0 everywhere, which no file means, full alpha.
void heal_alpha(picture8& p);

/// The warning for a file that ends or breaks within its pixels.
std::string cut_picture(const char* format, uint64_t row, uint64_t height);

/// Values of a file, little-endian; past its end 0, with `ok` false from then on.
struct picture_bytes
{
    std::span<const uint8_t> left;
    bool ok = true;

    uint32_t u(int count)
    {
        if (left.size() < size_t(count))
        {
            ok = false;
            left = {};
            return 0;
        }
        uint32_t v = 0;
        for (int i = count; i-- > 0;) { v = v << 8 | left[size_t(i)]; }
        left = left.subspan(size_t(count));
        return v;
    }
    void skip(uint64_t count)
    {
        ok = ok && count <= left.size();
        left = left.subspan(count <= left.size() ? size_t(count) : left.size());
    }
};

} // namespace host
