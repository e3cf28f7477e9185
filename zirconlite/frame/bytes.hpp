/// @file
/// Little-endian values in blocks of bytes: a reading cursor that cannot leave its block, and functions that
/// put values at a place. Every file format of the library goes through here.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <string.h>

namespace zr
{

/// Reads little-endian values; after the first read past the end every read gives 0 and `ok()` is false.
struct byte_reader
{
    byte_reader(const uint8_t* bytes, size_t size) : start(bytes), length(size) {}

    bool ok() const { return !failed; }
    size_t position() const { return at; }
    size_t left() const { return failed ? 0 : length - at; }

    uint8_t u8() { return uint8_t(take(1)); }
    uint16_t u16() { return uint16_t(take(2)); }
    uint32_t u32() { return uint32_t(take(4)); }
    uint64_t u64() { return take(8); }
    int16_t i16() { return int16_t(u16()); }
    int32_t i32() { return int32_t(u32()); }
    float f32()
    {
        const uint32_t bits = u32();
        float value;
        memcpy(&value, &bits, sizeof(value));
        return value;
    }
    double f64()
    {
        const uint64_t bits = u64();
        double value;
        memcpy(&value, &bits, sizeof(value));
        return value;
    }

    /// The next `size` bytes in place; null, with the reader failed, when there are fewer.
    const uint8_t* bytes(size_t size)
    {
        if (left() < size || failed)
        {
            failed = true;
            return nullptr;
        }
        const uint8_t* here = start + at;
        at += size;
        return here;
    }

    void skip(size_t size) { bytes(size); }

    /// Moves to `position`, counted from the start of the block. Behind the end the reader fails.
    void seek(uint64_t position)
    {
        if (position > length) { failed = true; }
        else { at = size_t(position); }
    }

private:
    uint64_t take(size_t size)
    {
        const uint8_t* here = bytes(size);
        uint64_t value = 0;
        for (size_t i = here ? size : 0; i > 0; --i) { value = value << 8 | here[i - 1]; }
        return value;
    }

    const uint8_t* start;
    size_t length;
    size_t at = 0;
    bool failed = false;
};

/// Each puts a value at `at` and gives the place behind it.
inline uint8_t* put_u8(uint8_t* at, uint8_t value)
{
    *at = value;
    return at + 1;
}
inline uint8_t* put_u16(uint8_t* at, uint16_t value)
{
    at[0] = uint8_t(value);
    at[1] = uint8_t(value >> 8);
    return at + 2;
}
inline uint8_t* put_u32(uint8_t* at, uint32_t value)
{
    return put_u16(put_u16(at, uint16_t(value)), uint16_t(value >> 16));
}
inline uint8_t* put_u64(uint8_t* at, uint64_t value)
{
    return put_u32(put_u32(at, uint32_t(value)), uint32_t(value >> 32));
}
inline uint8_t* put_f32(uint8_t* at, float value)
{
    uint32_t bits;
    memcpy(&bits, &value, sizeof(bits));
    return put_u32(at, bits);
}
inline uint8_t* put_f64(uint8_t* at, double value)
{
    uint64_t bits;
    memcpy(&bits, &value, sizeof(bits));
    return put_u64(at, bits);
}
inline uint8_t* put_bytes(uint8_t* at, const void* bytes, size_t size)
{
    memcpy(at, bytes, size);
    return at + size;
}

} // namespace zr
