/// @file
/// The system's heap, which answers exhausted memory with null, and how much memory the system has left.
#pragma once

#include <stddef.h>
#include <stdint.h>

namespace zr::platform
{

void* heap_allocate(size_t size); ///< never null for a size of 0 while memory is left
void* heap_allocate_zeroed(size_t count, size_t size);
void* heap_resize(void* block, size_t size);
void heap_free(void* block);

/// Decides before each request whether it may go through; false makes the request fail.
using heap_gate = bool (*)(size_t bytes);

/// Installs a gate in front of the heap, so that tests can fail any request; null takes it away.
void set_heap_gate(heap_gate gate);

/// Memory that programs can still get, with swap.
struct memory_status
{
    uint64_t available_bytes;
    uint64_t total_bytes; ///< 0 when the system does not report it
};

/// The system's answer, at most 100 ms old: asking costs a file read, and every allocation wants to know.
/// Any thread.
memory_status read_memory_status();

/// Makes read_memory_status() answer `status`; null asks the system again. For tests.
void override_memory_status(const memory_status* status);

} // namespace zr::platform
