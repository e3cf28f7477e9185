// Sutherland-Hodgman clipping: Sutherland and Hodgman, "Reentrant polygon clipping", CACM 17 (1974).
#include <utility>

#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/search/voxel_grid.h"

using namespace zr;

namespace
{

bool is_outside(const clip_plane& plane, const vector3& p);
vector3 crossing(const clip_plane& plane, const vector3& a, const vector3& b);

} // namespace

int32_t zr_sh_clip_arbitrary(
    const clip_set* set, int32_t vertex_count, vector3* polygon, vector3* scratch, vector3** result_out)
{
    vector3 *in = polygon, *out = scratch;
    int32_t count = vertex_count;
    in[count] = in[0];
    for (int32_t i = 0; i < set->count; ++i)
    {
        const clip_plane& plane = set->planes[i];
        int32_t kept = 0;
        bool a_outside = is_outside(plane, in[0]);
        for (int32_t e = 0; e < count; ++e)
        {
            const vector3 &a = in[e], &b = in[e + 1];
            const bool b_outside = is_outside(plane, b);
            if (a_outside != b_outside) { out[kept++] = crossing(plane, a, b); }
            if (!b_outside) { out[kept++] = b; }
            a_outside = b_outside;
        }
        if (kept < 3) { return 0; }
        out[kept] = out[0];
        count = kept;
        std::swap(in, out);
    }
    *result_out = in;
    return count;
}

namespace
{

bool is_outside(const clip_plane& plane, const vector3& p)
{
    return dot(p - plane.point, plane.normal) > 0.0;
}

vector3 crossing(const clip_plane& plane, const vector3& a, const vector3& b)
{
    const vector3 along = normalized(b - a);
    const double t = -(dot(a, plane.normal) - plane.d) / dot(along, plane.normal);
    return a + t * along;
}

} // namespace
