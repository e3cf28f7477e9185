/// @file
/// Reads a model file through assimp into welded meshes. Runs in the child only.
#include "host/models/gltf_check.hpp"
#include "host/models/import.hpp"
#include "host/models/model_materials.hpp"
#include "host/models/obj_check.hpp"
#include "host/models/vertex_colors.hpp"
#include "host/text.hpp"
#include "host/vectors.hpp"

#include <assimp/GltfMaterial.h>
#include <assimp/Importer.hpp>
#include <assimp/ObjMaterial.h>
#include <assimp/config.h>
#include <assimp/material.h>
#include <assimp/postprocess.h>
#include <assimp/scene.h>

#include <algorithm>
#include <cctype>
#include <cmath>

namespace host
{

namespace
{

// Corners of all meshes together; beyond it a file multiplies its parts without end.
constexpr uint64_t corner_limit = 400'000'000;
constexpr int depth_limit = 1000;
constexpr uint64_t part_limit = 4'000'000;

/// What a format says about its space, and what assimp has done with it when the file arrives.
struct format_row
{
    const char* extension;
    char up;            ///< of the file's own axes
    bool turned;        ///< assimp has turned z up into y up
    bool knows_units;   ///< assimp has scaled to metres by the root's matrix
    bool linear_colors; ///< colours are linear light
};
constexpr format_row formats[] = {
    { ".obj", 'y', false, false, false },
    { ".gltf", 'y', false, false, true },
    { ".glb", 'y', false, false, true },
    { ".ply", 'z', false, false, false },
    { ".dae", 'y', false, true, false },
    { ".stl", 'z', false, false, false },
    { ".3ds", 'z', true, false, false },
    { ".ifc", 'z', true, true, false },
};
constexpr format_row other_format = { "", 'y', false, false, false };

/// The kinds of assimp's that fill a role, the best first; formats disagree about their names.
constexpr aiTextureType texture_types[texture_roles][2] = {
    { aiTextureType_BASE_COLOR, aiTextureType_DIFFUSE },
    { aiTextureType_OPACITY, aiTextureType_NONE },
    { aiTextureType_HEIGHT, aiTextureType_DISPLACEMENT },
    { aiTextureType_NORMALS, aiTextureType_NORMAL_CAMERA },
};

// A smoothing group says that faces are smooth and not how far; this is where modellers put the edge.
const double group_cosine = std::cos(60 * pi / 180);

struct walk_state
{
    const aiScene& scene;
    bool linear_colors;
    model& out;
    uint64_t corners = 0, parts = 0;
    std::string fault{};
};

const format_row& format_of(const std::filesystem::path& file);
std::string extension_of(const std::filesystem::path& file);
std::string lower_case_of(std::string e);
double scale_to_metres(const import_request& request, const format_row& format, const aiScene& s);
void describe_space(const import_request& request, const format_row& format, const aiScene& s, model& m);
double own_unit(const aiScene& s);
model_material read_material(const aiMaterial& source, const format_row& format);
std::optional<std::array<float, 3>> color_of(const aiMaterial& m, const char* key);
std::optional<float> number_of(const aiMaterial& m, const char* key);
model_texture read_texture(const aiMaterial& source, aiTextureType type);
bool walk(walk_state& s, const aiNode& node, const aiMatrix4x4& above, int depth);
std::string read_mesh(const aiMesh& source, const aiMatrix4x4& matrix, const std::string& name,
    bool linear_colors, corner_mesh& m);
std::vector<uint8_t> vertex_colors(const aiMesh& source, bool is_linear);
aiMatrix4x4 upright(const import_request& request, const format_row& format);
void apply_obj(const std::filesystem::path& file, model& m);

} // namespace

bool is_model_extension(const std::string& extension)
{
    return !extension.empty() && Assimp::Importer().IsExtensionSupported(lower_case_of(extension));
}

bool read_model_file(const import_request& request, model& m, std::string& refusal)
{
    const format_row& format = format_of(request.file);
    Assimp::Importer importer;
    if (format.knows_units && request.up)
    {
        importer.SetPropertyBool(AI_CONFIG_IMPORT_COLLADA_IGNORE_UP_DIRECTION, true);
    }
    if (!importer.IsExtensionSupported(extension_of(request.file)))
    {
        refusal = "the format \"" + extension_of(request.file) + "\" is not known";
        return false;
    }
    if (format.linear_colors)
    {
        gltf_findings found = check_gltf(request.file);
        m.notes = std::move(found.notes);
        if (!(refusal = found.fault).empty()) { return false; }
    }
    const aiScene* s = importer.ReadFile(request.file.string(), 0);
    if (!s || !s->mRootNode || (s->mFlags & AI_SCENE_FLAGS_INCOMPLETE && s->mNumMeshes == 0))
    {
        refusal = s ? "the file contains no meshes" : importer.GetErrorString();
        return false;
    }
    const double scale = scale_to_metres(request, format, *s);
    describe_space(request, format, *s, m);
    aiMatrix4x4 size;
    aiMatrix4x4::Scaling(aiVector3D(float(scale)), size);

    for (unsigned i = 0; i < s->mNumMaterials; ++i)
    {
        m.materials.push_back(read_material(*s->mMaterials[i], format));
    }
    for (unsigned i = 0; i < s->mNumTextures; ++i)
    {
        // A picture without a height is a file of `mWidth` bytes; others are bare pixels, which no format
        // has.
        const aiTexture& t = *s->mTextures[i];
        const auto* bytes = reinterpret_cast<const unsigned char*>(t.pcData);
        m.pictures.emplace_back(bytes, bytes + (t.mHeight == 0 && bytes ? t.mWidth : 0));
    }
    walk_state state{ *s, format.linear_colors, m };
    if (!walk(state, *s->mRootNode, size * upright(request, format), 0))
    {
        refusal = state.fault;
        return false;
    }
    if (m.meshes.empty())
    {
        refusal = "the file contains no polygons";
        return false;
    }
    if (std::string(format.extension) == ".obj") { apply_obj(request.file, m); }
    bake_vertex_colors(m);
    return true;
}

namespace
{

const format_row& format_of(const std::filesystem::path& file)
{
    const std::string extension = extension_of(file);
    for (const format_row& f : formats)
    {
        if (extension == f.extension) { return f; }
    }
    return other_format;
}

std::string extension_of(const std::filesystem::path& file)
{
    return lower_case_of(file.extension().string());
}

std::string lower_case_of(std::string e)
{
    std::transform(e.begin(), e.end(), e.begin(), [](unsigned char c) { return char(std::tolower(c)); });
    return e;
}

/// Factor that remains after what assimp scaled itself.
double scale_to_metres(const import_request& request, const format_row& format, const aiScene& s)
{
    if (request.metres_per_unit <= 0) { return 1; }
    return format.knows_units ? request.metres_per_unit / own_unit(s) : request.metres_per_unit;
}

/// Says where unit and axis of the model come from.
void describe_space(const import_request& request, const format_row& format, const aiScene& s, model& m)
{
    const bool is_asked = request.metres_per_unit > 0;
    m.metres_per_unit = is_asked ? request.metres_per_unit : format.knows_units ? own_unit(s) : 1;
    m.unit_source = is_asked               ? "as asked for"
                    : format.knows_units   ? "as the file says"
                    : format.linear_colors ? "as the format defines"
                                           : "a guess, as the format does not say";
    m.up = request.up ? request.up : format.up;
    // Of COLLADA assimp has turned the file's own axis upwards by the root's matrix.
    const aiMatrix4x4& root = s.mRootNode->mTransformation;
    if (!request.up && format.knows_units && !format.turned)
    {
        const float along[3] = { std::abs(root.b1), std::abs(root.b2), std::abs(root.b3) };
        m.up = char('x' + (std::max_element(along, along + 3) - along));
    }
}

/// Metres per unit by which assimp has scaled at the root.
double own_unit(const aiScene& s)
{
    const aiMatrix4x4& root = s.mRootNode->mTransformation;
    const double own =
        std::sqrt(double(root.a1) * root.a1 + double(root.b1) * root.b1 + double(root.c1) * root.c1);
    return own > 1e-12 && std::isfinite(own) ? own : 1;
}

model_material read_material(const aiMaterial& source, const format_row& format)
{
    model_material m;
    aiString text;
    if (source.Get(AI_MATKEY_NAME, text) == aiReturn_SUCCESS) { m.name = utf8_of_bytes(text.C_Str()); }
    m.diffuse = color_of(source, "$clr.diffuse");
    m.specular = color_of(source, "$clr.specular");
    m.emissive = color_of(source, "$clr.emissive");
    m.transparent = color_of(source, "$clr.transparent");
    m.base_color = color_of(source, "$clr.base");
    m.opacity = number_of(source, "$mat.opacity");
    m.shininess = number_of(source, "$mat.shininess");
    m.shininess_strength = number_of(source, "$mat.shinpercent");
    m.reflectivity = number_of(source, "$mat.reflectivity");
    m.ior = number_of(source, "$mat.refracti");
    m.metallic = number_of(source, "$mat.metallicFactor");
    m.roughness = number_of(source, "$mat.roughnessFactor");
    m.transmission = number_of(source, "$mat.transmission.factor");
    int illumination = 0;
    if (source.Get(AI_MATKEY_OBJ_ILLUM, illumination) == aiReturn_SUCCESS) { m.illumination = illumination; }
    m.linear_colors = format.linear_colors;
    if (source.Get(AI_MATKEY_GLTF_ALPHAMODE, text) == aiReturn_SUCCESS)
    {
        m.blended = std::string(text.C_Str()) == "BLEND";
    }
    if (source.Get(AI_MATKEY_GLTF_ALPHAMODE, text) == aiReturn_SUCCESS && std::string(text.C_Str()) == "MASK")
    {
        m.alpha_cutoff = number_of(source, "$mat.gltf.alphaCutoff").value_or(0.5f);
    }
    for (int role = 0; role < texture_roles; ++role)
    {
        for (const aiTextureType type : texture_types[role])
        {
            if (m.textures[role].file.empty() && type != aiTextureType_NONE)
            {
                m.textures[role] = read_texture(source, type);
            }
        }
    }
    if (const auto relief = number_of(source, "$mat.bumpscaling"))
    {
        m.textures[texture_bump].strength = *relief;
    }
    return m;
}

std::optional<std::array<float, 3>> color_of(const aiMaterial& m, const char* key)
{
    aiColor4D c;
    if (aiGetMaterialColor(&m, key, 0, 0, &c) != aiReturn_SUCCESS) { return {}; }
    return std::array<float, 3>{ c.r, c.g, c.b };
}

std::optional<float> number_of(const aiMaterial& m, const char* key)
{
    ai_real v = 0;
    unsigned int count = 1;
    if (aiGetMaterialFloatArray(&m, key, 0, 0, &v, &count) != aiReturn_SUCCESS || count < 1) { return {}; }
    return float(v);
}

/// The first picture of a kind, with its placement.
model_texture read_texture(const aiMaterial& source, aiTextureType type)
{
    model_texture t;
    aiString file;
    if (source.GetTexture(type, 0, &file) != aiReturn_SUCCESS) { return t; }
    t.file = utf8_of_bytes(file.C_Str());
    int set = 0, mode = 0;
    if (source.Get(AI_MATKEY_UVWSRC(type, 0), set) == aiReturn_SUCCESS) { t.uv_set = set == 1; }
    if (source.Get(AI_MATKEY_MAPPINGMODE_U(type, 0), mode) == aiReturn_SUCCESS)
    {
        t.mirror = mode == aiTextureMapMode_Mirror;
    }
    aiUVTransform placement;
    if (source.Get(AI_MATKEY_UVTRANSFORM(type, 0), placement) == aiReturn_SUCCESS)
    {
        t.scale = { placement.mScaling.x, placement.mScaling.y };
        t.offset = { placement.mTranslation.x, placement.mTranslation.y };
    }
    return t;
}

bool walk(walk_state& s, const aiNode& node, const aiMatrix4x4& above, int depth)
{
    if (depth > depth_limit || ++s.parts > part_limit)
    {
        s.fault = "its parts are nested or repeated without end";
        return false;
    }
    const aiMatrix4x4 matrix = above * node.mTransformation;
    std::vector<corner_mesh> part;
    for (unsigned i = 0; i < node.mNumMeshes; ++i)
    {
        if (node.mMeshes[i] >= s.scene.mNumMeshes)
        {
            s.fault = "node \"" + std::string(node.mName.C_Str()) + "\" refers to a mesh that does not exist";
            return false;
        }
        const aiMesh& source = *s.scene.mMeshes[node.mMeshes[i]];
        uint64_t corners = 0;
        for (unsigned f = 0; f < source.mNumFaces; ++f) { corners += source.mFaces[f].mNumIndices; }
        s.corners += corners;
        if (s.corners > corner_limit)
        {
            s.fault = "it has more than 400 million corners";
            return false;
        }
        const std::string fault =
            read_mesh(source, matrix, node.mName.C_Str(), s.linear_colors, part.emplace_back());
        if (!fault.empty())
        {
            s.fault = "mesh \"" + part.back().name + "\": " + fault;
            return false;
        }
    }
    weld_part(part, s.out);
    for (unsigned i = 0; i < node.mNumChildren; ++i)
    {
        if (!walk(s, *node.mChildren[i], matrix, depth + 1)) { return false; }
    }
    return true;
}

/// Copies one mesh under a matrix. Returns what is wrong with it, or nothing.
std::string read_mesh(const aiMesh& source, const aiMatrix4x4& matrix, const std::string& name,
    bool linear_colors, corner_mesh& m)
{
    m.name = utf8_of_bytes(name.empty() ? source.mName.C_Str() : name.c_str());
    m.material = source.mMaterialIndex;
    const aiMatrix3x3 turn(matrix);
    // Normals go by the inverse transpose; only their direction counts, so a singular matrix loses them.
    aiMatrix3x3 for_normals = turn;
    const float determinant = turn.Determinant();
    const bool has_normals = source.HasNormals() && std::abs(determinant) > 1e-30f;
    if (has_normals) { for_normals.Inverse().Transpose(); }
    const std::vector<uint8_t> colors = vertex_colors(source, linear_colors);
    const bool has_uv[2] = { source.HasTextureCoords(0), source.HasTextureCoords(1) };

    for (unsigned f = 0; f < source.mNumFaces; ++f)
    {
        const aiFace& face = source.mFaces[f];
        m.corner_count.push_back(face.mNumIndices);
        for (unsigned k = 0; k < face.mNumIndices; ++k)
        {
            const unsigned v = face.mIndices[k];
            if (v >= source.mNumVertices)
            {
                return "polygon " + std::to_string(f) + " names vertex " + std::to_string(v) + " of " +
                       std::to_string(source.mNumVertices);
            }
            const aiVector3D p = matrix * source.mVertices[v];
            for (const float c : { p.x, p.y, p.z })
            {
                if (!(std::abs(c) <= model_far))
                {
                    return "vertex " + std::to_string(v) +
                           (std::isfinite(c) ? " lies beyond 1e9 metres" : " is not a number");
                }
            }
            m.positions.insert(m.positions.end(), { p.x, p.y, p.z });
            if (!colors.empty()) { m.colors.insert(m.colors.end(), &colors[3 * v], &colors[3 * v] + 3); }
            if (has_normals)
            {
                const aiVector3D n = for_normals * source.mNormals[v];
                m.normals.insert(m.normals.end(), { n.x, n.y, n.z });
            }
            for (int set = 0; set < 2; ++set)
            {
                if (!has_uv[set]) { continue; }
                const aiVector3D& uv = source.mTextureCoords[set][v];
                const bool sound = std::isfinite(uv.x) && std::isfinite(uv.y);
                m.uv[set].insert(m.uv[set].end(), { sound ? uv.x : 0, sound ? uv.y : 0 });
            }
        }
    }
    return "";
}

/// Colours of the vertices as display values; nothing when the mesh has none, or white everywhere.
std::vector<uint8_t> vertex_colors(const aiMesh& source, bool is_linear)
{
    std::vector<uint8_t> out;
    if (!source.HasVertexColors(0)) { return out; }
    bool is_white = true;
    for (unsigned v = 0; v < source.mNumVertices; ++v)
    {
        const aiColor4D& c = source.mColors[0][v];
        for (const float channel : { c.r, c.g, c.b })
        {
            const double amount =
                channel > 0 ? std::min(double(channel), 1.0) : 0; // what is not a number is black
            out.push_back(uint8_t(std::lround(255 * (is_linear ? display_value(amount) : amount))));
            is_white = is_white && out.back() == 255;
        }
    }
    if (is_white) { out.clear(); }
    return out;
}

/// From assimp's axes to z up.
aiMatrix4x4 upright(const import_request& request, const format_row& format)
{
    aiMatrix4x4 back; // undoes assimp's own turn, so that an axis always is one of the file's
    if (format.turned) { aiMatrix4x4::RotationX(float(AI_MATH_HALF_PI), back); }
    aiMatrix4x4 turn;
    const char up = request.up ? request.up : format.up;
    if (up == 'y') { aiMatrix4x4::RotationX(float(AI_MATH_HALF_PI), turn); }
    if (up == 'x') { aiMatrix4x4::RotationY(-float(AI_MATH_HALF_PI), turn); }
    aiMatrix4x4 m = turn * back;
    // A quarter turn has entries 0 and 1 only; what its cosine leaves would bend flat floors.
    for (int row = 0; row < 3; ++row)
    {
        for (int column = 0; column < 3; ++column) { m[row][column] = std::round(m[row][column]); }
    }
    return m;
}

/// Puts over the model what assimp passes over in an OBJ file.
void apply_obj(const std::filesystem::path& file, model& m)
{
    const obj_findings found = check_obj(file);
    m.notes.insert(m.notes.end(), found.notes.begin(), found.notes.end());
    for (model_mesh& mesh : m.meshes)
    {
        if (!m.has_normals && found.smooths) { mesh.smooth_cosine = group_cosine; }
    }
    for (model_material& material : m.materials)
    {
        const auto textures = found.textures.find(material.name);
        for (int role = 0; textures != found.textures.end() && role < texture_roles; ++role)
        {
            const model_texture& own = textures->second[size_t(role)];
            if (own.file.empty()) { continue; }
            material.textures[size_t(role)].file = own.file;
            material.textures[size_t(role)].scale = own.scale;
            material.textures[size_t(role)].offset = own.offset;
        }
    }
}

} // namespace

} // namespace host
