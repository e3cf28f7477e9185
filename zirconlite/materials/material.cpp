/// @file
/// Making, copying and freeing materials.
#include "zirconlite/materials/material.h"

#include <algorithm>
#include <cmath>

#include "zirconlite/frame/memory.h"
#include "zirconlite/frame/status.hpp"
#include "zirconlite/materials/mask_source.hpp"
#include "zirconlite/materials/material_list.hpp"
#include "zirconlite/materials/surface.h"

namespace
{

constexpr double display_gamma = 2.2;
constexpr float brightest_fake = 0.99f;
constexpr float fake_grey = 0.86704016f;

material* new_record(size_t size);
material* with_surface(material* m);
bool dupe_head(const material& source, material& copy);
bool dupe_simple(const simple_material& source, simple_material& copy);
bool dupe_complex(const complex_material& source, complex_material& copy);
void free_bumps(bump* first);
complex_material& as_complex(material& m);
bool is_complex(const material& m);
float share(float value);
simple_material& as_simple(material& m);

} // namespace

material* new_simple_material(void)
{
    material* made = new_record(sizeof(simple_material));
    if (!made) { return nullptr; }
    simple_material& m = as_simple(*made);
    m.style = 3;
    m.opacity = m.diffuse_share = m.diffuse = m.transparent_share = 1.0f;
    m.highlight = m.ior = 1.0f;
    m.own_highlight = 25.0f;
    m.own_strength = 1.0f;
    std::fill_n(m.reflect_color, 3, 1.0f);
    std::fill_n(m.own_highlight_color, 3, 1.0f);
    return made;
}

material* new_complex_material(void)
{
    material* made = new_record(sizeof(complex_material));
    if (!made) { return nullptr; }
    complex_material& m = as_complex(*made);
    m.head.flags = MATERIAL_COMPLEX;
    m.scale = { 1.0, 1.0, 1.0 };
    m.axis = { 0.0, 0.0, 1.0 };
    for (int i = 0; i < 4; ++i) { m.transform.m[i][i] = 1.0; }
    return made;
}

material* dupe_material(const material* source)
{
    if (!source) { return nullptr; }
    const size_t size = is_complex(*source) ? sizeof(complex_material) : sizeof(simple_material);
    material* copy = new_record(size);
    if (!copy) { return nullptr; }
    copy->flags = source->flags;
    copy->id = source->id;
    auto& from = const_cast<material&>(*source);
    const bool is_whole =
        dupe_head(*source, *copy) && (is_complex(from) ? dupe_complex(as_complex(from), as_complex(*copy))
                                                       : dupe_simple(as_simple(from), as_simple(*copy)));
    if (is_whole) { return copy; }
    free_material(copy);
    zr::report_failure(ZR_ERROR_MEMORY, "no memory for the copy of a material");
    return nullptr;
}

int32_t free_material(material* m)
{
    if (!m) { return 0; }
    zr_free(m->surface);
    zr_free(m->name);
    zr_free(m->library);
    if (is_complex(*m))
    {
        for (auto* child : as_complex(*m).children) { free_material(child); }
        zr::release_mask(as_complex(*m).params.mask);
    }
    else
    {
        free_bumps(as_simple(*m).bumps);
        free_image_list(as_simple(*m).images);
    }
    zr_free(m);
    return 1;
}

int32_t zr_update_material_weights(material* look)
{
    if (!look || is_complex(*look)) { return 0; }
    simple_material& m = as_simple(*look);
    m.opacity = share(m.opacity);
    m.diffuse_share = share(m.diffuse_share);
    m.translucent_share = share(m.translucent_share);
    m.transparency = 1.0f - m.opacity;
    m.reflect_share = 1.0f - m.diffuse_share;
    m.transparent_share = 1.0f - m.translucent_share;
    m.reflect = m.opacity * m.reflect_share;
    m.diffuse = m.opacity * m.diffuse_share;
    m.transparent = m.transparency * m.transparent_share;
    m.translucent = m.transparency * m.translucent_share;
    return 1;
}

material* zr_build_fake_material_ex(const float rgb[3])
{
    material* made = zr::new_default_material();
    if (!made) { return nullptr; }
    simple_material& m = as_simple(*made);
    for (int i = 0; i < 3; ++i)
    {
        const float clamped = rgb[i] > 0.0f ? std::min(rgb[i], brightest_fake) : 0.0f;
        m.color[i] = float(std::pow(double(clamped), display_gamma));
        m.translucent_color[i] = m.transparent_color[i] = m.color[i];
    }
    return with_surface(made);
}

material* zr_build_fake_material(void)
{
    const float grey[3] = { fake_grey, fake_grey, fake_grey };
    return zr_build_fake_material_ex(grey);
}

material* zr_build_matte_material(const float rgb[3])
{
    material* made = zr::new_default_material();
    if (!made) { return nullptr; }
    std::copy_n(rgb, 3, as_simple(*made).color);
    return with_surface(made);
}

void zr_degamma_color(float rgb[3])
{
    for (int i = 0; i < 3; ++i)
    {
        rgb[i] = rgb[i] > 0.0f ? float(std::pow(double(rgb[i]), display_gamma)) : 0.0f;
    }
}

namespace zr
{

material* new_default_material()
{
    material* made = new_simple_material();
    if (!made) { return nullptr; }
    simple_material& m = as_simple(*made);
    m.ior = 1.05f;
    m.highlight = 0.0f;
    for (float* color : { m.color, m.translucent_color, m.transparent_color })
    {
        std::fill_n(color, 3, 0.7f);
    }
    return made;
}

bool resolve_neutral_surface(material& m)
{
    if (m.surface) { return true; }
    auto* made = static_cast<surface*>(zr_calloc(1, sizeof(surface)));
    if (!made) { return report_failure(ZR_ERROR_MEMORY, "no memory for the surface of a material"); }
    neutral_surface(m, *made);
    m.surface = made;
    return true;
}

} // namespace zr

namespace
{

material* new_record(size_t size)
{
    auto* made = static_cast<material*>(zr_calloc(1, size));
    if (!made) { zr::report_failure(ZR_ERROR_MEMORY, "no memory for a material"); }
    return made;
}

/// The material with its surface; null, with the material freed, when memory fails.
material* with_surface(material* m)
{
    if (zr::resolve_neutral_surface(*m)) { return m; }
    free_material(m);
    return nullptr;
}

bool dupe_text(const char16_t* source, char16_t*& copy)
{
    copy = zr_dupestring(source);
    return copy || !source;
}

bool dupe_head(const material& source, material& copy)
{
    if (!dupe_text(source.name, copy.name) || !dupe_text(source.library, copy.library)) { return false; }
    if (!source.surface) { return true; }
    copy.surface = static_cast<surface*>(zr_malloc(sizeof(surface)));
    if (!copy.surface) { return false; }
    *copy.surface = *source.surface;
    if (copy.surface->material == &source) { copy.surface->material = &copy; }
    return true;
}

bool dupe_simple(const simple_material& source, simple_material& copy)
{
    const material head = copy.head;
    copy = source;
    copy.head = head;
    copy.bumps = nullptr;
    copy.images = nullptr;
    bump** link = &copy.bumps;
    for (const bump* b = source.bumps; b; b = b->next)
    {
        *link = static_cast<bump*>(zr_malloc(sizeof(bump)));
        if (!*link) { return false; }
        **link = *b;
        (*link)->next = nullptr;
        link = &(*link)->next;
    }
    copy.images = dupe_image_list(source.images);
    return copy.images || !source.images;
}

bool dupe_complex(const complex_material& source, complex_material& copy)
{
    const material head = copy.head;
    copy = source;
    copy.head = head;
    copy.children[0] = copy.children[1] = nullptr;
    if (copy.params.mask) { ++copy.params.mask->references; }
    for (int i = 0; i < 2; ++i)
    {
        if (!source.children[i]) { continue; }
        copy.children[i] = dupe_material(source.children[i]);
        if (!copy.children[i]) { return false; }
        copy.children[i]->parent = &copy.head;
    }
    return true;
}

void free_bumps(bump* first)
{
    while (first)
    {
        bump* next = first->next;
        zr_free(first);
        first = next;
    }
}

complex_material& as_complex(material& m) { return reinterpret_cast<complex_material&>(m); }

bool is_complex(const material& m) { return (m.flags & MATERIAL_COMPLEX) != 0; }

float share(float value) { return value > 0.0f ? std::min(value, 1.0f) : 0.0f; }

simple_material& as_simple(material& m) { return reinterpret_cast<simple_material&>(m); }

} // namespace
