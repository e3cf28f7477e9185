/// @file
/// Picture files in memory for tests of the decoders.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "zirconlite/frame/bytes.hpp"
#include "zirconlite/imagefiles/codecs.hpp"

using bytes = std::vector<uint8_t>;

struct bitmap_free
{
    void operator()(bitmap* b) const { zr_free_bitmap(b); }
};
using owned_bitmap = std::unique_ptr<bitmap, bitmap_free>;

/// Decodes from a block that ends with the file, so that the address checks see a read behind it.
inline owned_bitmap decode_file(zr::picture_decoder decode, const bytes& file, zr_status* why = nullptr)
{
    zr_status s = {};
    uint64_t where = 0;
    const std::unique_ptr<uint8_t[]> exact(new uint8_t[file.size()]);
    std::copy(file.begin(), file.end(), exact.get());
    owned_bitmap b(decode(exact.get(), file.size(), &s, &where));
    EXPECT_TRUE(b || !zr::ok(s)) << "a refusal has a reason";
    EXPECT_LE(where, file.size());
    if (why) { *why = s; }
    return b;
}

inline bytes pixels_of(const bitmap& b) { return bytes(b.pixels, b.pixels + b.byte_count); }

inline bytes joined(bytes a, const bytes& b)
{
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

/// Rows that name their place: R is the column, G the row, B 200, A 100 + the column.
inline int32_t place_rows(bitmap_format* record, line_request* request)
{
    uint8_t* out = request->buffer;
    for (uint32_t x = 0; x < record->width; ++x)
    {
        *out++ = uint8_t(x);
        *out++ = uint8_t(request->row);
        *out++ = 200;
        if (request->pixel_kind == LINE_RGBA) { *out++ = uint8_t(100 + x); }
    }
    return 1;
}

/// A record that writes place_rows to `path`.
inline bitmap_format picture_at(
    const std::u16string& path, uint32_t format, uint32_t width, uint32_t height, uint32_t alpha_mode)
{
    bitmap_format record = {};
    zr_init_bitmap_format(format, &record);
    path.copy(record.path, path.size());
    record.width = width;
    record.height = height;
    record.alpha_mode = alpha_mode;
    record.line_source = place_rows;
    return record;
}
