/// @file
/// The table of picture formats.
#include "zirconlite/imagefiles/bitmap_format.h"

#include <algorithm>
#include <iterator>

#include "zirconlite/imagefiles/codecs.hpp"
#include "zirconlite/imagefiles/picture_decoding.hpp"

namespace
{

template <zr::picture_decoder decode> bitmap* read_image(bitmap_format* record);

struct format_row
{
    uint32_t format_id;
    const char16_t* extension;
    const char16_t* name; ///< key of the string table
    uint32_t option_class;
    int32_t (*write_image)(bitmap_format*);
    bitmap* (*read_image)(bitmap_format*);
};

// In the order of enumeration; the first is what an unknown name gets.
constexpr format_row formats[] = {
    { BITMAP_JPEG, u"jpg", u"^JPEG", 2, zr::write_jpeg, read_image<zr::decode_jpeg> },
    { BITMAP_TARGA, u"tga", u"^TARGA", 1, zr::write_targa, read_image<zr::decode_targa> },
    { BITMAP_BMP, u"bmp", u"^BMP", 0, zr::write_bmp, read_image<zr::decode_bmp> },
    { BITMAP_TIF, u"tif", u"^TIFF", 1, zr::write_tiff, read_image<zr::decode_tiff> },
    { BITMAP_TIFF, u"tiff", u"^TIFF", 1, zr::write_tiff, read_image<zr::decode_tiff> },
};
static_assert(std::size(formats) == BITMAP_TIFF);

void fill(bitmap_format& record, const format_row& row);
const format_row* row_of_extension(char16_t* extension);

} // namespace

int32_t zr_enum_bitmap_formats(int32_t (*callback)(bitmap_format* record, void* argument), void* argument)
{
    for (const format_row& row : formats)
    {
        bitmap_format record = {};
        fill(record, row);
        if (!callback(&record, argument)) { return 0; }
    }
    return 1;
}

int32_t zr_init_bitmap_format(uint32_t format_id, bitmap_format* record)
{
    for (const format_row& row : formats)
    {
        if (row.format_id != format_id) { continue; }
        fill(*record, row);
        return 1;
    }
    fill(*record, formats[0]);
    return 0;
}

int32_t zr_get_bitmap_format_by_ext(char16_t* extension, bitmap_format* record)
{
    const format_row* row = row_of_extension(extension);
    fill(*record, row ? *row : formats[0]);
    return row ? 1 : 0;
}

uint32_t zr_bitmap_format_id_from_ext(char16_t* extension)
{
    const format_row* row = row_of_extension(extension);
    return row ? row->format_id : formats[0].format_id;
}

int32_t zr_init_bitmap_format_by_index(int32_t index, bitmap_format* record)
{
    const bool is_known = index >= 0 && index < int32_t(std::size(formats));
    fill(*record, formats[is_known ? index : 0]);
    return is_known ? 1 : 0;
}

namespace
{

void copy_name(char16_t* out, const char16_t* name)
{
    do {
        *out++ = *name;
    } while (*name++);
}

/// Sets what the format decides and nothing else: the caller's path, sizes and sources stay.
void fill(bitmap_format& record, const format_row& row)
{
    record.format_id = row.format_id;
    record.option_class = row.option_class;
    record.write_image = row.write_image;
    record.read_image = row.read_image;
    copy_name(record.name, row.name);
    copy_name(record.extension, row.extension);
}

const format_row* row_of_extension(char16_t* extension)
{
    if (!extension) { return nullptr; }
    for (char16_t* c = extension; *c; ++c)
    {
        if (*c >= u'A' && *c <= u'Z') { *c = char16_t(*c - u'A' + u'a'); }
    }
    for (const format_row& row : formats)
    {
        const char16_t *a = extension, *b = row.extension;
        while (*a && *a == *b) { ++a, ++b; }
        if (*a == *b) { return &row; }
    }
    return nullptr;
}

template <zr::picture_decoder decode> bitmap* read_image(bitmap_format* record)
{
    return zr::read_picture(*record, decode);
}

} // namespace
