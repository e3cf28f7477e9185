/// @file
/// Cells of space, found by a hash of their place: what a table of them holds lies in the order in which the
/// cells were first used.
#pragma once

#include <algorithm>
#include <stdint.h>

#include "zirconlite/frame/array.hpp"

namespace zr
{

/// A cell's place in the grid of its size, and the direction that its surfaces face.
struct cell_key
{
    int32_t at[3];  ///< cells from the origin of model space
    int16_t level;  ///< the side is 2^level model units
    int16_t facing; ///< one of 54 parts of the directions
};

inline bool is_same(const cell_key& a, const cell_key& b)
{
    return a.at[0] == b.at[0] && a.at[1] == b.at[1] && a.at[2] == b.at[2] && a.level == b.level &&
           a.facing == b.facing;
}

inline uint64_t mixed(uint64_t h)
{
    h ^= h >> 32;
    h *= 0xd6e8feb86659fd93u;
    return h ^ h >> 32;
}

inline uint64_t hash_of(const cell_key& k)
{
    uint64_t h = uint64_t(uint32_t(k.at[0])) | uint64_t(uint32_t(k.at[1])) << 32;
    h = mixed(h + 0x9e3779b97f4a7c15u);
    h ^= uint64_t(uint32_t(k.at[2])) | uint64_t(uint16_t(k.level)) << 32 | uint64_t(uint16_t(k.facing)) << 48;
    return mixed(h);
}

/// Plain records that start with their `key`.
template <class T> struct cell_table
{
    array<T> list;
    array<uint32_t> slots; ///< place of a cell + 1 by hash; 0 free

    void clear()
    {
        list.clear();
        slots.clear();
    }

    /// The slot of a key: its cell's, or the free one where it would be. The table has slots.
    size_t slot_of(const cell_key& key) const
    {
        const size_t mask = slots.count - 1;
        size_t slot = hash_of(key) & mask;
        while (slots[slot] && !is_same(list[slots[slot] - 1].key, key)) { slot = (slot + 1) & mask; }
        return slot;
    }

    /// Null where there is none.
    const T* find(const cell_key& key) const
    {
        if (slots.count == 0) { return nullptr; }
        const uint32_t place = slots[slot_of(key)];
        return place ? &list[place - 1] : nullptr;
    }

    /// The cell of a key, a new one if need be; null where there are `most` already, and `failed` when memory
    /// fails. Cells may move.
    T* make(const cell_key& key, size_t most, bool& failed)
    {
        if (list.count * 2 >= slots.count && !widen())
        {
            failed = true;
            return nullptr;
        }
        uint32_t& place = slots[slot_of(key)];
        if (!place)
        {
            if (list.count >= most) { return nullptr; }
            T made = {};
            made.key = key;
            list.push(made); // widen has made room
            place = uint32_t(list.count);
        }
        return &list[place - 1];
    }

private:
    /// Room for twice the cells.
    bool widen()
    {
        const size_t count = std::max<size_t>(slots.count * 2, 256);
        array<uint32_t> wider;
        if (!wider.resize(count) || !list.reserve(count / 2)) { return false; }
        slots = static_cast<array<uint32_t>&&>(wider);
        for (size_t i = 0; i < list.count; ++i) { slots[slot_of(list[i].key)] = uint32_t(i + 1); }
        return true;
    }
};

} // namespace zr
