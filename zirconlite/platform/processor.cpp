#include "zirconlite/platform/processor.hpp"

namespace zr::platform
{

namespace
{

bool ask_processor()
{
#if defined(__x86_64__)
    return __builtin_cpu_supports("avx2") != 0;
#else
    return false;
#endif
}

bool avx2 = ask_processor();

} // namespace

bool has_avx2() { return avx2; }

void force_portable(bool portable) { avx2 = !portable && ask_processor(); }

} // namespace zr::platform
