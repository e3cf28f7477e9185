/// @file
/// The lists of bitmaps, and the one reader that fills them.
#include "zirconlite/imagefiles/bitmap_store.hpp"

#include <string.h>

#include "zirconlite/frame/host.h"
#include "zirconlite/frame/memory.h"
#include "zirconlite/frame/search_path.h"
#include "zirconlite/platform/text.hpp"
#include "zirconlite/platform/threads.hpp"

namespace platform = zr::platform;

namespace
{

constexpr uint32_t large_store_bytes = 0x1400001;

/// The lists are read and changed under list_lock(), so that a preview may look for and read its pictures
/// while a job is prepared. The switches are the host thread's.
struct
{
    bitmap* shared;
    bitmap* temporary;
    int32_t temporary_count;
    bool uses_temporary, replaces, not_cached;
} store = {};

bool choose_format(bitmap_format& record);
bool find_file(bitmap_format& record);
bitmap* keep_temporary(bitmap* read);
bool refuse_path(const char16_t* path, size_t room);
bitmap* list_once(bitmap*& head, bitmap* b);
void push(bitmap*& head, bitmap* b);
bitmap* find_in(bitmap* const& head, const char16_t* name);
bitmap* find(bitmap* head, const char16_t* name);
platform::lock* list_lock();
int32_t channels(zr::bitmap_pixels format);
uint32_t bytes_with_levels(int64_t width, int64_t height, int64_t bytes_per_pixel);

} // namespace

bitmap* zr_read_bitmap(bitmap_format* record, bitmap** list)
{
    if (!record || !choose_format(*record) || !find_file(*record)) { return nullptr; }
    const bool temporary = store.uses_temporary && !store.not_cached;
    bitmap* present = temporary && !store.replaces ? find_in(store.temporary, record->path)
                      : list                       ? find_in(*list, record->path)
                                                   : nullptr;
    if (present) { return present; }
    bitmap* read = record->read_image ? record->read_image(record) : nullptr;
    if (!read) { return nullptr; }
    platform::copy_text(read->name, sizeof(read->name) / sizeof(read->name[0]), record->path);
    zr_build_mipmap(read);
    if (temporary) { return keep_temporary(read); }
    if (list) { return list_once(*list, read); }
    if (store.not_cached) { read->flags |= BITMAP_OF_USER; }
    return read;
}

bitmap** zr_shared_bitmaps(void) { return &store.shared; }

bitmap* zr_add_bitmap(
    const char16_t* name, uint32_t width, uint32_t height, uint32_t channels, const uint8_t* rows)
{
    if (!name || !rows || (channels != 1 && channels != 3 && channels != 4))
    {
        zr::report_failure(ZR_ERROR_ARGUMENT, "a picture needs a name, rows, and 1, 3 or 4 channels");
        return nullptr;
    }
    if (bitmap* present = find_in(store.shared, name)) { return present; }
    if (platform::text_length(name) >= sizeof(bitmap::name) / sizeof(char16_t))
    {
        refuse_path(name, sizeof(bitmap::name) / sizeof(char16_t));
        return nullptr;
    }
    const zr::bitmap_pixels format = channels == 1   ? zr::bitmap_grey
                                     : channels == 3 ? zr::bitmap_rgb
                                                     : zr::bitmap_rgba;
    zr::status why = {};
    bitmap* made = zr::new_bitmap(width, height, format, &why);
    if (!made)
    {
        zr::report_in_file(why, name, 0);
        return nullptr;
    }
    memcpy(made->pixels, rows, size_t(made->byte_count));
    platform::copy_text(made->name, sizeof(made->name) / sizeof(made->name[0]), name);
    zr_build_mipmap(made);
    return list_once(store.shared, made);
}

bitmap* zr_find_bitmap(const char16_t* name) { return name ? find_in(store.shared, name) : nullptr; }

int32_t zr_free_bitmap(bitmap* b)
{
    if (!b) { return 1; }
    zr_free(b->pixels);
    zr_free(b);
    return 1;
}

int32_t zr_free_bitmap_list(bitmap* head)
{
    while (head)
    {
        bitmap* next = head->next;
        zr_free_bitmap(head);
        head = next;
    }
    return 1;
}

int32_t zr_free_all_bitmaps(void)
{
    const platform::lock_scope held(list_lock());
    bitmap* head = store.shared;
    store.shared = nullptr;
    return zr_free_bitmap_list(head);
}

int32_t zr_free_temp_bitmaps(void)
{
    const platform::lock_scope held(list_lock());
    bitmap* head = store.temporary;
    store.temporary = nullptr;
    store.temporary_count = 0;
    return zr_free_bitmap_list(head);
}

int32_t zr_get_temp_bitmap_count(void) { return store.temporary_count; }

size_t zr_get_bitmap_allocation(void)
{
    const platform::lock_scope held(list_lock());
    size_t sum = 0;
    for (const bitmap* b = store.shared; b; b = b->next) { sum += b->store_bytes; }
    return sum;
}

int32_t zr_set_bitmap_ui_not_cached(int32_t value)
{
    store.not_cached = value != 0;
    return 1;
}

int32_t zr_bitmap_ui_not_cached(void) { return store.not_cached; }

int32_t zr_use_temp_bitmap_list(int32_t value)
{
    store.uses_temporary = value != 0;
    return 1;
}

int32_t zr_replace_temp_bitmap(int32_t value)
{
    store.replaces = value != 0;
    return 1;
}

bitmap* zr_dupe_bitmap(const bitmap* source)
{
    if (!source) { return nullptr; }
    auto* copy = static_cast<bitmap*>(zr_malloc(sizeof(bitmap)));
    auto* pixels = static_cast<uint8_t*>(zr_malloc(source->store_bytes));
    if (!copy || !pixels)
    {
        zr_free(copy);
        zr_free(pixels);
        zr::report_failure(ZR_ERROR_MEMORY, "no memory for the copy of a picture");
        return nullptr;
    }
    *copy = *source;
    copy->next = nullptr;
    copy->flags &= ~uint32_t(BITMAP_LISTED);
    copy->pixels = pixels;
    memcpy(pixels, source->pixels, source->store_bytes);
    for (int32_t i = 0; i < copy->level_count; ++i)
    {
        copy->levels[i] = pixels + (source->levels[i] - source->pixels);
    }
    return copy;
}

namespace zr
{

bitmap* new_bitmap(int64_t width, int64_t height, bitmap_pixels format, status* why)
{
    const bool sides_fit = width >= 1 && height >= 1 && width <= bitmap_max_side && height <= bitmap_max_side;
    if (!sides_fit || width * height * channels(format) > bitmap_max_bytes)
    {
        *why = fail(ZR_ERROR_LIMIT,
            "a picture of %lld x %lld pixels; sides go up to %lld, the store to %lld bytes",
            static_cast<long long>(width), static_cast<long long>(height),
            static_cast<long long>(bitmap_max_side), static_cast<long long>(bitmap_max_bytes));
        return nullptr;
    }
    auto* made = static_cast<bitmap*>(zr_calloc(1, sizeof(bitmap)));
    if (made)
    {
        made->width = int32_t(width);
        made->height = int32_t(height);
        made->pixel_format = format;
        made->bytes_per_pixel = channels(format);
        made->bits_per_pixel = 8 * made->bytes_per_pixel;
        made->pixel_count = int32_t(width * height);
        made->byte_count = made->pixel_count * made->bytes_per_pixel;
        made->store_bytes = bytes_with_levels(width, height, made->bytes_per_pixel);
        made->pixels = static_cast<uint8_t*>(zr_calloc(made->store_bytes, 1));
    }
    if (!made || !made->pixels)
    {
        zr_free_bitmap(made);
        *why = fail(ZR_ERROR_MEMORY, "no memory for a picture of %lld x %lld pixels",
            static_cast<long long>(width), static_cast<long long>(height));
        return nullptr;
    }
    made->flags = BITMAP_ALLOCATED | (made->store_bytes >= large_store_bytes ? BITMAP_LARGE : 0);
    return made;
}

void free_unlisted(bitmap* b)
{
    if (b && !(b->flags & BITMAP_LISTED)) { zr_free_bitmap(b); }
}

void report_in_file(status s, const char16_t* path, uint64_t byte)
{
    s.byte = byte;
    platform::to_utf8(path, s.file, sizeof(s.file));
    report(s);
}

} // namespace zr

namespace
{

/// Sets the record up by the extension of its path, and gives the path the extension of that format. False
/// for a path without a file name, and for one that gets too long.
bool choose_format(bitmap_format& record)
{
    const size_t length = platform::text_length(record.path);
    size_t name = length, dot = length;
    while (name > 0 && record.path[name - 1] != u'/' && record.path[name - 1] != u'\\') { --name; }
    for (size_t i = name; i < length; ++i)
    {
        if (record.path[i] == u'.') { dot = i; }
    }
    if (dot == name) { return false; }
    char16_t extension[16];
    if (!platform::copy_text(extension, 16, dot < length ? record.path + dot + 1 : u"")) { extension[0] = 0; }
    zr_get_bitmap_format_by_ext(extension, &record);
    record.path[dot] = 0;
    const size_t room = sizeof(record.path) / sizeof(record.path[0]);
    return (platform::append_text(record.path, room, u".") &&
               platform::append_text(record.path, room, record.extension)) ||
           refuse_path(record.path, room);
}

/// Replaces the record's path by the full one of the file. False when there is none.
bool find_file(bitmap_format& record)
{
    char16_t found[ZR_PATH_CAPACITY];
    if (!zr_findfile(nullptr, record.path, found)) { return false; }
    const size_t room = sizeof(record.path) / sizeof(record.path[0]);
    return platform::copy_text(record.path, room, found) || refuse_path(found, room);
}

/// Puts a bitmap just read in the temporary list, or its picture into the record that is there.
bitmap* keep_temporary(bitmap* read)
{
    const platform::lock_scope held(list_lock());
    bitmap* older = store.replaces ? find(store.temporary, read->name) : nullptr;
    if (!older)
    {
        push(store.temporary, read);
        ++store.temporary_count;
        return read;
    }
    zr_free(older->pixels);
    bitmap* next = older->next;
    *older = *read;
    older->next = next;
    older->flags |= BITMAP_LISTED;
    zr_free(read); // the shell: `older` has its pixels
    return older;
}

bool refuse_path(const char16_t* path, size_t room)
{
    zr::report_in_file(zr::fail(ZR_ERROR_LIMIT, "the path is longer than %zu characters", room - 1), path, 0);
    return false;
}

/// Puts a bitmap in a list, and gives it; where another thread was faster, gives its one and frees this.
bitmap* list_once(bitmap*& head, bitmap* b)
{
    const platform::lock_scope held(list_lock());
    if (bitmap* present = find(head, b->name))
    {
        zr_free_bitmap(b);
        return present;
    }
    push(head, b);
    return b;
}

void push(bitmap*& head, bitmap* b)
{
    b->flags |= BITMAP_LISTED;
    b->next = head;
    head = b;
}

bitmap* find_in(bitmap* const& head, const char16_t* name)
{
    const platform::lock_scope held(list_lock());
    return find(head, name);
}

bitmap* find(bitmap* head, const char16_t* name)
{
    while (head && !platform::same_text(head->name, name)) { head = head->next; }
    return head;
}

platform::lock* list_lock()
{
    static platform::lock* const lock = platform::new_lock();
    return lock;
}

int32_t channels(zr::bitmap_pixels format)
{
    return format == zr::bitmap_rgba ? 4 : format == zr::bitmap_grey ? 1 : 3;
}

/// Bytes of a bitmap with all its levels. The share of a third for the levels, with a row and a column for
/// rounding, is too little for pictures of one column or row.
uint32_t bytes_with_levels(int64_t width, int64_t height, int64_t bytes_per_pixel)
{
    const int64_t bytes = width * height * bytes_per_pixel;
    const auto usual = int64_t(double(bytes) * 1.3334 + double(height) + double(width) + 1.5);
    int64_t sum = bytes;
    for (int64_t side = width > height ? width : height; side > 1; side = (side + 1) / 2)
    {
        width = width > 1 ? width / 2 : 1;
        height = height > 1 ? height / 2 : 1;
        sum += width * height * bytes_per_pixel;
    }
    return uint32_t(sum > usual ? sum : usual);
}

} // namespace
