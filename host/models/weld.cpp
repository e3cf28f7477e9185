/// @file
/// From corners to shared vertices: welding by position, closed and open pieces, and the angle up to
/// which the file's normals smooth.
#include "host/models/concave.hpp"
#include "host/models/model.hpp"
#include "host/vectors.hpp"

#include <algorithm>
#include <bit>
#include <cmath>
#include <numeric>

namespace host
{

namespace
{

// Normals of neighbouring corners are stored in files with few digits.
constexpr double same_normal = 0.9999;
// Rounding tilts coplanar triangles by less than this.
constexpr double flat_cosine = 0.99999;
constexpr double margin_rad = 0.5 * pi / 180;
// Around a vertex with more faces than this the angle between two is bounded by their tilt to the normal.
constexpr size_t exact_fan = 16;

struct place
{
    float x, y, z;
    bool operator==(const place&) const = default;
};

/// What a rounding of sines and cosines leaves in place of 0, as a share of the part's largest coordinate.
constexpr float zero_share = 1e-7f;

/// Vertex numbers for places, in order of first use. -0 and 0 are the same place, and so is what lies nearer
/// to 0 than `zero`: the pole of a computed ball would be a hole without it.
class place_table
{
public:
    place_table(size_t expected, float zero) : slots_(std::bit_ceil(expected * 2 + 16), 0), zero_(zero) {}

    uint32_t number_of(const float* p)
    {
        const auto snapped = [this](float c) { return std::fabs(c) <= zero_ ? 0.0f : c; };
        const place at{ snapped(p[0]), snapped(p[1]), snapped(p[2]) };
        size_t slot = hash(at) & (slots_.size() - 1);
        while (slots_[slot])
        {
            if (places_[slots_[slot] - 1] == at) { return slots_[slot] - 1; }
            slot = (slot + 1) & (slots_.size() - 1);
        }
        places_.push_back(at);
        slots_[slot] = uint32_t(places_.size());
        return slots_[slot] - 1;
    }
    const std::vector<place>& places() const { return places_; }

private:
    static uint64_t hash(const place& at)
    {
        uint64_t h = 0x9E3779B97F4A7C15u;
        for (const float v : { at.x, at.y, at.z })
        {
            h = (h ^ std::bit_cast<uint32_t>(v)) * 0xBF58476D1CE4E5B9u;
            h ^= h >> 29;
        }
        return h;
    }
    std::vector<uint32_t> slots_; // number + 1, 0 empty; never more than half full
    float zero_;
    std::vector<place> places_;
};

/// A polygon of the part after welding.
struct polygon
{
    uint32_t mesh;       // index in the part
    size_t first_corner; // in `corners` below
    uint32_t corner_count;
};

struct welded_part
{
    std::vector<place> places;
    std::vector<polygon> polygons;
    std::vector<uint32_t> corners;     // welded vertex
    std::vector<size_t> source_corner; // corner in the polygon's corner_mesh
};

struct direction
{
    double x = 0, y = 0, z = 0;
};

/// A corner with its file normal and its polygon's own.
struct fan_corner
{
    uint32_t vertex;
    direction file_normal, face_normal;
};

welded_part weld(const std::vector<corner_mesh>& part, uint64_t& dropped);
std::vector<bool> closed_pieces(const welded_part& w);
uint32_t root_of(std::vector<uint32_t>& parent, uint32_t v);
model_mesh extract(const welded_part& w, const std::vector<polygon>& polygons, const corner_mesh& source);
double smooth_cosine_of(
    const welded_part& w, const std::vector<polygon>& polygons, const corner_mesh& source);
bool polygon_normal(const welded_part& w, const polygon& p, direction& n);
bool normalise(direction& d);
double smooth_cosine_of_fan(const fan_corner* fan, size_t count);
double dot(const direction& a, const direction& b);

} // namespace

void weld_part(const std::vector<corner_mesh>& part, model& out)
{
    const welded_part w = weld(part, out.dropped_polygons);
    const std::vector<bool> closed = closed_pieces(w);
    std::vector<std::vector<polygon>> split(part.size() * 2);
    for (const polygon& p : w.polygons)
    {
        split[p.mesh * 2 + closed[w.corners[p.first_corner]]].push_back(p);
    }
    for (size_t i = 0; i < split.size(); ++i)
    {
        if (split[i].empty()) { continue; }
        model_mesh m = extract(w, split[i], part[i / 2]);
        m.is_closed = i % 2;
        out.has_normals = out.has_normals || !part[i / 2].normals.empty();
        out.meshes.push_back(std::move(m));
    }
}

std::string mesh_fault(const model_mesh& mesh, size_t material_count)
{
    const size_t vertices = mesh.positions.size() / 3;
    if (mesh.material >= material_count) { return "a material number is out of range"; }
    for (size_t i = 0; i < mesh.positions.size(); ++i)
    {
        if (!(std::abs(mesh.positions[i]) <= model_far))
        {
            return "vertex " + std::to_string(i / 3) +
                   (std::isfinite(mesh.positions[i]) ? " lies beyond 1e9" : " is not a number");
        }
    }
    uint64_t corners = 0;
    for (size_t p = 0; p < mesh.corner_count.size(); ++p)
    {
        if (mesh.corner_count[p] < 3) { return "polygon " + std::to_string(p) + " has fewer than 3 corners"; }
        for (uint32_t k = 0; k < mesh.corner_count[p]; ++k, ++corners)
        {
            if (corners >= mesh.corners.size() || mesh.corners[corners] >= vertices)
            {
                return "polygon " + std::to_string(p) + " has an index out of range";
            }
        }
    }
    if (corners != mesh.corners.size()) { return "its polygons and its corners do not agree"; }
    for (const auto& uv : mesh.uv)
    {
        if (!uv.empty() && uv.size() != corners * 2)
        {
            return "its texture coordinates and corners do not agree";
        }
        for (const float v : uv)
        {
            if (!std::isfinite(v)) { return "a texture coordinate is not a number"; }
        }
    }
    if (!(mesh.smooth_cosine >= -1 && mesh.smooth_cosine <= 1))
    {
        return "its smoothing angle is not a number";
    }
    return "";
}

namespace
{

welded_part weld(const std::vector<corner_mesh>& part, uint64_t& dropped)
{
    size_t total = 0;
    for (const corner_mesh& m : part) { total += m.positions.size() / 3; }
    float largest = 0;
    for (const corner_mesh& m : part)
    {
        for (const float c : m.positions) { largest = std::max(largest, std::fabs(c)); }
    }
    place_table table(total, largest * zero_share);
    welded_part w;
    w.corners.reserve(total);
    w.source_corner.reserve(total);
    for (uint32_t i = 0; i < part.size(); ++i)
    {
        size_t corner = 0;
        for (const uint32_t count : part[i].corner_count)
        {
            const size_t first = w.corners.size();
            for (uint32_t k = 0; k < count; ++k, ++corner)
            {
                const uint32_t v = table.number_of(&part[i].positions[3 * corner]);
                if (w.corners.size() > first && w.corners.back() == v) { continue; }
                w.corners.push_back(v);
                w.source_corner.push_back(corner);
            }
            while (w.corners.size() > first + 1 && w.corners.back() == w.corners[first])
            {
                w.corners.pop_back();
                w.source_corner.pop_back();
            }
            const uint32_t left = uint32_t(w.corners.size() - first);
            if (left < 3)
            {
                ++dropped;
                w.corners.resize(first);
                w.source_corner.resize(first);
                continue;
            }
            w.polygons.push_back({ i, first, left });
        }
    }
    w.places = table.places();
    return w;
}

/// For each vertex whether its connected piece is closed; see model_mesh::is_closed.
std::vector<bool> closed_pieces(const welded_part& w)
{
    std::vector<uint32_t> parent(w.places.size());
    std::iota(parent.begin(), parent.end(), 0u);
    struct edge
    {
        uint32_t low, high;
        bool forward;
    };
    std::vector<edge> edges;
    edges.reserve(w.corners.size());
    for (const polygon& p : w.polygons)
    {
        for (uint32_t k = 0; k < p.corner_count; ++k)
        {
            const uint32_t a = w.corners[p.first_corner + k];
            const uint32_t b = w.corners[p.first_corner + (k + 1) % p.corner_count];
            edges.push_back({ std::min(a, b), std::max(a, b), a < b });
            parent[root_of(parent, a)] = root_of(parent, b);
        }
    }
    std::sort(edges.begin(), edges.end(),
        [](const edge& a, const edge& b) {
            return a.low != b.low     ? a.low < b.low
                   : a.high != b.high ? a.high < b.high
                                      : a.forward < b.forward;
        });

    std::vector<bool> open_root(w.places.size(), false);
    for (size_t i = 0; i < edges.size();)
    {
        size_t end = i + 1;
        while (end < edges.size() && edges[end].low == edges[i].low && edges[end].high == edges[i].high)
        {
            ++end;
        }
        const bool pair = end - i == 2 && edges[i].forward != edges[i + 1].forward;
        if (!pair) { open_root[root_of(parent, edges[i].low)] = true; }
        i = end;
    }
    std::vector<bool> closed(w.places.size());
    for (uint32_t v = 0; v < closed.size(); ++v) { closed[v] = !open_root[root_of(parent, v)]; }
    return closed;
}

uint32_t root_of(std::vector<uint32_t>& parent, uint32_t v)
{
    while (parent[v] != v) { v = parent[v] = parent[parent[v]]; }
    return v;
}

model_mesh extract(const welded_part& w, const std::vector<polygon>& polygons, const corner_mesh& source)
{
    model_mesh m;
    m.name = source.name;
    m.material = source.material;
    std::vector<uint32_t> number(w.places.size(), UINT32_MAX);
    const auto add_corner = [&](const polygon& p, uint32_t k)
    {
        const uint32_t v = w.corners[p.first_corner + k];
        if (number[v] == UINT32_MAX)
        {
            number[v] = uint32_t(m.positions.size() / 3);
            m.positions.insert(m.positions.end(), { w.places[v].x, w.places[v].y, w.places[v].z });
        }
        m.corners.push_back(number[v]);
        for (int set = 0; set < 2; ++set)
        {
            if (source.uv[set].empty()) { continue; }
            const float* uv = &source.uv[set][2 * w.source_corner[p.first_corner + k]];
            m.uv[set].insert(m.uv[set].end(), { uv[0], uv[1] });
        }
        if (source.colors.empty()) { return; }
        const uint8_t* color = &source.colors[3 * w.source_corner[p.first_corner + k]];
        m.colors.insert(m.colors.end(), color, color + 3);
    };
    std::vector<std::array<double, 3>> points;
    std::vector<uint32_t> triangles;
    for (const polygon& p : polygons)
    {
        points.clear();
        triangles.clear();
        for (uint32_t k = 0; k < p.corner_count && p.corner_count > 3; ++k)
        {
            const place& at = w.places[w.corners[p.first_corner + k]];
            points.push_back({ at.x, at.y, at.z });
        }
        if (cut_concave(points, triangles))
        {
            m.corner_count.insert(m.corner_count.end(), triangles.size() / 3, 3);
            for (const uint32_t k : triangles) { add_corner(p, k); }
            continue;
        }
        m.corner_count.push_back(p.corner_count);
        for (uint32_t k = 0; k < p.corner_count; ++k) { add_corner(p, k); }
    }
    m.smooth_cosine = smooth_cosine_of(w, polygons, source);
    return m;
}

/// See model_mesh::smooth_cosine; 1 for a mesh without normals or with a normal of its own on every face.
double smooth_cosine_of(const welded_part& w, const std::vector<polygon>& polygons, const corner_mesh& source)
{
    if (source.normals.empty()) { return 1; }
    std::vector<fan_corner> fan;
    for (const polygon& p : polygons)
    {
        fan_corner c{};
        if (!polygon_normal(w, p, c.face_normal)) { continue; }
        for (uint32_t k = 0; k < p.corner_count; ++k)
        {
            const float* n = &source.normals[3 * w.source_corner[p.first_corner + k]];
            c.vertex = w.corners[p.first_corner + k];
            c.file_normal = { n[0], n[1], n[2] };
            if (normalise(c.file_normal)) { fan.push_back(c); }
        }
    }
    std::stable_sort(
        fan.begin(), fan.end(), [](const fan_corner& a, const fan_corner& b) { return a.vertex < b.vertex; });
    double cosine = 1;
    for (size_t i = 0; i < fan.size();)
    {
        size_t end = i + 1;
        while (end < fan.size() && fan[end].vertex == fan[i].vertex) { ++end; }
        cosine = std::min(cosine, smooth_cosine_of_fan(&fan[i], end - i));
        i = end;
    }
    if (cosine > flat_cosine) { return 1; }
    return std::cos(std::min(std::acos(std::max(cosine, -1.0)) + margin_rad, pi));
}

/// Newell's normal of a polygon, which also serves bent and concave ones. False for no area.
bool polygon_normal(const welded_part& w, const polygon& p, direction& n)
{
    n = {};
    const place& o = w.places[w.corners[p.first_corner]];
    for (uint32_t k = 0; k < p.corner_count; ++k)
    {
        const place& a = w.places[w.corners[p.first_corner + k]];
        const place& b = w.places[w.corners[p.first_corner + (k + 1) % p.corner_count]];
        const double ax = double(a.x) - o.x, ay = double(a.y) - o.y, az = double(a.z) - o.z;
        const double bx = double(b.x) - o.x, by = double(b.y) - o.y, bz = double(b.z) - o.z;
        n.x += ay * bz - az * by;
        n.y += az * bx - ax * bz;
        n.z += ax * by - ay * bx;
    }
    return normalise(n);
}

bool normalise(direction& d)
{
    const double length = std::sqrt(dot(d, d));
    if (!(length > 1e-30) || !std::isfinite(length)) { return false; }
    d = { d.x / length, d.y / length, d.z / length };
    return true;
}

/// The largest angle, as a cosine, between two faces of a fan that share a file normal at its vertex.
double smooth_cosine_of_fan(const fan_corner* fan, size_t count)
{
    double cosine = 1;
    for (size_t i = 0; i < count; ++i)
    {
        if (count <= exact_fan)
        {
            for (size_t j = i + 1; j < count; ++j)
            {
                if (dot(fan[i].file_normal, fan[j].file_normal) < same_normal) { continue; }
                cosine = std::min(cosine, dot(fan[i].face_normal, fan[j].face_normal));
            }
            continue;
        }
        // Only a face whose normal a neighbour in the file shares is smoothed at all.
        const fan_corner& other = fan[(i + 1) % count];
        if (dot(fan[i].file_normal, other.file_normal) < same_normal) { continue; }
        const double tilt = std::acos(std::clamp(dot(fan[i].face_normal, fan[i].file_normal), -1.0, 1.0));
        cosine = std::min(cosine, std::cos(std::min(2 * tilt, pi)));
    }
    return cosine;
}

double dot(const direction& a, const direction& b) { return a.x * b.x + a.y * b.y + a.z * b.z; }

} // namespace

} // namespace host
