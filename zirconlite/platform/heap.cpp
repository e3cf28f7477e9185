/// @file
/// The C heap, and memory status from the kernel's process file system.
#include "zirconlite/platform/heap.hpp"

#include <fcntl.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "zirconlite/platform/clock.hpp"

namespace zr::platform
{

namespace
{

constexpr uint64_t status_lifetime_ms = 100;

heap_gate installed_gate = nullptr;
uint64_t cached_available = 0;
uint64_t cached_total = 0;
uint64_t cache_expires_ms = 0;
bool overridden = false;

bool gate_refuses(size_t bytes);
uint64_t field_bytes(const char* text, const char* name);
memory_status ask_system();

} // namespace

void* heap_allocate(size_t size)
{
    if (gate_refuses(size)) { return nullptr; }
    return malloc(size ? size : 1);
}

void* heap_allocate_zeroed(size_t count, size_t size)
{
    size_t bytes = 0;
    if (__builtin_mul_overflow(count, size, &bytes) || gate_refuses(bytes)) { return nullptr; }
    return calloc(bytes ? bytes : 1, 1);
}

void* heap_resize(void* block, size_t size)
{
    if (gate_refuses(size)) { return nullptr; }
    return realloc(block, size ? size : 1);
}

void heap_free(void* block) { free(block); }

void set_heap_gate(heap_gate gate) { __atomic_store_n(&installed_gate, gate, __ATOMIC_RELEASE); }

memory_status read_memory_status()
{
    const uint64_t now = tick_ms();
    uint64_t expires = __atomic_load_n(&cache_expires_ms, __ATOMIC_ACQUIRE);
    if (now >= expires && !__atomic_load_n(&overridden, __ATOMIC_ACQUIRE))
    {
        // One thread asks; the others go on with the answer that is there.
        if (__atomic_compare_exchange_n(&cache_expires_ms, &expires, now + status_lifetime_ms, false,
                __ATOMIC_ACQ_REL, __ATOMIC_RELAXED))
        {
            const memory_status fresh = ask_system();
            __atomic_store_n(&cached_available, fresh.available_bytes, __ATOMIC_RELAXED);
            __atomic_store_n(&cached_total, fresh.total_bytes, __ATOMIC_RELAXED);
        }
    }
    return { __atomic_load_n(&cached_available, __ATOMIC_RELAXED),
        __atomic_load_n(&cached_total, __ATOMIC_RELAXED) };
}

void override_memory_status(const memory_status* status)
{
    __atomic_store_n(&overridden, status != nullptr, __ATOMIC_RELEASE);
    __atomic_store_n(&cache_expires_ms, 0, __ATOMIC_RELEASE);
    if (!status) { return; }
    __atomic_store_n(&cached_available, status->available_bytes, __ATOMIC_RELAXED);
    __atomic_store_n(&cached_total, status->total_bytes, __ATOMIC_RELAXED);
}

namespace
{

bool gate_refuses(size_t bytes)
{
    const heap_gate gate = __atomic_load_n(&installed_gate, __ATOMIC_ACQUIRE);
    return gate && !gate(bytes);
}

/// The value of a line such as "MemTotal:  2048 kB", in bytes; 0 when there is none.
uint64_t field_bytes(const char* text, const char* name)
{
    const char* line = strstr(text, name);
    return line ? strtoull(line + strlen(name), nullptr, 10) * 1024 : 0;
}

memory_status ask_system()
{
    const int fd = open("/proc/meminfo", O_RDONLY | O_CLOEXEC);
    if (fd < 0) { return { 0, 0 }; }
    char text[4096];
    const ssize_t n = read(fd, text, sizeof(text) - 1);
    close(fd);
    if (n <= 0) { return { 0, 0 }; }
    text[n] = 0;
    return { field_bytes(text, "MemAvailable:") + field_bytes(text, "SwapFree:"),
        field_bytes(text, "MemTotal:") + field_bytes(text, "SwapTotal:") };
}

} // namespace

} // namespace zr::platform
