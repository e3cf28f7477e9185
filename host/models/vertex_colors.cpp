/// @file
/// Each face has a square field of texels, the more the fewer faces there are, since pictures are sampled
/// without interpolation. Fields lie along a Z curve: faces that follow each other in the file mostly lie
/// side by side, so the coarser levels of the picture mix neighbours.
#include "host/models/vertex_colors.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <bit>
#include <map>

namespace host
{

namespace
{

constexpr uint64_t face_limit = 1 << 24; // a picture of 8192 by 8192
constexpr uint64_t wanted_texels = 1 << 22;
constexpr uint32_t min_field = 2, max_field = 256;
constexpr float inset = 0.02f; // texels from a corner of the face to the field's, against rounding
constexpr size_t targa_header = 18;

/// A picture under way as an uncompressed TARGA, bottom row first.
struct field_picture
{
    uint32_t field = min_field, side; ///< texels of a field and of the picture
    model_picture bytes;

    explicit field_picture(uint64_t faces)
    {
        while (field < max_field && faces * field * field * 4 <= wanted_texels) { field *= 2; }
        side = field << ((std::bit_width(faces - 1) + 1) / 2);
        bytes.resize(targa_header + size_t(side) * side * 3);
        bytes[2] = 2;
        bytes[12] = bytes[14] = uint8_t(side);
        bytes[13] = bytes[15] = uint8_t(side >> 8);
        bytes[16] = 24;
    }
};

/// Where the corners of a face lie in its field.
constexpr float corner_places[4][2] = { { 0, 0 }, { 1, 0 }, { 1, 1 }, { 0, 1 } };
constexpr float triangle_places[3][2] = { { 0, 0 }, { 1, 0 }, { 0, 1 } };

bool has_pictures(const model_material& m);
void cut_large_polygons(model_mesh& m);
model_material colored(const model_material& m, size_t picture);
void place_mesh(model_mesh& m, field_picture& p, uint64_t& face);
void add_face(field_picture& p, uint64_t number, const uint8_t* colors, uint32_t corners, float* uv);
uint32_t every_second_bit(uint64_t n, int from);
float channel_at(const uint8_t* colors, uint32_t corners, size_t channel, float s, float t);

} // namespace

void bake_vertex_colors(model& m)
{
    uint64_t faces = 0;
    for (model_mesh& mesh : m.meshes)
    {
        if (mesh.colors.empty()) { continue; }
        if (!has_pictures(m.materials.at(mesh.material)))
        {
            cut_large_polygons(mesh);
            faces += mesh.corner_count.size();
            continue;
        }
        m.notes.push_back(
            fmt::format("mesh \"{}\": its vertex colours are left out beside its pictures", mesh.name));
        mesh.colors = {};
    }
    if (faces > face_limit)
    {
        m.notes.push_back("its vertex colours are left out: it has more than 16 million faces");
    }
    if (faces == 0 || faces > face_limit) { return; }
    field_picture p(faces);
    std::map<uint32_t, uint32_t> copies;
    uint64_t face = 0;
    for (model_mesh& mesh : m.meshes)
    {
        if (mesh.colors.empty()) { continue; }
        const auto [copy, is_new] = copies.emplace(mesh.material, uint32_t(m.materials.size()));
        if (is_new)
        {
            m.materials.push_back(colored(model_material(m.materials[mesh.material]), m.pictures.size()));
        }
        mesh.material = copy->second;
        place_mesh(mesh, p, face);
    }
    m.pictures.push_back(std::move(p.bytes));
}

namespace
{

bool has_pictures(const model_material& m)
{
    return std::any_of(
        m.textures.begin(), m.textures.end(), [](const model_texture& t) { return !t.file.empty(); });
}

/// Cuts polygons of more than four corners into the triangles of a fan; polygons are convex here.
void cut_large_polygons(model_mesh& m)
{
    if (std::all_of(m.corner_count.begin(), m.corner_count.end(), [](uint32_t n) { return n <= 4; }))
    {
        return;
    }
    model_mesh out = m;
    out.corner_count.clear();
    out.corners.clear();
    out.colors.clear();
    out.uv[0].clear();
    uint32_t first = 0;
    const auto add = [&](uint32_t corner)
    {
        out.corners.push_back(m.corners[corner]);
        out.colors.insert(out.colors.end(), &m.colors[3 * corner], &m.colors[3 * corner] + 3);
        if (!m.uv[0].empty())
        {
            out.uv[0].insert(out.uv[0].end(), &m.uv[0][2 * corner], &m.uv[0][2 * corner] + 2);
        }
    };
    for (const uint32_t count : m.corner_count)
    {
        if (count <= 4)
        {
            out.corner_count.push_back(count);
            for (uint32_t k = 0; k < count; ++k) { add(first + k); }
        }
        for (uint32_t k = 1; count > 4 && k + 1 < count; ++k)
        {
            out.corner_count.push_back(3);
            for (const uint32_t corner : { first, first + k, first + k + 1 }) { add(corner); }
        }
        first += count;
    }
    m = std::move(out);
}

/// The material with the picture on it. glTF multiplies vertex colours; elsewhere they are the colour.
model_material colored(const model_material& m, size_t picture)
{
    model_material out = m;
    out.textures[texture_color].file = fmt::format("*{}", picture);
    out.textures[texture_color].uv_set = 1;
    if (!m.linear_colors) { out.diffuse = out.base_color = std::array<float, 3>{ 1, 1, 1 }; }
    return out;
}

void place_mesh(model_mesh& m, field_picture& p, uint64_t& face)
{
    m.uv[1].resize(2 * m.corners.size()); // the first set stays for materials of the scene
    size_t corner = 0;
    for (const uint32_t count : m.corner_count)
    {
        add_face(p, face++, &m.colors[3 * corner], count, &m.uv[1][2 * corner]);
        corner += count;
    }
    m.colors = {};
}

/// Puts the colours of a face with 3 or 4 corners into its field, and gives the corners their coordinates.
void add_face(field_picture& p, uint64_t number, const uint8_t* colors, uint32_t corners, float* uv)
{
    const uint32_t left = p.field * every_second_bit(number, 0),
                   bottom = p.field * every_second_bit(number, 1);
    const auto& places = corners == 4 ? corner_places : triangle_places;
    for (uint32_t k = 0; k < corners; ++k)
    {
        const auto coordinate = [&](uint32_t start, float place)
        { return (float(start) + inset + place * (float(p.field) - 2 * inset)) / float(p.side); };
        uv[2 * k] = coordinate(left, places[k][0]);
        uv[2 * k + 1] = coordinate(bottom, places[k][1]);
    }
    for (uint32_t y = 0; y < p.field; ++y)
    {
        uint8_t* texel = &p.bytes[targa_header + (size_t(bottom + y) * p.side + left) * 3];
        for (uint32_t x = 0; x < p.field; ++x, texel += 3)
        {
            const float s = (float(x) + 0.5f) / float(p.field), t = (float(y) + 0.5f) / float(p.field);
            for (size_t c = 0; c < 3; ++c)
            {
                texel[2 - c] = uint8_t(std::clamp(channel_at(colors, corners, c, s, t), 0.0f, 255.0f) + 0.5f);
            }
        }
    }
}

/// Every second bit of a number, from `from` on.
uint32_t every_second_bit(uint64_t n, int from)
{
    uint32_t out = 0;
    for (int i = 0; i < 16; ++i) { out |= uint32_t(n >> (2 * i + from) & 1) << i; }
    return out;
}

/// One channel at a place in the field. Beyond a triangle's long side its plane goes on.
float channel_at(const uint8_t* colors, uint32_t corners, size_t channel, float s, float t)
{
    const auto corner = [&](size_t k) { return float(colors[3 * k + channel]); };
    const float first = corner(0) + s * (corner(1) - corner(0));
    if (corners == 3) { return first + t * (corner(2) - corner(0)); }
    return first + t * (corner(3) + s * (corner(2) - corner(3)) - first);
}

} // namespace

} // namespace host
