/// @file
/// Reads only the JSON of the file, with every number that it takes checked: it comes from outside.
#include "host/gltf_check.hpp"

#include <assimp/scene.h>
#include <nlohmann/json.hpp>

#include <fstream>

namespace host
{

namespace
{

using nlohmann::json;

constexpr uint32_t glb_magic = 0x46546C67;
enum primitive_mode
{
    mode_triangles = 4,
    mode_strip = 5,
    mode_fan = 6
};

uint32_t u32_at(const std::string& bytes, size_t at)
{
    uint32_t v = 0;
    for (int i = 3; i >= 0; --i) { v = v << 8 | uint8_t(bytes[at + size_t(i)]); }
    return v;
}

/// The JSON text of a file: all of a .gltf, the first chunk of a .glb.
std::string json_text(const std::filesystem::path& file)
{
    std::ifstream in(file, std::ios::binary);
    std::string bytes(20, '\0');
    in.read(bytes.data(), 20);
    if (in.gcount() == 20 && u32_at(bytes, 0) == glb_magic)
    {
        std::error_code error;
        const uint64_t size = std::min<uint64_t>(u32_at(bytes, 12), std::filesystem::file_size(file, error));
        std::string text(size, '\0');
        in.read(text.data(), std::streamsize(size));
        return text;
    }
    in.clear();
    in.seekg(0);
    return { std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>() };
}

int64_t integer(const json& object, const char* key, int64_t otherwise)
{
    if (!object.is_object()) { return otherwise; }
    const auto found = object.find(key);
    return found != object.end() && found->is_number_integer() ? found->get<int64_t>() : otherwise;
}

const json& element(const json& list, int64_t index)
{
    static const json none;
    return list.is_array() && index >= 0 && size_t(index) < list.size() ? list[size_t(index)] : none;
}

/// Triangles that a primitive names; 0 for points and lines, -1 for what cannot be told.
int64_t triangle_count(const json& accessors, const json& primitive)
{
    if (!primitive.is_object() || primitive.contains("extensions")) { return -1; }
    int64_t accessor = integer(primitive, "indices", -1);
    if (accessor < 0 && primitive.contains("attributes"))
    {
        accessor = integer(primitive["attributes"], "POSITION", -1);
    }
    const int64_t count = integer(element(accessors, accessor), "count", -1);
    const int64_t mode = integer(primitive, "mode", mode_triangles);
    if (count < 0) { return -1; }
    if (mode == mode_strip || mode == mode_fan) { return std::max<int64_t>(count - 2, 0); }
    return mode == mode_triangles ? count / 3 : 0;
}

} // namespace

std::string gltf_fault(const std::filesystem::path& file, const aiScene& scene)
{
    const json root = json::parse(json_text(file), nullptr, false);
    if (!root.is_object() || !root.contains("meshes") || !root["meshes"].is_array()) { return ""; }
    const json& accessors = root.contains("accessors") ? root["accessors"] : root;
    // One imported mesh for each primitive, in order; another number means that they were regrouped.
    std::vector<int64_t> counts;
    for (const json& mesh : root["meshes"])
    {
        if (!mesh.is_object() || !mesh.contains("primitives") || !mesh["primitives"].is_array())
        {
            return "";
        }
        for (const json& primitive : mesh["primitives"])
        {
            counts.push_back(triangle_count(accessors, primitive));
        }
    }
    if (counts.size() != scene.mNumMeshes) { return ""; }
    for (size_t i = 0; i < counts.size(); ++i)
    {
        if (counts[i] > int64_t(scene.mMeshes[i]->mNumFaces))
        {
            return "mesh \"" + std::string(scene.mMeshes[i]->mName.C_Str()) +
                   "\": " + std::to_string(counts[i] - int64_t(scene.mMeshes[i]->mNumFaces)) + " of its " +
                   std::to_string(counts[i]) + " triangles have an index out of range";
        }
    }
    return "";
}

} // namespace host
