/** @file
 *  The library's memory: one private heap behind four functions, and `memory_list`, an arena whose objects
 *  are freed only together.
 *
 *  Before and after each request the heap consults the host's `host_low_memory`, see
 *  zr_set_memory_threshold. What the library frees for a host came from zr_malloc or zr_dupestring. */
#ifndef ZIRCONLITE_FRAME_MEMORY_H
#define ZIRCONLITE_FRAME_MEMORY_H

#include "zirconlite/types.h"

ZR_EXTERN_C_BEGIN

/** One chunk of an arena. */
typedef struct memory_chunk
{
    struct memory_chunk *next, *previous; /**< neighbours in the list */
    unsigned char* block;                 /**< `chunk_size` bytes from zr_malloc */
} memory_chunk;

/** An arena: objects are cut from chunks by moving a pointer, aligned to 8 bytes, never moved and never
 *  freed singly. The bytes left in a chunk when an object does not fit stay unused. One thread at a time
 *  may build a list; reading needs no lock. */
typedef struct memory_list
{
    int32_t object_count;                   /**< objects handed out */
    int32_t chunk_shift;                    /**< trunc(log2(`chunk_size`)) */
    size_t allocated;                       /**< bytes held in chunks */
    size_t chunk_size;                      /**< usable bytes of each chunk; a power of two, set once */
    memory_chunk *first_chunk, *last_chunk; /**< ends of the list of chunks */
    unsigned char* next_free;               /**< next free byte in `last_chunk` */
} memory_list;

/** Chunk sizes in use: the lists of a document, and the small lists of plants and materials. */
enum
{
    MEMORY_CHUNK_DOCUMENT = 0x40000,
    MEMORY_CHUNK_SMALL = 8192
};

/** Bytes from the private heap, not zeroed. NULL when memory is exhausted and the host gives up. Any
 *  thread. */
ZR_API void* zr_malloc(size_t size);

/** `count` x `size` zeroed bytes; NULL when the product overflows or memory is exhausted. Any thread. */
ZR_API void* zr_calloc(size_t count, size_t size);

/** Changes the size of a block; a null `block` acts as zr_malloc. On failure gives NULL and `block` stays
 *  valid. Any thread. */
ZR_API void* zr_realloc(void* block, size_t size);

/** Frees a block of the private heap; NULL does nothing. Any thread. */
ZR_API void zr_free(void* block);

/** A copy of `text` by zr_malloc; NULL for a null text or when memory fails. The caller frees it. */
ZR_API char16_t* zr_dupestring(const char16_t* text);

/** Sets the share of free memory (with swap) below which `host_low_memory` is asked before a request;
 *  0.07 at first. Returns 1. */
ZR_API int32_t zr_set_memory_threshold(double threshold);

/** The threshold truncated to an integer, so 0 at the default. */
ZR_API int32_t zr_get_memory_threshold(void);

/** Makes an empty list with no chunk in `*list`; NULL there when memory fails. */
ZR_API void zr_init_memory_list(memory_list** list, size_t chunk_size);

/** `size` bytes of the list, rounded up to a multiple of 8; NULL when memory fails or `size` is above the
 *  chunk size. Not zeroed. */
ZR_API void* zr_new_object(memory_list* list, size_t size);

/** As zr_new_object, with the first `size` bytes zeroed. */
ZR_API void* zr_new_initialized_object(memory_list* list, size_t size);

/** Frees all chunks and resets the record, which stays and can be used again. A null `*list` does
 *  nothing. */
ZR_API void zr_free_memory_list(memory_list** list);

/** Bytes held in chunks; 0 for NULL. */
ZR_API size_t zr_mem_get_alloc(const memory_list* list);

/** An address as an offset: (chunk index << `chunk_shift`) + distance in the chunk. 0 for an address in no
 *  chunk, which is also the offset of the very first object. */
ZR_API size_t memory_list_offset(const void* address, const memory_list* list);

/** The inverse of memory_list_offset; NULL for an offset behind the last chunk. */
ZR_API void* memory_list_address(size_t offset, const memory_list* list);

ZR_EXTERN_C_END

#endif
