#include "zirconlite/platform/processor.hpp"

#include <stdint.h>
#include <sys/mman.h>

namespace zr::platform
{

namespace
{

bool portable_only = false;

bool ask_processor();

} // namespace

bool has_avx2() { return !portable_only && ask_processor(); }

void prefer_large_pages(void* block, size_t bytes)
{
    constexpr uintptr_t page = 2 * 1024 * 1024;
    const uintptr_t first = (reinterpret_cast<uintptr_t>(block) + page - 1) / page * page;
    const uintptr_t end = (reinterpret_cast<uintptr_t>(block) + bytes) / page * page;
    if (end > first) { madvise(reinterpret_cast<void*>(first), end - first, MADV_HUGEPAGE); }
}

void force_portable(bool portable) { portable_only = portable; }

} // namespace zr::platform

namespace zr::platform
{

namespace
{

bool ask_processor()
{
#if defined(__x86_64__)
    return __builtin_cpu_supports("avx2") != 0 && __builtin_cpu_supports("fma") != 0;
#else
    return false;
#endif
}

} // namespace

} // namespace zr::platform
