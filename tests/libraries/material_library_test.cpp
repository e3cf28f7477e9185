/// @file
/// Material records: every field through a file, older and damaged records, libraries under other keys.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "tests/support/find_table.hpp"
#include "tests/support/temporary_folder.hpp"
#include "zirconlite/frame/bytes.hpp"
#include "zirconlite/frame/module_state.hpp"
#include "zirconlite/frame/window.h"
#include "zirconlite/libraries/library_file.hpp"
#include "zirconlite/libraries/material_library.h"
#include "zirconlite/libraries/material_library.hpp"
#include "zirconlite/libraries/material_records.hpp"
#include "zirconlite/materials/blend.h"
#include "zirconlite/materials/bumps.h"
#include "zirconlite/materials/mat_image.h"
#include "zirconlite/materials/material_list.hpp"
#include "zirconlite/platform/text.hpp"

namespace
{

constexpr uint32_t read_write = LIBRARY_READ | LIBRARY_WRITE;

simple_material& simple(material* m) { return *reinterpret_cast<simple_material*>(m); }
complex_material& complex(material* m) { return *reinterpret_cast<complex_material*>(m); }

/// A record of 4-byte words at an offset of a library in memory, which does not survive the test.
struct words
{
    words() { lib->writes = true; }
    ~words() { zr::free_library(lib); }
    uint32_t add(const std::vector<uint32_t>& all)
    {
        if (lib->size == 0) { zr_file_write_dword(lib, 0); }
        std::vector<uint8_t> bytes(4 * all.size());
        for (size_t i = 0; i < all.size(); ++i) { zr::put_u32(&bytes[4 * i], all[i]); }
        return zr::append(*lib, bytes.data(), bytes.size());
    }
    material* read(uint32_t at) { return zr_matfile_read_material(lib, at, 0); }
    zr::library_file* lib = zr::new_library();
};

uint32_t bits(float value)
{
    uint8_t bytes[4];
    zr::put_f32(bytes, value);
    return zr::byte_reader(bytes, 4).u32();
}

mat_image* add_image(simple_material& m, const char16_t* path, float value)
{
    mat_image** link = &m.images;
    while (*link) { link = &(*link)->next; }
    mat_image* image = *link = zr_new_mat_image();
    zr::platform::copy_text(image->path, std::size(image->path), path);
    image->flags = IMAGE_MIRROR_TILES | IMAGE_BLUR_MORE;
    image->size[0] = value;
    image->size[1] = 2 * value;
    image->origin[1] = 3;
    image->axis[0] = 1;
    image->rotation = 0.5f;
    image->strength = 0.75f;
    image->bump_strength = 0.125f;
    *image->key = { KEY_COLOR, KEY_CUTS_OUT, { 0.25f, 0.5f, 0.75f }, 0.5f, 0.25f, {}, 0 };
    zr_update_mat_image(image);
    zr_update_mat_key(image->key);
    return image;
}

material* full_simple()
{
    material* made = new_simple_material();
    simple_material& m = simple(made);
    made->flags |= MATERIAL_STORES_LUMINOSITY | MATERIAL_OWN_HIGHLIGHT | 0x30000;
    m.opacity = 0.75f;
    m.diffuse_share = 0.5f;
    m.translucent_share = 0.25f;
    m.ior = 1.5f;
    m.attenuation = 0.125f;
    m.luminosity = 300.5f;
    m.own_highlight = 60;
    m.own_strength = 2;
    for (int i = 0; i < 3; ++i)
    {
        m.color[i] = m.translucent_color[i] = m.transparent_color[i] = 0.1f * float(i + 1); // one in a record
        m.reflect_color[i] = 0.2f * float(i + 1);
        m.own_highlight_color[i] = 0.3f * float(i + 1);
    }
    zr_update_material_weights(made);
    m.highlight = m.reflect_share * 300 + 1;
    const double axis[3] = { 0, 1, 0 }, origin[3] = { 1, 2, 3 }, scale[3] = { 4, 5, 6 };
    for (int kind = 1; kind <= 3; ++kind) { zr_add_bump(made, kind, axis, origin, 0.5, scale, 0.25 * kind); }
    for (const char16_t* path : { u"one.jpg", u"two.jpg", u"three.jpg" }) { add_image(m, path, 0.5f); }
    return made;
}

void expect_same(const material* a, const material* b);

void expect_same_simple(const simple_material& a, const simple_material& b)
{
    for (const auto field : { &simple_material::opacity, &simple_material::diffuse_share,
             &simple_material::reflect, &simple_material::translucent, &simple_material::transparent,
             &simple_material::highlight, &simple_material::ior, &simple_material::attenuation,
             &simple_material::luminosity, &simple_material::own_highlight, &simple_material::own_strength })
    {
        EXPECT_EQ(a.*field, b.*field);
    }
    for (int i = 0; i < 3; ++i)
    {
        EXPECT_EQ(a.color[i], b.color[i]);
        EXPECT_EQ(a.reflect_color[i], b.reflect_color[i]);
        EXPECT_EQ(a.translucent_color[i], b.translucent_color[i]);
        EXPECT_EQ(a.transparent_color[i], b.transparent_color[i]);
        EXPECT_EQ(a.own_highlight_color[i], b.own_highlight_color[i]);
    }
    const bump *p = a.bumps, *q = b.bumps;
    for (; p && q; p = p->next, q = q->next)
    {
        EXPECT_EQ(p->function, q->function);
        EXPECT_EQ(0, memcmp(&p->axis, &q->axis, sizeof(p->axis)));
        EXPECT_EQ(0, memcmp(&p->scale, &q->scale, sizeof(p->scale)));
        EXPECT_EQ(0, memcmp(&p->transform, &q->transform, sizeof(p->transform)));
        EXPECT_EQ(p->strength, q->strength);
    }
    EXPECT_EQ(p, q);
    const mat_image *s = a.images, *t = b.images;
    for (; s && t; s = s->next, t = t->next)
    {
        EXPECT_EQ(std::u16string(s->path), t->path);
        EXPECT_EQ(s->flags, t->flags);
        EXPECT_EQ(0, memcmp(s->key, t->key, sizeof(*s->key)));
        EXPECT_EQ(s->strength, t->strength);
        EXPECT_EQ(s->bump_strength, t->bump_strength);
        EXPECT_EQ(0, memcmp(s->size, t->size, sizeof(s->size)));
        EXPECT_EQ(0, memcmp(&s->transform, &t->transform, sizeof(s->transform)));
    }
    EXPECT_EQ(s, t);
}

void expect_same_complex(const complex_material& a, const complex_material& b)
{
    EXPECT_EQ(a.blend, b.blend);
    EXPECT_EQ(a.prepare, b.prepare);
    EXPECT_EQ(a.stored_kind, b.stored_kind);
    EXPECT_EQ(a.blend_flags, b.blend_flags);
    EXPECT_EQ(0, memcmp(&a.scale, &b.scale, sizeof(a.scale)));
    EXPECT_EQ(0, memcmp(&a.transform, &b.transform, sizeof(a.transform)));
    blend_params p = a.params, q = b.params;
    EXPECT_EQ(std::u16string(p.mask ? p.mask->path : u""), q.mask ? q.mask->path : u"");
    p.mask = q.mask = nullptr;
    EXPECT_EQ(0, memcmp(&p, &q, sizeof(p)));
    for (int i = 0; i < 2; ++i)
    {
        EXPECT_EQ(b.children[i]->parent, &b.head);
        expect_same(a.children[i], b.children[i]);
    }
}

void expect_same(const material* a, const material* b)
{
    ASSERT_TRUE(a && b);
    constexpr uint32_t always = MATERIAL_FLOAT_LUMINOSITY | MATERIAL_STORES_OWN;
    EXPECT_EQ(a->flags | always, b->flags | always);
    if (a->flags & MATERIAL_COMPLEX)
    {
        expect_same_complex(complex(const_cast<material*>(a)), complex(const_cast<material*>(b)));
    }
    else { expect_same_simple(simple(const_cast<material*>(a)), simple(const_cast<material*>(b))); }
}

material* full_complex(uint32_t kind)
{
    material* made = new_complex_material();
    complex_material& m = complex(made);
    zr_set_blend_kind(made, int32_t(kind));
    m.stored_kind = kind;
    m.blend_flags = BLEND_MAPPED | BLEND_JITTER_COLOR;
    m.axis = { 0, 1, 0 };
    m.origin = { 1, 2, 3 };
    m.rotation = 0.5f;
    m.scale = { 4, 0.5, 2 };
    zr_update_pattern_transform(made);
    m.params.octaves = 5;
    for (int i = 0; i < 3; ++i)
    {
        m.params.ratio[i] = i == 2 ? 1.0f : 0.25f * float(i + 1);
        m.params.turbulence[i] = 0.5f;
        m.params.softness[i] = 0.75f;
    }
    m.params.color_jitter = { 0.5, 0.25, 0.125 };
    m.params.coordinate_jitter = { 3, 2, 1 };
    if (kind == BLEND_KIND_TILE) { m.params.tile_offset = { 0.5, 0, 0 }; }
    if (kind == BLEND_KIND_CLEAR_FINISH || kind > 7) { m.params.tile_offset = { 0.5, 0.25, 2 }; }
    if (kind == BLEND_KIND_MASK)
    {
        m.params.mask = static_cast<mask_source*>(zr_calloc(1, sizeof(mask_source)));
        m.params.mask->references = 1;
        zr::platform::copy_text(m.params.mask->path, 512, u"no such mask.jpg");
    }
    for (material*& child : m.children)
    {
        child = full_simple();
        child->parent = made;
    }
    return made;
}

struct MaterialLibrary : testing::Test
{
    temporary_folder folder;
    std::u16string path = folder.wide("m.mlib");
};

TEST_F(MaterialLibrary, KeepsEveryFieldThroughPackingAndTranslating)
{
    std::vector<material*> all = { full_simple() };
    for (uint32_t kind = 0; kind <= 8; ++kind) { all.push_back(full_complex(kind == 8 ? 77 : kind)); }
    zr_handle file = zr_matfile_open(path.c_str(), read_write, 0, LIBRARY_CREATE_OR_EMPTY);
    std::u16string translation = u"\xFEFF";
    for (size_t i = 0; i < all.size(); ++i)
    {
        const std::u16string key = std::u16string(u"F\\say \"") + char16_t(u'a' + i) + u"\"";
        ASSERT_NE(zr_matfile_add_record(file, key.c_str(), all[i]), 0u);
        translation += std::u16string(u"\"F\\say \"\"") + char16_t(u'a' + i) + u"\"\"\"\tG\\" +
                       char16_t(u'a' + i) + u"\t\"F\\say \"\"a\"\"\"\tG\\fields too many\r\n";
    }
    ASSERT_EQ(zr_libfile_close(file), 1);
    translation += u"F\\missing\tG\\x\r\nalone\r\n";
    folder.write(
        "t.uni", std::string(reinterpret_cast<const char*>(translation.data()), 2 * translation.size()));
    ASSERT_EQ(zr_pack_matlib(nullptr, path.c_str()), 1);
    ASSERT_EQ(zr_dump_library(path.c_str()), 1);
    EXPECT_EQ(folder.read("m.uni").substr(0, 14), std::string("\xFF\xFE\r\0\n\0F\0\\\0s\0a\0", 14));
    ASSERT_EQ(zr_translate_library(path.c_str(), folder.wide("t.uni").c_str()), int32_t(all.size()));
    zr::material_library_hook = zr::read_library_material;
    for (size_t i = 0; i < all.size(); ++i)
    {
        SCOPED_TRACE(i);
        const std::u16string key = std::u16string(u"g\\") + char16_t(u'A' + i);
        material* read = zr_load_from_library(key.c_str(), folder.wide("m_translated").c_str());
        expect_same(all[i], read);
        free_material(read);
        free_material(all[i]);
    }
    material* other = new_simple_material();
    EXPECT_NE(zr_save_material(u"G\\new", folder.wide("m_translated.mlib").c_str(), other), 0u);
    free_material(other);
    EXPECT_NE(zr_library_seek(folder.wide("m_translated.mlib").c_str(), u"G\\new"), 0u);
    EXPECT_EQ(zr_load_from_library(u"G\\none", folder.wide("m_translated").c_str()), nullptr);
    EXPECT_EQ(zr_translate_library(folder.wide("m.plib").c_str(), folder.wide("t.uni").c_str()), -1);
    zr::material_library_hook = nullptr;

    // By files that the user picks.
    static std::vector<std::u16string> picked;
    zr_dialogs dialogs = {};
    dialogs.open_file = [](void*, zr_handle, zr_save_dialog* dialog) -> int32_t
    {
        if (picked.empty()) { return 0; }
        dialog->path[picked.front().copy(dialog->path, 255)] = 0;
        picked.erase(picked.begin());
        return 1;
    };
    zr_install_dialogs(&dialogs);
    EXPECT_EQ(zr_libfile_dump(nullptr) | zr_libfile_translate(nullptr), 0) << "cancelled";
    const std::string keys = folder.read("m.uni");
    folder.write("m.uni", "");
    picked = { path };
    EXPECT_EQ(zr_libfile_dump(nullptr), 1);
    EXPECT_EQ(folder.read("m.uni"), keys);
    picked = { path };
    EXPECT_EQ(zr_libfile_translate(nullptr), 0) << "no second file";
    picked = { path, folder.wide("t.uni") };
    EXPECT_EQ(zr_libfile_translate(nullptr), 1);
    EXPECT_EQ(zr_library_seek(folder.wide("m_translated.mlib").c_str(), u"G\\new"), 0u) << "made anew";
    zr_install_dialogs(nullptr);
    EXPECT_EQ(zr_pack_library(folder.wide("m_translated.mlib").c_str()), 1);
    EXPECT_EQ(zr_pack_library(folder.wide("m.txt").c_str()) | zr_pack_library(nullptr) |
                  zr_pack_library(folder.wide("none.mlib").c_str()),
        0);
    // A pattern's axis of zeros is up, others stay.
    for (const vector3& axis : { vector3{ 0, 0, 0 }, vector3{ 1, 0, 0 }, vector3{ 0, 1, 0 } })
    {
        words library;
        material* pattern = new_complex_material();
        for (material*& child : complex(pattern).children) { child = new_simple_material(); }
        zr_set_blend_kind(pattern, BLEND_KIND_BLEND);
        complex(pattern).axis = axis;
        library.add({ 0 });
        material* read = library.read(zr_matfile_write_material(library.lib, pattern, 0, 0));
        ASSERT_NE(read, nullptr);
        const vector3 wanted = axis.x + axis.y == 0 ? vector3{ 0, 0, 1 } : axis;
        EXPECT_EQ(complex(read).axis.x, wanted.x);
        EXPECT_EQ(complex(read).axis.y, wanted.y);
        EXPECT_EQ(complex(read).axis.z, wanted.z);
        free_material(pattern);
        free_material(read);
    }
}

TEST(MaterialRecord, OlderOnesAreAsLongAsTheirFlagsNeed)
{
    const std::vector<uint32_t> plain = { 0, 0, bits(1), bits(0.5f), 0, bits(0.1f), bits(0.2f), bits(0.3f),
        bits(1), bits(1), bits(1), bits(1.5f), 0, 0, 0 };
    words w;
    std::vector<uint32_t> lit = plain;
    lit[1] = MATERIAL_STORES_LUMINOSITY;
    lit.push_back(1000);
    const uint32_t lit_place = w.add(lit), plain_place = w.add(plain);
    material* m = w.read(lit_place);
    ASSERT_NE(m, nullptr);
    EXPECT_EQ(simple(m).luminosity, 1000.0f); // a whole number without MATERIAL_FLOAT_LUMINOSITY
    free_material(m);
    m = w.read(plain_place); // ends with the file
    ASSERT_NE(m, nullptr);
    EXPECT_EQ(simple(m).own_highlight, 25.0f);
    EXPECT_EQ(simple(m).own_strength, 1.0f);
    EXPECT_EQ(simple(m).own_highlight_color[1], 1.0f);
    EXPECT_EQ(simple(m).highlight, 151.0f);
    free_material(m);

    std::vector<uint32_t> pattern(27);
    pattern[1] = MATERIAL_COMPLEX;
    pattern[8] = bits(NAN); // the rotation
    m = w.read(w.add(pattern));
    ASSERT_NE(m, nullptr);
    EXPECT_EQ(complex(m).scale.x, 1e12);
    EXPECT_EQ(complex(m).axis.z, 1.0);
    EXPECT_EQ(complex(m).rotation, 0.0f);
    EXPECT_EQ(simple(complex(m).children[1]).ior, 1.05f); // no offset: the default material
    complex(m).scale.x = 0;                               // is written as a size of 1e12
    material* again = w.read(zr_matfile_write_material(w.lib, m, 0, 0));
    EXPECT_NEAR(complex(again).scale.x, 1e-12, 1e-18);
    free_material(again);
    free_material(m);
}

TEST(MaterialRecord, UnfoldsToABoundedNumberOfParts)
{
    words w;
    std::vector<uint32_t> shared(31), image(22);
    shared[1] = MATERIAL_COMPLEX;
    for (int level = 0; level < 15; ++level) // both children at one place: 2^15 materials
    {
        const uint32_t place = w.add(shared);
        shared[2] = shared[3] = place;
    }
    EXPECT_EQ(w.read(w.add(shared)), nullptr);
    const uint32_t self = uint32_t(w.lib->size);
    shared[2] = self;
    shared[3] = 0;
    EXPECT_EQ(w.read(w.add(shared)), nullptr); // a child of itself
    image[0] = uint32_t(w.lib->size);
    std::vector<uint32_t> owner(21);
    owner[14] = w.add(image); // a list in a circle
    EXPECT_EQ(w.read(w.add(owner)), nullptr);
    EXPECT_EQ(zr_last_error()->code, ZR_ERROR_LIMIT);
}

int32_t copy_all(zr_handle file, zr_handle target, const char16_t* key)
{
    material* m = zr_matfile_read_record(file, key);
    zr_matfile_add_record(target, key, m);
    return free_material(m);
}

/// What readers, editors and packers meet in a file with these bytes.
void use_library(const std::string& bytes)
{
    zr::library_file *file = zr::new_library(), *target = zr::new_library();
    file->writes = target->writes = true;
    zr_file_write_header(target, u"MATERIAL");
    zr_file_write_bytes(file, bytes.data(), uint32_t(bytes.size()));
    zr_libfile_in_order_read(file, target, zr_file_seek(file, u""), u"", copy_all);
    free_material(zr_matfile_read_record(file, u"m"));
    zr_file_insert_record(file, u"F\\n", nullptr, nullptr);
    zr_libfile_in_order_read(file, target, zr_file_seek(file, u""), u"", copy_all);
    zr::free_library(file);
    zr::free_library(target);
}

TEST_F(MaterialLibrary, DamageIsRefusedOrSurvived)
{
    zr_handle file = zr_matfile_open(path.c_str(), read_write, 0, LIBRARY_CREATE_OR_EMPTY);
    material* m = full_complex(BLEND_KIND_MASK);
    zr_matfile_add_record(file, u"m", m);
    zr_matfile_add_record(file, u"F\\n", m);
    free_material(m);
    ASSERT_EQ(zr_libfile_close(file), 1);
    const std::string good = folder.read("m.mlib");
    for (size_t length = 0; length < good.size(); ++length) { use_library(good.substr(0, length)); }
    for (size_t bit = 8 * 140; bit < 8 * good.size(); bit += bit == 8 * 148 ? 8 * 1120 : 1)
    {
        std::string bad = good;
        bad[bit / 8] = char(bad[bit / 8] ^ 1 << bit % 8);
        use_library(bad);
    }
}

/// A plain record, then patterns of each kind with it and a side that glows behind a key of its own.
const older_material* older_records(void*, int32_t first)
{
    static older_material records[5];
    static size_t at;
    if (first) { at = 0; }
    records[0] = { u"Plain", 0, 0, 0, 0, 0, {} };
    older_side& side = records[0].sides[0];
    for (int i = 0; i < 3; ++i) { side.diffuse[i] = 0.5f; }
    side.transmitted[1] = 0.25f;
    side.specular[0] = 0.5f;
    side.gloss = 50;
    side.ior = 1.4f;
    side.attenuation = 0.75f;
    side.image_size[0] = 10;
    side.image_size[1] = 20;
    side.image_strength = 1;
    side.image_bump_strength = 0.3f;
    side.key_white = 1;
    side.key_tolerance = 0.4f;
    side.rubble_bump = 0.5f;
    side.rubble_size = 2;
    older_side lit = {};
    lit.luminous[1] = 0.0625f;
    lit.specular[2] = 0.5f;
    lit.specular_strength[0] = 0.25f;
    lit.gloss = 12.5f;
    lit.sand_bump = 0.6f;
    lit.image_size[0] = lit.image_size[1] = 1;
    lit.image_transparency = 0.5f;
    lit.has_own_key = lit.inverts_key = 1;
    lit.key_color[0] = 0.5f;
    records[1] = { u"Granite", 2, 4, 0.9f, 0.5f, 0.25f, { side, lit } };
    records[2] = { u"Wood", 3, 4, 0.9f, 0.5f, 0.25f, { side, lit } };
    records[3] = { u"Wood of less", 3, 0, 0.2f, 1, 0, { side, lit } };
    records[4] = { u"Marble", 77, 5, 1.0f, 0.25f, 1, { side, lit } };
    return at < 5 ? &records[at++] : nullptr;
}

TEST_F(MaterialLibrary, ConvertsOlderRecords)
{
    ASSERT_EQ(zr_convert_material_library_i(path.c_str(), nullptr, older_records), 1);
    zr_handle file = zr_libfile_open(path.c_str(), LIBRARY_READ, LIBRARY_SHARE_READ, LIBRARY_OPEN_EXISTING);
    material* read = zr_matfile_read_record(file, u"plain");
    ASSERT_NE(read, nullptr);
    const simple_material& plain = simple(read);
    EXPECT_EQ(plain.opacity, 0.75f);
    EXPECT_NEAR(
        plain.diffuse_share, 1 - std::pow(0.5, 0.75), 1e-6); // a full gloss: the share is the mirror's
    EXPECT_NEAR(plain.color[0], std::pow(0.75 * 0.5, 2.2), 1e-6);
    EXPECT_NEAR(plain.color[1], std::pow(0.75 * 0.5 + 0.25, 2.2), 1e-6);
    EXPECT_EQ(plain.reflect_color[0], 1.0f);
    EXPECT_EQ(plain.reflect_color[1], 0.0f);
    EXPECT_EQ(plain.ior + plain.attenuation, 1.4f + 0.75f);
    EXPECT_EQ(plain.images->flags, uint32_t(IMAGE_ON_COLOR | IMAGE_ON_TRANSPARENT));
    EXPECT_NEAR(plain.images->size[0], 0.254, 1e-7);
    EXPECT_NEAR(plain.images->size[1], 0.508, 1e-7);
    EXPECT_EQ(plain.images->bump_strength, 0.3f);
    EXPECT_EQ(plain.images->key->color_bytes[2], 255);
    EXPECT_EQ(plain.images->key->flags, 0u);
    EXPECT_NEAR(plain.images->key->tolerance, 0.1, 1e-7);
    EXPECT_NEAR(plain.bumps->scale.y, 1 / 0.0254, 1e-4); // 2 x 12.7 mm
    free_material(read);
    const struct
    {
        const char16_t* key;
        uint32_t kind;
        double metres; ///< of the pattern
        float ratio, turbulence, softness;
    } patterns[] = {
        { u"granite", BLEND_KIND_GRANITE, 4 * 0.00254, 0.9f, 0.25f, 0.25f },
        { u"wood", BLEND_KIND_WOOD, 4 * 0.0254, 0.58f, 0.25f, 0.25f }, // the share moves towards one half
        { u"wood of less", BLEND_KIND_WOOD, 1e-12, 0.5f, 0.5f, 0 },
        { u"marble", BLEND_KIND_MARBLE, 5 * 0.0254, 0.6f, 0.125f, 1 },
    };
    for (const auto& p : patterns)
    {
        read = zr_matfile_read_record(file, p.key);
        ASSERT_NE(read, nullptr);
        const complex_material& c = complex(read);
        EXPECT_EQ(zr_get_blend_kind(read), int32_t(p.kind));
        EXPECT_NEAR(c.scale.z * p.metres, 1, 1e-6);
        EXPECT_EQ(c.params.octaves, 3);
        EXPECT_NEAR(c.params.ratio[0], p.ratio, 1e-6);
        EXPECT_NEAR(c.params.ratio[1], p.ratio, 1e-6);
        EXPECT_EQ(c.params.turbulence[0], p.turbulence);
        EXPECT_EQ(c.params.softness[0], p.softness);
        const simple_material& lit = simple(c.children[1]);
        EXPECT_NEAR(lit.luminosity, 10000, 1); // the fourth root of 1/16 times 20000
        EXPECT_NEAR(lit.color[1], std::pow(0.0625, 2.2), 1e-7);
        EXPECT_EQ(lit.images->flags, uint32_t(IMAGE_ON_TRANSPARENT));
        EXPECT_EQ(lit.images->key->flags, uint32_t(KEY_CUTS_OUT));
        EXPECT_EQ(lit.images->key->color[0], 0.5f);
        EXPECT_NEAR(lit.bumps->scale.x, 2480.3149606, 1e-3);
        EXPECT_NEAR(lit.bumps->strength, 0.3, 1e-6);
        // The mirror, and a fifth of its strength, by the root of a fiftieth of the gloss.
        EXPECT_NEAR(lit.diffuse_share, 1 - std::pow((0.25 * 0.2 + 0.5) * std::sqrt(12.5 / 50), 1.0), 1e-5);
        free_material(read);
    }
    zr_libfile_close(file);
}

TEST_F(MaterialLibrary, AsksTheDialogWhereToConvertAndFindsAFileOfTheWorkingFolder)
{
    const std::filesystem::path at = std::filesystem::path(path).parent_path();
    std::u16string answer = (at / "chosen").u16string();
    zr_dialogs dialogs = {};
    dialogs.context = &answer;
    dialogs.save_file = [](void* context, zr_handle, zr_save_dialog* dialog) -> int32_t
    {
        EXPECT_EQ(std::u16string(dialog->path), u"zr2_oak");
        EXPECT_EQ(std::u16string(dialog->default_extension), u"mlib");
        dialog->path[static_cast<std::u16string*>(context)->copy(dialog->path, 255)] = 0;
        return 1;
    };
    zr_install_dialogs(&dialogs);
    char16_t name[ZR_PATH_CAPACITY] = {};
    EXPECT_EQ(zr_convert_material_library(nullptr, u"oak", nullptr, older_records, name), 1);
    zr_install_dialogs(nullptr);
    EXPECT_EQ(std::u16string(name), u"chosen");
    EXPECT_EQ(zr_convert_material_library(nullptr, u"oak", nullptr, older_records, name), 0)
        << "nobody is there to ask";
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(at);
    const zr_handle found = zr_matlib_open(u"chosen.mlib");
    std::filesystem::current_path(before);
    ASSERT_NE(found, ZR_INVALID_HANDLE);
    zr_libfile_close(found);
}

/// Names that the host of a test answers with, and answers to the question whether to replace what is there.
std::vector<std::u16string> new_names;
std::vector<int32_t> may_replace;
size_t names_asked, questions_asked;

int32_t answer_new_name(zr_handle, int32_t kind, char16_t* name)
{
    EXPECT_EQ(kind, 1);
    EXPECT_EQ(std::u16string(name), u"zr2_oak");
    if (names_asked == new_names.size()) { return 0; }
    const std::u16string& answer = new_names[names_asked++];
    name[answer.copy(name, answer.size())] = 0;
    return 1;
}

TEST_F(MaterialLibrary, AsksTheHostForANameUntilItMayReplaceWhatIsThere)
{
    const host_functions host({ { "host_get_new_library_name", reinterpret_cast<void*>(answer_new_name) } });
    std::u16string support = folder.wide("");
    zr::the_module.support_path = support.data();
    zr_dialogs dialogs = {};
    dialogs.message_box = [](void*, zr_handle, const char16_t*, int32_t) -> int32_t
    { return may_replace.at(questions_asked++); };
    zr_install_dialogs(&dialogs);
    const struct
    {
        std::vector<std::u16string> names;
        std::vector<int32_t> answers;
        std::string file; ///< the one that is written
    } cases[] = {
        { { u"new" }, {}, "new" },
        { { u"old" }, { MESSAGE_BOX_YES }, "old" },
        { { u"old" }, { MESSAGE_BOX_CANCEL }, "" },
        { { u"old", u"other" }, { MESSAGE_BOX_NO }, "other" },
        { { u"old" }, { MESSAGE_BOX_NO }, "" },
        { {}, {}, "" },
    };
    for (const auto& c : cases)
    {
        folder.write("old.mlib", "");
        new_names = c.names;
        may_replace = c.answers;
        names_asked = questions_asked = 0;
        char16_t name[ZR_PATH_CAPACITY] = {};
        EXPECT_EQ(
            zr_convert_material_library(nullptr, u"oak", nullptr, older_records, name), !c.file.empty());
        EXPECT_EQ(std::u16string(name), std::u16string(c.file.begin(), c.file.end()));
        EXPECT_EQ(names_asked, c.names.size());
        EXPECT_EQ(questions_asked, c.answers.size());
        EXPECT_EQ(folder.read("old.mlib").empty(), c.file != "old");
        if (!c.file.empty()) { EXPECT_GT(folder.read(c.file + ".mlib").size(), 2000u); }
    }
    zr_install_dialogs(nullptr);
    zr::the_module.support_path = nullptr;
}

} // namespace
