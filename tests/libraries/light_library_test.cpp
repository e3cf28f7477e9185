/// @file
/// Light records: every field through a file, defaults, damaged tables, libraries under other keys.
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "tests/support/temporary_folder.hpp"
#include "zirconlite/frame/bytes.hpp"
#include "zirconlite/frame/memory.h"
#include "zirconlite/frame/module_state.hpp"
#include "zirconlite/libraries/library_file.hpp"
#include "zirconlite/libraries/light_library.h"
#include "zirconlite/libraries/light_records.hpp"
#include "zirconlite/libraries/material_library.h"
#include "zirconlite/lighting/goniometry.hpp"

namespace
{

constexpr uint32_t read_write = LIBRARY_READ | LIBRARY_WRITE;
constexpr uint32_t first = 16; // where the record of a library in memory begins

goniometry* table_of(int32_t vertical, int32_t horizontal)
{
    goniometry* g = zr_new_goniometry();
    EXPECT_TRUE(zr::make_goniometry_tables(*g, vertical, horizontal));
    g->lumens = 850.0f;
    g->peak_candela = 400.0f;
    g->lm_per_cd = 2.125f;
    g->symmetry = GONIOMETRY_HALF;
    for (int32_t j = 0; j < vertical; ++j) { g->vertical_angles[j] = float(j) / float(vertical); }
    for (int32_t i = 0; i < horizontal; ++i)
    {
        g->horizontal_angles[i] = float(i) * 0.01f;
        for (int32_t j = 0; j < vertical; ++j)
        {
            g->rows[i][j] = float(i + j + 1) / float(vertical + horizontal);
        }
    }
    return g;
}

luminaire full_luminaire(int32_t vertical = 5, int32_t horizontal = 3)
{
    luminaire l = {};
    l.flags = 0x80000003u;
    l.name = zr_dupestring(u"Downlight \u00E9");
    l.model = zr_dupestring(u"D-12");
    l.material_key = zr_dupestring(u"Metals\\Brass");
    l.material_library = zr_dupestring(u"METALS");
    l.sc = 0.98425f;
    l.rh = 0.67f;
    l.lum = 0.25f;
    l.type = 'G';
    l.geo = 'D';
    l.off[0] = 0.5;
    l.off[1] = -0.25;
    l.off[2] = -1e-3;
    l.dim[0] = 1.2f;
    l.dim[1] = 0.6f;
    l.temperature = 3000.0f;
    l.goniometry = table_of(vertical, horizontal);
    return l;
}

void free_strings(luminaire& l)
{
    for (char16_t* s : { l.name, l.model, l.material_key, l.material_library }) { zr_free(s); }
    zr_free_goniometry(l.goniometry);
}

void expect_same(const luminaire& a, const luminaire* b)
{
    ASSERT_NE(b, nullptr) << zr_last_error()->text;
    EXPECT_EQ(a.flags, b->flags);
    EXPECT_EQ(std::u16string(a.name), b->name);
    EXPECT_EQ(std::u16string(a.model), b->model);
    EXPECT_EQ(std::u16string(a.material_key), b->material_key);
    EXPECT_EQ(std::u16string(a.material_library), b->material_library);
    EXPECT_EQ(a.sc, b->sc);
    EXPECT_EQ(a.rh, b->rh);
    EXPECT_EQ(a.lum, b->lum);
    EXPECT_EQ(a.type, b->type);
    EXPECT_EQ(a.geo, b->geo);
    for (int i = 0; i < 3; ++i) { EXPECT_EQ(a.off[i], b->off[i]); }
    for (int i = 0; i < 2; ++i) { EXPECT_EQ(a.dim[i], b->dim[i]); }
    EXPECT_EQ(a.temperature, b->temperature);
    ASSERT_NE(b->goniometry, nullptr);
    const goniometry &g = *a.goniometry, &h = *b->goniometry;
    EXPECT_EQ(g.lumens, h.lumens);
    EXPECT_EQ(g.peak_candela, h.peak_candela);
    EXPECT_EQ(g.lm_per_cd, h.lm_per_cd);
    EXPECT_EQ(g.symmetry, h.symmetry);
    ASSERT_EQ(g.vertical_count, h.vertical_count);
    ASSERT_EQ(g.horizontal_count, h.horizontal_count);
    for (int32_t i = 0; i < g.horizontal_count; ++i)
    {
        EXPECT_EQ(g.horizontal_angles[i], h.horizontal_angles[i]);
        for (int32_t j = 0; j < g.vertical_count; ++j)
        {
            ASSERT_EQ(g.vertical_angles[j], h.vertical_angles[j]);
            ASSERT_EQ(g.rows[i][j], h.rows[i][j]) << i << ", " << j;
        }
    }
}

struct LightLibrary : testing::Test
{
    temporary_folder folder;
    std::u16string path = folder.wide("l.llib");
};

TEST_F(LightLibrary, KeepsEveryFieldThroughPackingAndTranslating)
{
    luminaire small = full_luminaire(), large = full_luminaire(721, 90); // more than one block
    zr_handle file = zr_lightfile_open(path.c_str(), read_write, 0, LIBRARY_CREATE_OR_EMPTY);
    ASSERT_NE(file, ZR_INVALID_HANDLE);
    EXPECT_NE(zr_lightfile_add_record(file, u"F\\small", &large), 0u); // replaced
    EXPECT_NE(zr_lightfile_add_record(file, u"F\\small", &small), 0u);
    EXPECT_NE(zr_lightfile_add_record(file, u"F\\large", &large), 0u);
    EXPECT_EQ(zr_lightfile_add_record(file, nullptr, &large), 0u);
    ASSERT_EQ(zr_libfile_close(file), 1);
    char16_t kind[33] = {};
    file = zr_lightlib_open(path.c_str());
    EXPECT_EQ(zr_file_get_kind(file, kind), 1);
    EXPECT_EQ(std::u16string(kind), u"LIGHTING");
    zr_libfile_close(file);
    const auto size_before = std::filesystem::file_size(folder.path / "l.llib");
    ASSERT_EQ(zr_pack_lightlib(nullptr, path.c_str()), 1);
    EXPECT_LT(std::filesystem::file_size(folder.path / "l.llib"), size_before * 2 / 3);
    const std::u16string text = u"\xFEFF"
                                u"F\\small\tG\\s\r\nF\\large\tG\\l\r\n";
    folder.write("t.uni", std::string(reinterpret_cast<const char*>(text.data()), 2 * text.size()));
    ASSERT_EQ(zr_translate_library(path.c_str(), folder.wide("t.uni").c_str()), 2);
    const std::u16string other = folder.wide("l_translated");
    for (const auto& [key, l] : { std::pair(u"g\\S", &small), std::pair(u"g\\l", &large) })
    {
        luminaire* read = zr_load_luminaire_from_library(key, other.c_str());
        expect_same(*l, read);
        zr::free_read_luminaire(read);
    }
    EXPECT_NE(zr_save_luminaire(u"more", other.c_str(), &small), 0u);
    luminaire* read = zr_lightfile_read_lum(other.c_str(), u"more");
    expect_same(small, read);
    zr::free_read_luminaire(read);
    EXPECT_EQ(zr_load_luminaire_from_library(u"none", other.c_str()), nullptr);
    EXPECT_EQ(zr_load_luminaire_from_library(u"more", u"no such library"), nullptr);
    free_strings(small);
    free_strings(large);
}

/// A library in memory with bytes from `first` on.
struct memory_library
{
    memory_library()
    {
        lib->writes = true;
        const uint8_t head[first] = {};
        zr_file_write_bytes(lib, head, first);
    }
    ~memory_library() { zr::free_library(lib); }
    memory_library(const memory_library&) = delete;
    memory_library& operator=(const memory_library&) = delete;
    zr::library_file* lib = zr::new_library();
};

TEST(LightRecord, LiesWhereItsReadersLookForIt)
{
    memory_library memory;
    luminaire l = full_luminaire();
    const uint32_t place = zr::write_light_record(*memory.lib, l);
    ASSERT_EQ(place, first);
    uint8_t bytes[80];
    ASSERT_TRUE(zr::read_at(*memory.lib, place, bytes, sizeof(bytes)));
    const auto u32 = [&](size_t at) { return zr::byte_reader(bytes + at, 4).u32(); };
    const auto f32 = [&](size_t at) { return zr::byte_reader(bytes + at, 4).f32(); };
    EXPECT_EQ(u32(0), 0x80000003u);
    char16_t text[64];
    EXPECT_EQ(zr_file_read_string(memory.lib, u32(4), text, sizeof(text)), 2 * 11u);
    EXPECT_EQ(std::u16string(text), u"Downlight \u00E9");
    EXPECT_EQ(zr_file_read_string(memory.lib, u32(16), text, sizeof(text)), 2 * 6u);
    EXPECT_EQ(std::u16string(text), u"METALS");
    EXPECT_EQ(f32(20), 0.98425f);
    EXPECT_EQ(f32(24), 0.67f);
    EXPECT_EQ(f32(28), 0.25f);
    EXPECT_EQ(bytes[32], 'G');
    EXPECT_EQ(bytes[33], 'D');
    EXPECT_EQ(zr::byte_reader(bytes + 40 + 16, 8).f64(), -1e-3);
    EXPECT_EQ(f32(64), 1.2f);
    EXPECT_EQ(f32(72), 3000.0f);
    // The table: head, 5 vertical and 3 horizontal angles, 3 rows of 5.
    const uint32_t table = u32(76);
    EXPECT_EQ(table + 24 + 4 * (5 + 3 + 15), memory.lib->size);
    uint8_t block[24 + 4 * 23];
    ASSERT_TRUE(zr::read_at(*memory.lib, table, block, sizeof(block)));
    zr::byte_reader in(block, sizeof(block));
    EXPECT_EQ(in.f32(), 850.0f);
    EXPECT_EQ(in.f32(), 400.0f);
    EXPECT_EQ(in.f32(), 2.125f);
    EXPECT_EQ(in.i32(), 5);
    EXPECT_EQ(in.i32(), 3);
    EXPECT_EQ(in.i32(), GONIOMETRY_HALF);
    in.skip(4 * 4);
    EXPECT_EQ(in.f32(), 0.8f); // the last vertical angle
    EXPECT_EQ(in.f32(), 0.0f); // the first horizontal one
    EXPECT_EQ(in.f32(), 0.01f);
    in.skip(4);
    EXPECT_EQ(in.f32(), 1.0f / 8.0f); // row 0
    in.skip(4 * 4);
    EXPECT_EQ(in.f32(), 2.0f / 8.0f); // row 1
    free_strings(l);

    // What is empty or 0 takes its default when read.
    luminaire plain = {};
    plain.type = 'N';
    const uint32_t other = zr::write_light_record(*memory.lib, plain);
    ASSERT_TRUE(zr::read_at(*memory.lib, other, bytes, sizeof(bytes)));
    EXPECT_EQ(u32(76), 0u);
    luminaire* read = zr::read_light_record(*memory.lib, other);
    ASSERT_NE(read, nullptr);
    EXPECT_EQ(std::u16string(read->name), u"");
    EXPECT_EQ(std::u16string(read->material_key), u"Solid Colors\\Whites\\Pure\\Glossy");
    EXPECT_EQ(std::u16string(read->material_library), u"ZIRCONLITE");
    EXPECT_EQ(read->sc * read->rh * read->lum, 1.0f);
    EXPECT_EQ(read->temperature, 5000.0f);
    EXPECT_EQ(read->goniometry, nullptr);
    zr::free_read_luminaire(read);
}

TEST(LightRecord, DamageIsRefused)
{
    const float nan = NAN;
    uint32_t nan_bits;
    memcpy(&nan_bits, &nan, 4);
    const struct
    {
        const char* what;
        uint32_t at; ///< in the payload, or behind it in the table from 1000 on
        uint32_t value;
    } cases[] = {
        { "a name outside the file", 4, 1000000 },
        { "a material that ends outside", 12, 12 }, // its length is taken from the record
        { "no table", 76, 0 },
        { "a table outside the file", 76, 1000000 },
        { "no vertical angle", 1012, 0 },
        { "more vertical angles than the file has", 1012, 6 },
        { "a product beyond 64 bits", 1012, 0xFFFFFFFF },
        { "a product that wraps 32 bits", 1016, 0x40000000 },
        { "no horizontal angle", 1016, 0 },
        { "unknown symmetry", 1020, 5 },
        { "an angle that falls", 1024 + 4, 0xBF000000 },
        { "an angle that is not a number", 1024 + 8, nan_bits },
        { "a value below 0", 1024 + 4 * 9, 0xBF000000 },
        { "a value above the peak", 1024 + 4 * 9, 0x40000000 },
        { "no integral", 1008, 0 },
        { "a peak that is not a number", 1004, nan_bits },
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        memory_library memory;
        luminaire l = full_luminaire();
        const uint32_t place = zr::write_light_record(*memory.lib, l);
        free_strings(l);
        uint32_t table = 0;
        ASSERT_TRUE(zr::read_u32_at(*memory.lib, place + 76, &table));
        luminaire* read = zr::read_light_record(*memory.lib, place);
        EXPECT_NE(read, nullptr);
        zr::free_read_luminaire(read);
        const uint32_t at = c.at >= 1000 ? table + c.at - 1000 : place + c.at;
        ASSERT_TRUE(zr::write_u32_at(*memory.lib, at, c.value));
        EXPECT_EQ(zr::read_light_record(*memory.lib, place), nullptr);
    }
    // Nor is such a table written.
    memory_library memory;
    luminaire l = full_luminaire();
    l.goniometry->vertical_angles[2] = l.goniometry->vertical_angles[1];
    EXPECT_EQ(zr::write_light_record(*memory.lib, l), 0u);
    zr_free_goniometry(l.goniometry);
    l.goniometry = nullptr;
    EXPECT_EQ(zr::write_light_record(*memory.lib, l), 0u);
    EXPECT_EQ(zr_last_error()->code, ZR_ERROR_ARGUMENT);
    free_strings(l);
}

} // namespace
