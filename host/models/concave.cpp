/// @file
/// Ear clipping (Meisters, "Polygons have ears", 1975) in the plane that shows the polygon largest.
#include "host/models/concave.hpp"

#include <algorithm>
#include <cmath>

namespace host
{

namespace
{

using point2 = std::array<double, 2>;

bool flatten(const std::vector<std::array<double, 3>>& corners, std::vector<point2>& out);
bool is_inside(const point2& p, const point2& a, const point2& b, const point2& c);
double turn(const point2& a, const point2& b, const point2& c);

} // namespace

bool cut_concave(const std::vector<std::array<double, 3>>& corners, std::vector<uint32_t>& triangles)
{
    const uint32_t count = uint32_t(corners.size());
    std::vector<point2> p;
    if (count < 4 || !flatten(corners, p)) { return false; }

    double extent = 0;
    for (const point2& q : p) { extent = std::max({ extent, std::abs(q[0]), std::abs(q[1]) }); }
    // Corners on a straight line are no reason to cut, even when rounding bends them inwards.
    const double bend = -1e-9 * extent * extent;
    std::vector<uint32_t> next(count), previous(count), reflex;
    for (uint32_t k = 0; k < count; ++k)
    {
        next[k] = (k + 1) % count;
        previous[k] = (k + count - 1) % count;
    }
    for (uint32_t k = 0; k < count; ++k)
    {
        if (turn(p[previous[k]], p[k], p[next[k]]) < bend) { reflex.push_back(k); }
    }
    if (reflex.empty()) { return false; }

    const auto is_ear = [&](uint32_t k)
    {
        const point2 &a = p[previous[k]], &b = p[k], &c = p[next[k]];
        if (turn(a, b, c) <= 0) { return false; }
        for (const uint32_t r : reflex)
        {
            // Places that occur twice, as where a hole joins its outline, do not block each other.
            if (p[r] != a && p[r] != b && p[r] != c && is_inside(p[r], a, b, c)) { return false; }
        }
        return true;
    };
    uint32_t at = 0, left = count, tried = 0;
    while (left > 3)
    {
        // A polygon that crosses itself may run out of ears; cutting anywhere still ends.
        if (!is_ear(at) && tried++ < left)
        {
            at = next[at];
            continue;
        }
        triangles.insert(triangles.end(), { previous[at], at, next[at] });
        next[previous[at]] = next[at];
        previous[next[at]] = previous[at];
        std::erase_if(
            reflex, [&](uint32_t r) { return r == at || turn(p[previous[r]], p[r], p[next[r]]) >= 0; });
        at = next[next[at]];
        tried = 0;
        --left;
    }
    triangles.insert(triangles.end(), { previous[at], at, next[at] });
    return true;
}

namespace
{

/// The polygon in two dimensions, running to the left. False for one without area.
bool flatten(const std::vector<std::array<double, 3>>& corners, std::vector<point2>& out)
{
    std::array<double, 3> normal{};
    const auto& o = corners[0];
    for (size_t k = 0; k < corners.size(); ++k)
    {
        const auto &a = corners[k], &b = corners[(k + 1) % corners.size()];
        for (size_t i = 0; i < 3; ++i)
        {
            const size_t u = (i + 1) % 3, v = (i + 2) % 3;
            normal[i] += (a[u] - o[u]) * (b[v] - o[v]) - (a[v] - o[v]) * (b[u] - o[u]);
        }
    }
    size_t drop = 0;
    for (size_t i = 1; i < 3; ++i) { drop = std::abs(normal[i]) > std::abs(normal[drop]) ? i : drop; }
    if (!(std::abs(normal[drop]) > 0)) { return false; }
    size_t u = (drop + 1) % 3, v = (drop + 2) % 3;
    if (normal[drop] < 0) { std::swap(u, v); }
    for (const auto& c : corners) { out.push_back({ c[u] - o[u], c[v] - o[v] }); }
    return true;
}

bool is_inside(const point2& p, const point2& a, const point2& b, const point2& c)
{
    return turn(a, b, p) >= 0 && turn(b, c, p) >= 0 && turn(c, a, p) >= 0;
}

/// Twice the area of a triangle; positive when it runs to the left.
double turn(const point2& a, const point2& b, const point2& c)
{
    return (b[0] - a[0]) * (c[1] - a[1]) - (b[1] - a[1]) * (c[0] - a[0]);
}

} // namespace

} // namespace host
