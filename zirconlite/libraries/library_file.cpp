/// @file
/// Bytes, chunks and strings of an open library, and its header.
#include "zirconlite/libraries/library_file.hpp"

#include <algorithm>
#include <string.h>

#include "zirconlite/frame/bytes.hpp"
#include "zirconlite/platform/text.hpp"

namespace platform = zr::platform;

namespace
{

constexpr char16_t library_magic[] = u"ZR_LIBFILE";
constexpr uint32_t library_version = 4;
constexpr uint32_t magic_place = 4, kind_place = 68, version_place = 132;
constexpr uint32_t header_text_units = 32;

uint8_t* block_at(zr::library_file& lib, size_t index);
uint32_t read_text(zr::library_file& lib, uint64_t at, char16_t* buffer, uint32_t capacity, uint32_t bytes);

} // namespace

int32_t zr_file_set_position(zr_handle file, uint64_t at)
{
    zr::library_file* lib = zr::library_of(file);
    if (!lib || at > lib->size) { return 0; }
    lib->position = at;
    return 1;
}

uint64_t zr_file_get_position(zr_handle file)
{
    const zr::library_file* lib = zr::library_of(file);
    return lib ? lib->position : 0;
}

uint64_t zr_file_get_size(zr_handle file)
{
    const zr::library_file* lib = zr::library_of(file);
    return lib ? lib->size : 0;
}

int32_t zr_file_read_bytes(zr_handle file, void* bytes, uint32_t size)
{
    zr::library_file* lib = zr::library_of(file);
    if (!lib || !zr::read_at(*lib, lib->position, bytes, size)) { return 0; }
    lib->position += size;
    return 1;
}

int32_t zr_file_write_bytes(zr_handle file, const void* bytes, uint32_t size)
{
    zr::library_file* lib = zr::library_of(file);
    if (!lib || !zr::write_at(*lib, lib->position, bytes, size)) { return 0; }
    lib->position += size;
    return 1;
}

int32_t zr_file_read_dword(zr_handle file, uint32_t* out)
{
    uint8_t bytes[4];
    if (!zr_file_read_bytes(file, bytes, sizeof(bytes))) { return 0; }
    *out = zr::byte_reader(bytes, sizeof(bytes)).u32();
    return 1;
}

int32_t zr_file_write_dword(zr_handle file, uint32_t value)
{
    uint8_t bytes[4];
    zr::put_u32(bytes, value);
    return zr_file_write_bytes(file, bytes, sizeof(bytes));
}

int32_t zr_file_read_short(zr_handle file, int16_t* out)
{
    uint16_t value;
    if (!zr_file_read_word(file, &value)) { return 0; }
    *out = int16_t(value);
    return 1;
}

int32_t zr_file_read_word(zr_handle file, uint16_t* out)
{
    uint8_t bytes[2];
    if (!zr_file_read_bytes(file, bytes, sizeof(bytes))) { return 0; }
    *out = zr::byte_reader(bytes, sizeof(bytes)).u16();
    return 1;
}

int32_t zr_file_write_word(zr_handle file, uint16_t value)
{
    uint8_t bytes[2];
    zr::put_u16(bytes, value);
    return zr_file_write_bytes(file, bytes, sizeof(bytes));
}

uint32_t zr_file_get_offset(zr_handle file, uint32_t at)
{
    uint32_t value = 0;
    return zr_file_set_position(file, at) && zr_file_read_dword(file, &value) ? value : 0;
}

uint32_t zr_file_increment_dword(zr_handle file, uint32_t at)
{
    zr::library_file* lib = zr::library_of(file);
    uint32_t value = 0;
    if (!lib || !zr::read_u32_at(*lib, at, &value) || !zr::write_u32_at(*lib, at, value + 1)) { return 0; }
    return value + 1;
}

uint32_t zr_file_add_chunk(zr_handle file, int32_t type, const void* bytes, int32_t, uint32_t size)
{
    zr::library_file* lib = zr::library_of(file);
    if (!lib) { return 0; }
    uint64_t length = size;
    switch (type)
    {
    case LIBRARY_CHUNK_FOLDER:
        length = zr::folder_node_bytes;
        break;
    case LIBRARY_CHUNK_RECORD:
        length = zr::record_node_bytes;
        break;
    case LIBRARY_CHUNK_STRING:
        length = 8 + uint64_t(zr::byte_reader(static_cast<const uint8_t*>(bytes) + 4, 4).u32());
        break;
    case LIBRARY_CHUNK_PAYLOAD:
        break;
    default:
        zr::fail_in_library(*lib, 0, zr::fail(ZR_ERROR_ARGUMENT, "there is no chunk of type %d", type));
        return 0;
    }
    return zr::append(*lib, bytes, length);
}

uint32_t zr_file_add_string(zr_handle file, const char16_t* text)
{
    zr::library_file* lib = zr::library_of(file);
    if (!lib) { return 0; }
    const size_t length = platform::text_length(text);
    if (length >= ZR_NAME_CAPACITY)
    {
        lib->failed = true;
        zr::fail_in_library(*lib, 0,
            zr::fail(ZR_ERROR_LIMIT, "a text of %zu characters; a library takes up to %d", length,
                ZR_NAME_CAPACITY - 1));
        return 0;
    }
    uint8_t chunk[8 + 2 * ZR_NAME_CAPACITY];
    uint8_t* at = zr::put_u32(zr::put_u32(chunk, 0), uint32_t(2 * length));
    for (size_t i = 0; i < length; ++i) { at = zr::put_u16(at, text[i]); }
    return zr::append(*lib, chunk, 8 + 2 * length);
}

uint32_t zr_file_read_string(zr_handle file, uint32_t at, char16_t* buffer, uint32_t limit_bytes)
{
    if (limit_bytes < sizeof(char16_t)) { return 0; }
    buffer[0] = 0;
    zr::library_file* lib = zr::library_of(file);
    uint32_t bytes = 0;
    if (!lib || at == 0 || !zr::read_u32_at(*lib, uint64_t(at) + 4, &bytes)) { return 0; }
    return read_text(*lib, uint64_t(at) + 8, buffer, limit_bytes / 2, bytes);
}

int32_t zr_file_delete_chunk(zr_handle, uint32_t) { return 1; }

int32_t zr_file_delete_string(zr_handle, uint32_t) { return 1; }

int32_t zr_file_delete_record(zr_handle, uint32_t) { return 1; }

int32_t zr_file_write_header(zr_handle file, const char16_t* kind)
{
    zr::library_file* lib = zr::library_of(file);
    if (!lib) { return 0; }
    if (platform::text_length(kind) >= header_text_units)
    {
        return zr::fail_in_library(
            *lib, 0, zr::fail(ZR_ERROR_LIMIT, "the kind of a library has up to 31 characters"));
    }
    uint8_t header[zr::library_header_bytes + zr::folder_node_bytes] = {};
    zr::put_u32(header, zr::library_header_bytes);
    uint8_t* at = header + magic_place;
    for (const char16_t* c = library_magic; *c; ++c) { at = zr::put_u16(at, *c); }
    at = header + kind_place;
    for (const char16_t* c = kind; *c; ++c) { at = zr::put_u16(at, *c); }
    zr::put_u32(header + version_place, library_version);
    zr::put_u32(header + zr::library_root_place, zr::library_header_bytes);
    return zr::write_at(*lib, 0, header, sizeof(header));
}

uint32_t zr_file_get_version(zr_handle file) { return zr_file_get_offset(file, version_place); }

int32_t zr_file_get_kind(zr_handle file, char16_t* kind)
{
    kind[0] = 0;
    zr::library_file* lib = zr::library_of(file);
    char16_t magic[header_text_units + 1] = {};
    constexpr uint32_t bytes = 2 * header_text_units;
    if (!lib || !read_text(*lib, magic_place, magic, header_text_units + 1, bytes) ||
        !platform::same_text(magic, library_magic))
    {
        return 0;
    }
    return read_text(*lib, kind_place, kind, header_text_units + 1, bytes) != 0;
}

namespace zr
{

library_file* library_of(zr_handle file)
{
    if (file && file != ZR_INVALID_HANDLE) { return static_cast<library_file*>(file); }
    report_failure(ZR_ERROR_ARGUMENT, "no library is open");
    return nullptr;
}

bool read_at(library_file& lib, uint64_t at, void* bytes, uint64_t size)
{
    if (at > lib.size || size > lib.size - at)
    {
        return fail_in_library(
            lib, at, fail(ZR_ERROR_FORMAT, "the library ends before what its links point to"));
    }
    auto* out = static_cast<uint8_t*>(bytes);
    while (size > 0)
    {
        const uint8_t* block = block_at(lib, size_t(at / library_block_bytes));
        if (!block) { return false; }
        const uint64_t inside = at % library_block_bytes;
        const uint64_t part = std::min<uint64_t>(size, library_block_bytes - inside);
        memcpy(out, block + inside, part);
        out += part;
        at += part;
        size -= part;
    }
    return true;
}

bool write_at(library_file& lib, uint64_t at, const void* bytes, uint64_t size)
{
    if (!lib.writes)
    {
        return fail_in_library(lib, at, fail(ZR_ERROR_STATE, "the library is open for reading only"));
    }
    if (lib.failed) { return false; }
    lib.changed = true;
    lib.failed = true; // until all is in
    if (at > lib.size || size > library_max_bytes - at)
    {
        return fail_in_library(lib, at, fail(ZR_ERROR_LIMIT, "a library ends before 4 GiB"));
    }
    const auto* from = static_cast<const uint8_t*>(bytes);
    const size_t blocks_needed = size_t((at + size + library_block_bytes - 1) / library_block_bytes);
    if (blocks_needed > lib.blocks.count && !lib.blocks.resize(blocks_needed))
    {
        return fail_in_library(lib, at, fail(ZR_ERROR_MEMORY, "no memory for the edit of a library"));
    }
    lib.size = std::max(lib.size, at + size);
    while (size > 0)
    {
        uint8_t* block = block_at(lib, size_t(at / library_block_bytes));
        if (!block) { return false; }
        const uint64_t inside = at % library_block_bytes;
        const uint64_t part = std::min<uint64_t>(size, library_block_bytes - inside);
        memcpy(block + inside, from, part);
        from += part;
        at += part;
        size -= part;
    }
    lib.failed = false;
    return true;
}

bool read_u32_at(library_file& lib, uint64_t at, uint32_t* value)
{
    uint8_t bytes[4];
    if (!read_at(lib, at, bytes, sizeof(bytes))) { return false; }
    *value = byte_reader(bytes, sizeof(bytes)).u32();
    return true;
}

bool write_u32_at(library_file& lib, uint64_t at, uint32_t value)
{
    uint8_t bytes[4];
    put_u32(bytes, value);
    return write_at(lib, at, bytes, sizeof(bytes));
}

uint32_t append(library_file& lib, const void* bytes, uint64_t size)
{
    const uint64_t at = lib.size;
    return write_at(lib, at, bytes, size) ? uint32_t(at) : 0;
}

bool fail_in_library(const library_file& lib, uint64_t byte, const status& s)
{
    status in_file = s;
    in_file.byte = byte;
    if (lib.path) { platform::to_utf8(lib.path, in_file.file, sizeof(in_file.file)); }
    return report(in_file);
}

} // namespace zr

namespace
{

/// The block in memory, read first where the file has it; null, reported, on failure.
uint8_t* block_at(zr::library_file& lib, size_t index)
{
    uint8_t*& block = lib.blocks[index];
    if (block) { return block; }
    auto* made = static_cast<uint8_t*>(zr_calloc(1, zr::library_block_bytes));
    const uint64_t at = uint64_t(index) * zr::library_block_bytes;
    if (!made)
    {
        zr::fail_in_library(lib, at, zr::fail(ZR_ERROR_MEMORY, "no memory for the library"));
        return nullptr;
    }
    if (at < lib.source_bytes)
    {
        const size_t wanted = size_t(std::min<uint64_t>(zr::library_block_bytes, lib.source_bytes - at));
        ++lib.read_count;
        if (!platform::seek_file(lib.source, at) || platform::read_file(lib.source, made, wanted) != wanted)
        {
            zr::fail_in_library(lib, at, zr::fail(ZR_ERROR_READ, "the library cannot be read"));
            zr_free(made);
            return nullptr;
        }
    }
    return block = made;
}

/// Reads up to `capacity` - 1 code units of a text of `bytes` bytes, up to an end mark inside it. Returns
/// `bytes`; 0 when it lies outside the file.
uint32_t read_text(zr::library_file& lib, uint64_t at, char16_t* buffer, uint32_t capacity, uint32_t bytes)
{
    if (bytes > lib.size || at > lib.size - bytes)
    {
        zr::fail_in_library(lib, at, zr::fail(ZR_ERROR_FORMAT, "a text of the library ends behind its file"));
        return 0;
    }
    const uint32_t units = std::min(capacity - 1, bytes / 2);
    if (!zr::read_at(lib, at, buffer, uint64_t(units) * 2)) { return 0; }
    zr::byte_reader in(reinterpret_cast<const uint8_t*>(buffer), size_t(units) * 2);
    for (uint32_t i = 0; i < units; ++i) { buffer[i] = in.u16(); }
    buffer[units] = 0;
    // A cut must not leave the first half of a pair.
    const bool was_cut = units < bytes / 2;
    if (was_cut && units > 0 && buffer[units - 1] >= 0xD800 && buffer[units - 1] < 0xDC00)
    {
        buffer[units - 1] = 0;
    }
    return bytes;
}

} // namespace
