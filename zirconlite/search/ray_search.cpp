#include "zirconlite/search/ray_search.hpp"

#include "zirconlite/platform/processor.hpp"
#include "zirconlite/search/tree_walk.hpp"
#include "zirconlite/search/voxel_grid.hpp"

namespace zr
{

bool locate_nearest_hit(const document& doc, ray& r)
{
    const voxel_grid* built = doc.voxel_grid;
    if (!built) { return false; }
    if (built->structure == SEARCH_TREE)
    {
        const auto nearest = platform::has_avx2() ? avx2_walk::nearest : portable_walk::nearest;
        return nearest(built->tree, doc.object_table, r);
    }
    return built->nodes.count && grid_nearest_hit(*built, doc.object_table, r);
}

bool visit_hits(const document& doc, ray& r, hit_visitor visit, void* context)
{
    const voxel_grid* built = doc.voxel_grid;
    bool ended = false;
    if (built && built->structure == SEARCH_TREE)
    {
        const auto walk = platform::has_avx2() ? avx2_walk::visit : portable_walk::visit;
        ended = walk(built->tree, doc.object_table, r, visit, context);
    }
    else if (built && built->nodes.count)
    {
        ended = grid_visit_hits(*built, doc.object_table, r, visit, context);
    }
    if (!ended)
    {
        r.hit_t = ZR_FAR;
        r.hit_object = nullptr;
    }
    return ended;
}

} // namespace zr
