/// @file
/// The private heap with its questions to the host, and the arenas.
#include "zirconlite/frame/memory.h"

#include <stdint.h>
#include <string.h>

#include "zirconlite/frame/host_callbacks.hpp"
#include "zirconlite/frame/status.hpp"
#include "zirconlite/platform/heap.hpp"
#include "zirconlite/platform/text.hpp"
#include "zirconlite/platform/threads.hpp"

namespace
{

double memory_threshold = 0.07;

bool memory_low();
bool host_lets_request();
template <class Request> void* ask_heap(size_t size, Request request);
size_t bytes_used(const memory_list* list);
bool add_chunk(memory_list* list);

} // namespace

void* zr_malloc(size_t size)
{
    return ask_heap(size, [=] { return zr::platform::heap_allocate(size); });
}

void* zr_calloc(size_t count, size_t size)
{
    size_t bytes = 0;
    if (__builtin_mul_overflow(count, size, &bytes))
    {
        zr::report_failure(ZR_ERROR_MEMORY, "a request of %zu times %zu bytes is too large", count, size);
        return nullptr;
    }
    return ask_heap(bytes, [=] { return zr::platform::heap_allocate_zeroed(count, size); });
}

void* zr_realloc(void* block, size_t size)
{
    return ask_heap(size, [=] { return zr::platform::heap_resize(block, size); });
}

void zr_free(void* block) { zr::platform::heap_free(block); }

char16_t* zr_dupestring(const char16_t* text)
{
    if (!text) { return nullptr; }
    const size_t bytes = (zr::platform::text_length(text) + 1) * sizeof(char16_t);
    void* copy = zr_malloc(bytes);
    if (copy) { memcpy(copy, text, bytes); }
    return static_cast<char16_t*>(copy);
}

int32_t zr_set_memory_threshold(double threshold)
{
    zr::platform::store_word(&memory_threshold, threshold);
    return 1;
}

int32_t zr_get_memory_threshold(void)
{
    const double threshold = zr::platform::load_word(&memory_threshold);
    // Written so that a NaN falls out as well.
    if (!(threshold > -2147483648.0 && threshold < 2147483648.0)) { return 0; }
    return int32_t(threshold);
}

void zr_init_memory_list(memory_list** list, size_t chunk_size)
{
    *list = nullptr;
    if (chunk_size == 0 || chunk_size > size_t(1) << 40)
    {
        zr::report_failure(
            ZR_ERROR_ARGUMENT, "an arena's chunk size of %zu bytes is out of range", chunk_size);
        return;
    }
    auto* made = static_cast<memory_list*>(zr_calloc(1, sizeof(memory_list)));
    if (!made) { return; }
    made->chunk_size = chunk_size;
    made->chunk_shift = 63 - __builtin_clzll(chunk_size);
    *list = made;
}

void* zr_new_object(memory_list* list, size_t size)
{
    if (!list || size > list->chunk_size)
    {
        zr::report_failure(
            ZR_ERROR_ARGUMENT, "an object of %zu bytes does not fit into an arena's chunk", size);
        return nullptr;
    }
    size = (size + 7) / 8 * 8;
    const bool fits = list->last_chunk && bytes_used(list) + size <= list->chunk_size;
    if (!fits && (size > list->chunk_size || !add_chunk(list))) { return nullptr; }
    unsigned char* object = list->next_free;
    list->next_free += size;
    ++list->object_count;
    return object;
}

void* zr_new_initialized_object(memory_list* list, size_t size)
{
    void* object = zr_new_object(list, size);
    if (object) { memset(object, 0, size); }
    return object;
}

void zr_free_memory_list(memory_list** list)
{
    if (!list || !*list) { return; }
    memory_list* l = *list;
    for (memory_chunk* chunk = l->last_chunk; chunk;)
    {
        memory_chunk* previous = chunk->previous;
        zr_free(chunk->block);
        zr_free(chunk);
        chunk = previous;
    }
    l->first_chunk = l->last_chunk = nullptr;
    l->next_free = nullptr;
    l->object_count = 0;
    l->allocated = 0;
}

size_t zr_mem_get_alloc(const memory_list* list) { return list ? list->allocated : 0; }

size_t memory_list_offset(const void* address, const memory_list* list)
{
    if (!list) { return 0; }
    const auto wanted = reinterpret_cast<uintptr_t>(address);
    size_t index = 0;
    for (const memory_chunk* chunk = list->first_chunk; chunk; chunk = chunk->next, ++index)
    {
        const auto start = reinterpret_cast<uintptr_t>(chunk->block);
        if (wanted >= start && wanted - start < list->chunk_size)
        {
            return (index << list->chunk_shift) + (wanted - start);
        }
    }
    return 0;
}

void* memory_list_address(size_t offset, const memory_list* list)
{
    if (!list) { return nullptr; }
    size_t index = offset / list->chunk_size;
    const memory_chunk* chunk = list->first_chunk;
    while (chunk && index > 0)
    {
        chunk = chunk->next;
        --index;
    }
    return chunk ? chunk->block + offset % list->chunk_size : nullptr;
}

namespace
{

/// Whether so little is left of memory and swap that the host should make room.
bool memory_low()
{
    const zr::platform::memory_status s = zr::platform::read_memory_status();
    const double threshold = zr::platform::load_word(&memory_threshold);
    return s.total_bytes != 0 && double(s.available_bytes) / double(s.total_bytes) < threshold;
}

/// Asks the host for room while memory is low; false when it gives up.
bool host_lets_request()
{
    while (zr::host::may_ask_for_memory() && memory_low())
    {
        if (zr::host::low_memory() < 1) { return false; }
    }
    return true;
}

template <class Request> void* ask_heap(size_t size, Request request)
{
    // No host can make room for more than the address space: asking it would go on for ever.
    const bool possible = size <= PTRDIFF_MAX;
    // A host that gives up before the request is not asked a second time for the same bytes.
    if (possible && host_lets_request())
    {
        void* block = request();
        while (!block && zr::host::may_ask_for_memory() && zr::host::low_memory() == 1) { block = request(); }
        if (block) { return block; }
    }
    zr::report_failure(ZR_ERROR_MEMORY, "memory is exhausted: %zu bytes wanted", size);
    return nullptr;
}

size_t bytes_used(const memory_list* list) { return size_t(list->next_free - list->last_chunk->block); }

bool add_chunk(memory_list* list)
{
    auto* chunk = static_cast<memory_chunk*>(zr_malloc(sizeof(memory_chunk)));
    auto* block = chunk ? static_cast<unsigned char*>(zr_malloc(list->chunk_size)) : nullptr;
    if (!block)
    {
        zr_free(chunk);
        return false;
    }
    chunk->block = block;
    chunk->next = nullptr;
    chunk->previous = list->last_chunk;
    if (list->last_chunk) { list->last_chunk->next = chunk; }
    else { list->first_chunk = chunk; }
    list->last_chunk = chunk;
    list->next_free = block;
    list->allocated += list->chunk_size;
    return true;
}

} // namespace
