/// @file
/// A model as it comes out of its file: polygons in the file's own space, raw material properties, and
/// what was left out. The importing child fills it; the parent checks it again after the pipe.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace host
{

/// What a picture of a model's material does.
enum texture_role : int
{
    texture_color = 0,
    texture_opacity = 1, ///< its alpha where it has one, else its brightness
    texture_bump = 2,
    texture_normal = 3
};
inline constexpr int texture_roles = 4;

/// One use of a picture; `file` is empty for none.
struct model_texture
{
    std::string file;    ///< as the model names it, from the model's folder; "*3" is `model::pictures[3]`
    uint32_t uv_set = 0; ///< 0 or 1
    std::array<float, 2> scale{ 1, 1 }, offset{ 0, 0 }; ///< on u, v: u x scale + offset
    bool mirror = false;                                ///< every second tile is flipped
    float strength = 1;                                 ///< of a relief
};

/// Material properties as the file gives them; what it does not give is absent. Colours as in the file.
struct model_material
{
    std::string name;
    std::optional<std::array<float, 3>> diffuse, specular, emissive, transparent, base_color;
    std::optional<float> opacity, shininess, shininess_strength, reflectivity, ior;
    std::optional<float> metallic, roughness, transmission;
    std::optional<int32_t> illumination; ///< the illumination model of an OBJ material
    bool linear_colors = false;          ///< the format defines its colours as linear light
    bool blended = false;                ///< glTF's alpha mode BLEND: opacity counts
    std::optional<float> alpha_cutoff;   ///< glTF's alpha mode MASK: what lies below is a hole
    std::array<model_texture, texture_roles> textures;
};

/// A polygon mesh. Positions are shared by equal place; texture coordinates belong to corners.
struct model_mesh
{
    std::string name;
    uint32_t material = 0;              ///< index in `model::materials`
    std::vector<float> positions;       ///< x, y, z of each vertex
    std::vector<uint32_t> corner_count; ///< of each polygon, 3 or more
    std::vector<uint32_t> corners;      ///< vertex of each corner, polygon after polygon
    std::vector<float> uv[2];           ///< u, v of each corner, or empty
    std::vector<uint8_t>
        colors;               ///< r, g, b of each corner as display values, or empty; never leaves the child
    bool is_closed = false;   ///< every edge joins two polygons that run it in opposite ways
    double smooth_cosine = 1; ///< faces whose normals agree by more are shaded smoothly
};

/// A picture inside a model file, or made of its vertex colours: a whole PNG, JPEG or TARGA.
using model_picture = std::vector<unsigned char>;

struct model
{
    std::vector<model_material> materials;
    std::vector<model_picture> pictures;
    std::vector<model_mesh> meshes;
    uint64_t dropped_polygons = 0;  ///< points, lines and polygons without area in their indices
    double metres_per_unit = 1;     ///< of the file's coordinates
    std::string unit_source;        ///< where that comes from, such as "the file says so"
    char up = 'z';                  ///< the file's axis that points up
    std::vector<std::string> notes; ///< what the file has and the model lacks, a line each
    bool has_normals = false;
};

/// The largest coordinate in file units; beyond it a file counts as damaged.
constexpr float model_far = 1e9f;

/// What is wrong with the mesh (a vertex that is not finite or too far, an index out of range, arrays of
/// wrong lengths); empty when it is sound.
std::string mesh_fault(const model_mesh& mesh, size_t material_count);

/// Polygons with everything still by corner, as importers give them.
struct corner_mesh
{
    std::string name;
    uint32_t material = 0;
    std::vector<float> positions;       ///< x, y, z per corner
    std::vector<float> normals;         ///< x, y, z per corner, or empty
    std::vector<float> uv[2];           ///< u, v per corner, or empty
    std::vector<uint8_t> colors;        ///< r, g, b per corner as display values, or empty
    std::vector<uint32_t> corner_count; ///< of each polygon; any number
};

/// Welds the meshes of one part of a model and appends them to `out`: equal positions become one vertex,
/// repeated corners go, polygons of fewer than 3 corners are counted and dropped, concave ones are cut. The
/// part's connected pieces are looked at over all its meshes, so that a solid of two materials still counts
/// as closed; a mesh with closed and open pieces becomes two.
void weld_part(const std::vector<corner_mesh>& part, model& out);

} // namespace host
