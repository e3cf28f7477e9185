/// @file
/// Every number that is taken from the file is checked: it comes from outside.
#include "host/models/gltf_check.hpp"

#include "host/text.hpp"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <fstream>
#include <map>
#include <optional>

namespace host
{

namespace
{

using nlohmann::json;

constexpr uint32_t glb_magic = 0x46546C67;
constexpr uint64_t glb_header = 12, chunk_header = 8;
enum primitive_mode
{
    mode_triangles = 4,
    mode_strip = 5,
    mode_fan = 6
};

/// Beginnings of the extensions that are read, or that change nothing about shapes when they are not.
constexpr const char* read_extensions[] = { "KHR_materials_", "KHR_texture_transform", "KHR_lights_punctual",
    "KHR_draco_mesh_compression" };
/// Those without which points are not where they seem to be.
constexpr const char* shape_extensions[] = { "EXT_meshopt_compression", "KHR_mesh_quantization" };

/// A glTF file with its bytes at hand.
struct gltf_file
{
    std::filesystem::path path;
    json root;
    uint64_t binary_start = 0, binary_size = 0; ///< of a .glb's second chunk
    std::map<int64_t, std::string> embedded{};  ///< buffers given as text, decoded
};

struct triangle_counts
{
    uint64_t all = 0, broken = 0;
};

gltf_file open_gltf(const std::filesystem::path& path);
uint32_t u32_at(const std::string& bytes, size_t at);
void check_required(const gltf_file& f, gltf_findings& found);
template <size_t N> bool begins_with_one(const std::string& name, const char* const (&beginnings)[N]);
void check_primitive(gltf_file& f, const std::string& mesh, const json& primitive, gltf_findings& found);
triangle_counts count_triangles(gltf_file& f, const json& primitive);
std::optional<std::vector<uint32_t>> read_indices(gltf_file& f, const json& accessor);
int64_t integer(const json& object, const char* key, int64_t otherwise);
std::optional<std::string> buffer_bytes(gltf_file& f, int64_t index, uint64_t start, uint64_t size);
std::string text(const json& object, const char* key);
const json& element(const json& list, int64_t index);
const json& member(const json& object, const char* key);
const json& none();
std::optional<std::string> read_bytes(const std::filesystem::path& file, uint64_t start, uint64_t size);
std::string from_base64(std::string_view coded);

} // namespace

gltf_findings check_gltf(const std::filesystem::path& file)
{
    gltf_findings found;
    gltf_file f = open_gltf(file);
    check_required(f, found);
    int64_t index = 0;
    for (const json& mesh : member(f.root, "meshes"))
    {
        std::string name = text(mesh, "name");
        if (name.empty()) { name = std::to_string(index); }
        ++index;
        for (const json& primitive : member(mesh, "primitives"))
        {
            if (found.fault.empty()) { check_primitive(f, name, primitive, found); }
        }
    }
    return found;
}

namespace
{

gltf_file open_gltf(const std::filesystem::path& path)
{
    gltf_file f{ path, json() };
    std::error_code error;
    const uint64_t total = std::filesystem::file_size(path, error);
    const auto head = read_bytes(path, 0, glb_header + chunk_header);
    std::optional<std::string> text;
    if (head && u32_at(*head, 0) == glb_magic)
    {
        const uint64_t size = u32_at(*head, 12), next = glb_header + chunk_header + size;
        text = read_bytes(path, glb_header + chunk_header, size);
        if (const auto binary = read_bytes(path, next, chunk_header))
        {
            f.binary_start = next + chunk_header;
            f.binary_size = std::min<uint64_t>(u32_at(*binary, 0), total - f.binary_start);
        }
    }
    else { text = read_bytes(path, 0, total); }
    if (text) { f.root = json::parse(*text, nullptr, false); }
    return f;
}

uint32_t u32_at(const std::string& bytes, size_t at)
{
    uint32_t v = 0;
    for (size_t i = 4; i-- > 0;) { v = v << 8 | uint8_t(bytes[at + i]); }
    return v;
}

/// The extensions that the file says it cannot do without and that are not read.
void check_required(const gltf_file& f, gltf_findings& found)
{
    for (const json& name : member(f.root, "extensionsRequired"))
    {
        if (!name.is_string() || begins_with_one(name.get<std::string>(), read_extensions)) { continue; }
        const std::string line = fmt::format("needs {}, which is not supported", name.get<std::string>());
        if (!begins_with_one(name.get<std::string>(), shape_extensions)) { found.notes.push_back(line); }
        else if (found.fault.empty()) { found.fault = line; }
    }
}

template <size_t N> bool begins_with_one(const std::string& name, const char* const (&beginnings)[N])
{
    return std::any_of(std::begin(beginnings), std::end(beginnings),
        [&](const char* beginning) { return name.starts_with(beginning); });
}

void check_primitive(gltf_file& f, const std::string& mesh, const json& primitive, gltf_findings& found)
{
    const triangle_counts n = count_triangles(f, primitive);
    if (n.broken == 0) { return; }
    found.fault =
        fmt::format("mesh \"{}\": {} of its {} triangles have an index out of range", mesh, n.broken, n.all);
}

/// Triangles of a primitive, and those of them with an index that no vertex has.
triangle_counts count_triangles(gltf_file& f, const json& primitive)
{
    const json& accessors = member(f.root, "accessors");
    const json& points = element(accessors, integer(member(primitive, "attributes"), "POSITION", -1));
    const int64_t vertices = integer(points, "count", -1);
    const int64_t mode = integer(primitive, "mode", mode_triangles);
    const bool has_triangles = mode == mode_triangles || mode == mode_strip || mode == mode_fan;
    if (vertices < 0 || !has_triangles) { return {}; }
    const auto indices = read_indices(f, element(accessors, integer(primitive, "indices", -1)));
    if (!indices) { return {}; }
    triangle_counts n;
    const size_t step = mode == mode_triangles ? 3 : 1;
    for (size_t i = 0; i + 2 < indices->size(); i += step)
    {
        const size_t first = mode == mode_fan ? 0 : i;
        ++n.all;
        n.broken += int64_t((*indices)[first]) >= vertices || int64_t((*indices)[i + 1]) >= vertices ||
                    int64_t((*indices)[i + 2]) >= vertices;
    }
    return n;
}

/// The indices that an accessor of plain integers names; nothing for every other kind.
std::optional<std::vector<uint32_t>> read_indices(gltf_file& f, const json& accessor)
{
    const int64_t type = integer(accessor, "componentType", 0), count = integer(accessor, "count", -1);
    const uint64_t size = type == 5121 ? 1 : type == 5123 ? 2 : type == 5125 ? 4 : 0;
    const json& view = element(member(f.root, "bufferViews"), integer(accessor, "bufferView", -1));
    const int64_t start = integer(accessor, "byteOffset", 0), view_start = integer(view, "byteOffset", 0);
    const bool is_plain = size && view.is_object() && member(accessor, "sparse").is_null() &&
                          member(view, "extensions").is_null();
    const int64_t limit = int64_t(1) << 40;
    if (!is_plain || count < 0 || count > limit || start < 0 || start > limit || view_start < 0 ||
        view_start > limit)
    {
        return {};
    }
    const auto bytes =
        buffer_bytes(f, integer(view, "buffer", -1), uint64_t(view_start + start), uint64_t(count) * size);
    if (!bytes) { return {}; }
    auto out = std::vector<uint32_t>(size_t(count));
    for (size_t i = 0; i < out.size(); ++i)
    {
        for (size_t b = size; b-- > 0;) { out[i] = out[i] << 8 | uint8_t((*bytes)[i * size + b]); }
    }
    return out;
}

int64_t integer(const json& object, const char* key, int64_t otherwise)
{
    const json& v = member(object, key);
    return v.is_number_integer() ? v.get<int64_t>() : otherwise;
}

std::optional<std::string> buffer_bytes(gltf_file& f, int64_t index, uint64_t start, uint64_t size)
{
    const std::string uri = text(element(member(f.root, "buffers"), index), "uri");
    if (uri.empty())
    {
        if (index != 0 || start > f.binary_size || size > f.binary_size - start) { return {}; }
        return read_bytes(f.path, f.binary_start + start, size);
    }
    if (!uri.starts_with("data:"))
    {
        return read_bytes(f.path.parent_path() / percent_decoded(uri), start, size);
    }
    std::string& whole = f.embedded[index];
    if (whole.empty())
    {
        whole = from_base64(std::string_view(uri).substr(std::min(uri.find(',') + 1, uri.size())));
    }
    if (start > whole.size() || size > whole.size() - start) { return {}; }
    return whole.substr(start, size);
}

std::string text(const json& object, const char* key)
{
    const json& v = member(object, key);
    return v.is_string() ? v.get<std::string>() : "";
}

const json& element(const json& list, int64_t index)
{
    return list.is_array() && index >= 0 && size_t(index) < list.size() ? list[size_t(index)] : none();
}

const json& member(const json& object, const char* key)
{
    if (!object.is_object()) { return none(); }
    const auto found = object.find(key);
    return found == object.end() ? none() : *found;
}

const json& none()
{
    static const json nothing;
    return nothing;
}

/// Bytes of a file; nothing when it does not have them all.
std::optional<std::string> read_bytes(const std::filesystem::path& file, uint64_t start, uint64_t size)
{
    std::error_code error;
    const uint64_t total = std::filesystem::file_size(file, error);
    if (error || start > total || size > total - start) { return {}; }
    std::ifstream in(file, std::ios::binary);
    std::string bytes(size, '\0');
    in.seekg(std::streamoff(start));
    if (size && !in.read(bytes.data(), std::streamsize(size))) { return {}; }
    return bytes;
}

/// The bytes of base64 text, up to the first character that is none of it.
std::string from_base64(std::string_view coded)
{
    std::string out;
    uint32_t bits = 0;
    int count = 0;
    for (const char c : coded)
    {
        const int value = c >= 'A' && c <= 'Z'   ? c - 'A'
                          : c >= 'a' && c <= 'z' ? c - 'a' + 26
                          : c >= '0' && c <= '9' ? c - '0' + 52
                          : c == '+'             ? 62
                          : c == '/'             ? 63
                                                 : -1;
        if (value < 0) { break; }
        bits = bits << 6 | uint32_t(value);
        count += 6;
        if (count >= 8)
        {
            count -= 8;
            out += char(bits >> count & 0xFF);
        }
    }
    return out;
}

} // namespace

} // namespace host
