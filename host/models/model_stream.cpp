/// @file
/// Layout, all little-endian: magic u32, result u32; a refusal has its text; a model has its notes, its
/// materials and its meshes as written by write_material and write_mesh below, and ends with the magic again.
/// Texts and arrays begin with their length as u32.
#include "host/models/model_stream.hpp"

#include <bit>
#include <cmath>

namespace host
{

namespace
{

constexpr uint32_t magic = 0x334D525Au; // "ZRM3"
constexpr uint32_t text_limit = 4096;
constexpr uint32_t material_limit = 1u << 20, mesh_limit = 1u << 22, note_limit = 1000;

// The optional properties in the order of their presence bits.
constexpr std::optional<std::array<float, 3>> model_material::*color_fields[] = { &model_material::diffuse,
    &model_material::specular, &model_material::emissive, &model_material::transparent,
    &model_material::base_color };
constexpr std::optional<float> model_material::*number_fields[] = { &model_material::opacity,
    &model_material::shininess, &model_material::shininess_strength, &model_material::reflectivity,
    &model_material::ior, &model_material::metallic, &model_material::roughness,
    &model_material::transmission };
constexpr uint32_t illumination_bit = 1u << 16, linear_bit = 1u << 17, blended_bit = 1u << 18,
                   cutoff_bit = 1u << 19;
constexpr uint32_t picture_limit = 1u << 16;

void write_material(byte_writer& out, const model_material& m);
void write_texture(byte_writer& out, const model_texture& t);
void write_mesh(byte_writer& out, const model_mesh& m);
template <class T, class Write> void write_array(byte_writer& out, const std::vector<T>& values, Write write);
void read_material(byte_reader& in, model_material& m);
void read_texture(byte_reader& in, model_texture& t);
void read_mesh(byte_reader& in, model_mesh& m);
template <class T, class Read> void read_array(byte_reader& in, std::vector<T>& values, Read read);

} // namespace

void byte_writer::u32(uint32_t v)
{
    bytes.insert(bytes.end(),
        { (unsigned char)(v), (unsigned char)(v >> 8), (unsigned char)(v >> 16), (unsigned char)(v >> 24) });
}

void byte_writer::u64(uint64_t v)
{
    u32(uint32_t(v));
    u32(uint32_t(v >> 32));
}

void byte_writer::f32(float v) { u32(std::bit_cast<uint32_t>(v)); }

void byte_writer::f64(double v) { u64(std::bit_cast<uint64_t>(v)); }

void byte_writer::text(const std::string& t)
{
    const uint32_t length = uint32_t(std::min<size_t>(t.size(), text_limit));
    u32(length);
    bytes.insert(bytes.end(), t.begin(), t.begin() + length);
}

bool byte_reader::has(uint64_t count)
{
    ok = ok && count <= size - at;
    return ok;
}

uint32_t byte_reader::u32()
{
    if (!has(4)) { return 0; }
    const unsigned char* p = bytes + at;
    at += 4;
    return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
}

uint64_t byte_reader::u64()
{
    const uint64_t low = u32();
    return low | uint64_t(u32()) << 32;
}

float byte_reader::f32() { return std::bit_cast<float>(u32()); }

double byte_reader::f64() { return std::bit_cast<double>(u64()); }

std::string byte_reader::text(uint32_t limit)
{
    const uint32_t length = u32();
    if (length > limit) { ok = false; }
    if (!has(length)) { return ""; }
    std::string t(reinterpret_cast<const char*>(bytes + at), length);
    at += length;
    return t;
}

void write_model(byte_writer& out, const model& m)
{
    out.u32(magic);
    out.u32(uint32_t(import_result::model));
    out.u64(m.dropped_polygons);
    out.u32(m.has_normals);
    out.f64(m.metres_per_unit);
    out.text(m.unit_source);
    out.u32(uint32_t(m.up));
    out.u32(uint32_t(std::min<size_t>(m.notes.size(), note_limit)));
    for (size_t i = 0; i < m.notes.size() && i < note_limit; ++i) { out.text(m.notes[i]); }
    out.u32(uint32_t(m.materials.size()));
    for (const model_material& material : m.materials) { write_material(out, material); }
    out.u32(uint32_t(m.pictures.size()));
    for (const model_picture& picture : m.pictures)
    {
        out.u32(uint32_t(picture.size()));
        out.bytes.insert(out.bytes.end(), picture.begin(), picture.end());
    }
    out.u32(uint32_t(m.meshes.size()));
    for (const model_mesh& mesh : m.meshes) { write_mesh(out, mesh); }
    out.u32(magic);
}

void write_refusal(byte_writer& out, import_result result, const std::string& reason)
{
    out.u32(magic);
    out.u32(uint32_t(result));
    out.text(reason);
}

bool read_answer(byte_reader& in, import_result& result, model& m, std::string& reason)
{
    reason = "the importer's answer is damaged";
    if (in.u32() != magic) { return false; }
    result = import_result(in.u32());
    if (result != import_result::model)
    {
        const std::string text = in.text(text_limit);
        if (in.ok) { reason = text; }
        return in.ok && (result == import_result::refused || result == import_result::memory);
    }
    m.dropped_polygons = in.u64();
    m.has_normals = in.u32() != 0;
    m.metres_per_unit = in.f64();
    m.unit_source = in.text(text_limit);
    m.up = char(in.u32());
    if (!(m.metres_per_unit > 0) || m.up < 'x' || m.up > 'z') { return false; }
    const uint32_t notes = in.u32();
    if (notes > note_limit || !in.has(uint64_t(notes) * 4)) { return false; }
    m.notes.resize(notes);
    for (std::string& note : m.notes) { note = in.text(text_limit); }
    const uint32_t materials = in.u32();
    if (materials > material_limit || !in.has(uint64_t(materials) * 24)) { return false; }
    m.materials.resize(materials);
    for (model_material& material : m.materials) { read_material(in, material); }
    const uint32_t pictures = in.u32();
    if (pictures > picture_limit || !in.has(uint64_t(pictures) * 4)) { return false; }
    m.pictures.resize(pictures);
    for (model_picture& picture : m.pictures)
    {
        const uint32_t length = in.u32();
        if (!in.has(length)) { return false; }
        picture.assign(in.bytes + in.at, in.bytes + in.at + length);
        in.at += length;
    }
    const uint32_t meshes = in.u32();
    if (meshes > mesh_limit || !in.has(uint64_t(meshes) * 40)) { return false; }
    m.meshes.resize(meshes);
    for (size_t i = 0; in.ok && i < m.meshes.size(); ++i)
    {
        read_mesh(in, m.meshes[i]);
        if (!in.ok) { break; }
        const std::string fault = mesh_fault(m.meshes[i], m.materials.size());
        if (!fault.empty())
        {
            reason = "mesh " + std::to_string(i) + " \"" + m.meshes[i].name + "\": " + fault;
            return false;
        }
    }
    return in.ok && in.u32() == magic && in.ok;
}

namespace
{

void write_material(byte_writer& out, const model_material& m)
{
    out.text(m.name);
    uint32_t present = 0, bit = 1;
    for (const auto field : color_fields) { present |= (m.*field) ? bit : 0, bit <<= 1; }
    for (const auto field : number_fields) { present |= (m.*field) ? bit : 0, bit <<= 1; }
    present |= m.illumination ? illumination_bit : 0;
    present |= (m.linear_colors ? linear_bit : 0) | (m.blended ? blended_bit : 0) |
               (m.alpha_cutoff ? cutoff_bit : 0);
    out.u32(present);
    for (const auto field : color_fields)
    {
        if (m.*field)
        {
            for (const float channel : *(m.*field)) { out.f32(channel); }
        }
    }
    for (const auto field : number_fields)
    {
        if (m.*field) { out.f32(*(m.*field)); }
    }
    if (m.illumination) { out.u32(uint32_t(*m.illumination)); }
    if (m.alpha_cutoff) { out.f32(*m.alpha_cutoff); }
    for (const model_texture& t : m.textures) { write_texture(out, t); }
}

void write_texture(byte_writer& out, const model_texture& t)
{
    out.text(t.file);
    if (t.file.empty()) { return; }
    out.u32(t.uv_set);
    for (const float v : { t.scale[0], t.scale[1], t.offset[0], t.offset[1], t.strength }) { out.f32(v); }
    out.u32(t.mirror);
}

void write_mesh(byte_writer& out, const model_mesh& m)
{
    const auto as_f32 = [&](float v) { out.f32(v); };
    const auto as_u32 = [&](uint32_t v) { out.u32(v); };
    out.text(m.name);
    out.u32(m.material);
    out.u32(m.is_closed);
    out.f64(m.smooth_cosine);
    write_array(out, m.positions, as_f32);
    write_array(out, m.corner_count, as_u32);
    write_array(out, m.corners, as_u32);
    write_array(out, m.uv[0], as_f32);
    write_array(out, m.uv[1], as_f32);
}

template <class T, class Write> void write_array(byte_writer& out, const std::vector<T>& values, Write write)
{
    out.u32(uint32_t(values.size()));
    for (const T v : values) { write(v); }
}

/// A property that is not a number reads as absent: the rest of the material stays useful.
void read_material(byte_reader& in, model_material& m)
{
    m.name = in.text(text_limit);
    const uint32_t present = in.u32();
    uint32_t bit = 1;
    for (const auto field : color_fields)
    {
        if (present & bit)
        {
            const std::array<float, 3> c{ in.f32(), in.f32(), in.f32() };
            if (std::isfinite(c[0]) && std::isfinite(c[1]) && std::isfinite(c[2])) { m.*field = c; }
        }
        bit <<= 1;
    }
    for (const auto field : number_fields)
    {
        if (present & bit)
        {
            const float v = in.f32();
            if (std::isfinite(v)) { m.*field = v; }
        }
        bit <<= 1;
    }
    if (present & illumination_bit) { m.illumination = int32_t(in.u32()); }
    m.linear_colors = present & linear_bit;
    m.blended = present & blended_bit;
    if (present & cutoff_bit)
    {
        const float cutoff = in.f32();
        m.alpha_cutoff = std::isfinite(cutoff) ? cutoff : 0.5f;
    }
    for (model_texture& t : m.textures) { read_texture(in, t); }
}

/// A placement that is not a number reads as the plain one.
void read_texture(byte_reader& in, model_texture& t)
{
    t.file = in.text(text_limit);
    if (t.file.empty()) { return; }
    t.uv_set = in.u32() & 1;
    for (float* v : { &t.scale[0], &t.scale[1], &t.offset[0], &t.offset[1], &t.strength })
    {
        const float given = in.f32();
        if (std::isfinite(given)) { *v = given; }
    }
    t.mirror = in.u32() != 0;
}

void read_mesh(byte_reader& in, model_mesh& m)
{
    const auto as_f32 = [&] { return in.f32(); };
    const auto as_u32 = [&] { return in.u32(); };
    m.name = in.text(text_limit);
    m.material = in.u32();
    m.is_closed = in.u32() != 0;
    m.smooth_cosine = in.f64();
    read_array(in, m.positions, as_f32);
    if (m.positions.size() % 3) { in.ok = false; }
    read_array(in, m.corner_count, as_u32);
    read_array(in, m.corners, as_u32);
    read_array(in, m.uv[0], as_f32);
    read_array(in, m.uv[1], as_f32);
}

template <class T, class Read> void read_array(byte_reader& in, std::vector<T>& values, Read read)
{
    const uint32_t count = in.u32();
    if (!in.has(uint64_t(count) * sizeof(T))) { return; }
    values.resize(count);
    for (T& v : values) { v = read(); }
}

} // namespace

} // namespace host
