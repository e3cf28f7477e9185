/// @file
/// A growable array of plain records over the library's heap, whose growth can fail.
#pragma once

#include <string.h>
#include <type_traits>

#include "zirconlite/frame/memory.h"

namespace zr
{

/// A block of elements that grows. It has no destructor, so that the state of the whole process can hold one
/// without code that runs when the library is loaded; clear() frees it. Elements are plain records, moved by
/// memory copies.
template <class T> struct growable_block
{
    static_assert(std::is_trivially_copyable_v<T>);

    T* items = nullptr;
    size_t count = 0;
    size_t capacity = 0;

    T& operator[](size_t i) { return items[i]; }
    const T& operator[](size_t i) const { return items[i]; }
    T* begin() { return items; }
    T* end() { return items + count; }
    const T* begin() const { return items; }
    const T* end() const { return items + count; }

    /// Room for at least `wanted` elements; false when memory fails, with the array unchanged.
    bool reserve(size_t wanted)
    {
        if (wanted <= capacity) { return true; }
        size_t larger = capacity + capacity / 2 + 8;
        if (larger < wanted) { larger = wanted; }
        if (larger > SIZE_MAX / sizeof(T)) { return false; }
        void* block = zr_realloc(items, larger * sizeof(T));
        if (!block) { return false; }
        items = static_cast<T*>(block);
        capacity = larger;
        return true;
    }

    /// Appends; false when memory fails, with the array unchanged.
    bool push(const T& item)
    {
        T copy = item; // `item` may lie in this array
        if (!reserve(count + 1)) { return false; }
        items[count++] = copy;
        return true;
    }

    /// `wanted` elements; those beyond the present ones are zeroed. False when memory fails.
    bool resize(size_t wanted)
    {
        if (!reserve(wanted)) { return false; }
        if (wanted > count) { memset(static_cast<void*>(items + count), 0, (wanted - count) * sizeof(T)); }
        count = wanted;
        return true;
    }

    void clear()
    {
        zr_free(items);
        items = nullptr;
        count = capacity = 0;
    }
};

/// Owns its block; not copied.
template <class T> struct array : growable_block<T>
{
    array() = default;
    array(const array&) = delete;
    array& operator=(const array&) = delete;
    array(array&& other) noexcept : growable_block<T>(other) { other.forget(); }
    array& operator=(array&& other) noexcept
    {
        if (this != &other)
        {
            zr_free(this->items);
            static_cast<growable_block<T>&>(*this) = other;
            other.forget();
        }
        return *this;
    }
    ~array() { zr_free(this->items); }

private:
    void forget() { static_cast<growable_block<T>&>(*this) = {}; }
};

} // namespace zr
