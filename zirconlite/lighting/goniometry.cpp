/// @file
/// Making, sharing and freeing of photometric tables.
#include "zirconlite/lighting/goniometry.h"

#include "zirconlite/frame/memory.h"

goniometry* zr_new_goniometry(void) { return static_cast<goniometry*>(zr_calloc(1, sizeof(goniometry))); }

goniometry* zr_share_goniometry(goniometry* from)
{
    if (!from) { return nullptr; }
    if (!from->sharers)
    {
        from->sharers = static_cast<int32_t*>(zr_malloc(sizeof(int32_t)));
        if (!from->sharers) { return nullptr; }
        *from->sharers = 1;
    }
    auto* made = static_cast<goniometry*>(zr_malloc(sizeof(goniometry)));
    if (!made) { return nullptr; }
    *made = *from;
    ++*made->sharers;
    return made;
}

void zr_free_goniometry(goniometry* g)
{
    if (!g) { return; }
    if (!g->sharers || --*g->sharers == 0)
    {
        for (int32_t i = 0; g->rows && i < g->horizontal_count; ++i) { zr_free(g->rows[i]); }
        zr_free(g->rows);
        zr_free(g->vertical_angles);
        zr_free(g->horizontal_angles);
        zr_free(g->sharers);
    }
    zr_free(g);
}
