#include "zirconlite/search/screen_frustum.hpp"

#include "zirconlite/frame/document.h"
#include "zirconlite/platform/threads.hpp"

namespace
{

int32_t use_screen_buffer = 1; // atomic

} // namespace

int32_t zr_use_screen_buffer(int32_t flag)
{
    zr::platform::store_word(&use_screen_buffer, flag);
    return flag;
}

int32_t zr_invalidate_screen_frustum(document* doc)
{
    if (!doc) { return 0; }
    doc->frustum_invalid = 1;
    return 1;
}

namespace zr
{

bool screen_buffer_in_use() { return platform::load_word(&use_screen_buffer) != 0; }

} // namespace zr
