/// @file
/// The table of the kinds of complex materials and of bumps, by their file codes.
#include "zirconlite/materials/blend_kinds.hpp"

#include <iterator>

#include "zirconlite/frame/memory.h"
#include "zirconlite/frame/status.hpp"
#include "zirconlite/frame/string_table.h"
#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/materials/blend.h"
#include "zirconlite/materials/blend_functions.hpp"
#include "zirconlite/materials/bumps.h"
#include "zirconlite/platform/text.hpp"

namespace platform = zr::platform;

namespace
{

/// `has_own_pattern` 0: `scale` and `transform` mean nothing to the kind. A kind that works on its children's
/// surfaces needs both evaluated before it is asked.
struct blend_row
{
    int32_t kind;
    blend_function blend;
    prepare_function prepare;
    int32_t label, child_labels[2]; ///< numbers of messages
    int32_t has_own_pattern;
    bool works_on_children;
};

constexpr blend_row rows[] = {
    { BLEND_KIND_MARBLE, zr::blend_marble, nullptr, 838, { 940, 941 }, 1, false },
    { BLEND_KIND_GRANITE, zr::blend_granite, nullptr, 827, { 940, 946 }, 1, false },
    { BLEND_KIND_WOOD, zr::blend_wood, nullptr, 868, { 940, 945 }, 1, false },
    { BLEND_KIND_TILE, zr::blend_tile, zr::prepare_tile, 854, { 940, 942 }, 1, false },
    { BLEND_KIND_MASK, zr::blend_mask, nullptr, 922, { 940, 947 }, 1, false },
    { BLEND_KIND_BLEND, zr::blend_even, nullptr, 805, { 943, 944 }, 0, false },
    { BLEND_KIND_CLEAR_FINISH, zr::blend_clear_finish, nullptr, 7030, { 7032, 7031 }, 0, true },
    { BLEND_KIND_ANGULAR, zr::blend_angular, nullptr, 7040, { 7041, 7042 }, 0, false },
};
static_assert(std::size(rows) == BLEND_KIND_ANGULAR + 1);

struct bump_row
{
    int32_t kind;
    bump_function function;
    uint32_t flags;
    int32_t name; ///< number of a message
};

constexpr bump_row bump_rows[] = { { 1, zr_bump_rubble, 0, 672 }, { 2, zr_bump_sandpaper, 0, 671 },
    { 3, zr_bump_pyramid, BUMP_MAPPED, 673 } };

complex_material* as_complex(material* m);
void copy_label(char16_t (&out)[32], int32_t number);
const blend_row* row_of(blend_function blend);

} // namespace

int32_t zr_set_blend_kind(material* complex, int32_t kind)
{
    complex_material* m = as_complex(complex);
    if (!m) { return 0; }
    m->blend = nullptr;
    m->prepare = nullptr;
    if (kind < 0 || kind >= int32_t(std::size(rows))) { return 0; }
    const blend_row& row = rows[kind];
    m->blend = row.blend;
    m->prepare = row.prepare;
    m->has_own_pattern = row.has_own_pattern;
    copy_label(m->kind_label, row.label);
    for (int i = 0; i < 2; ++i) { copy_label(m->child_labels[i], row.child_labels[i]); }
    return 1;
}

int32_t zr_get_blend_kind(const material* complex)
{
    const complex_material* m = as_complex(const_cast<material*>(complex));
    const blend_row* row = m ? row_of(m->blend) : nullptr;
    return row ? row->kind : -1;
}

int32_t zr_update_pattern_transform(material* complex)
{
    complex_material* m = as_complex(complex);
    if (!m) { return 0; }
    if (zr::dot(m->axis, m->axis) == 0.0) { m->axis = { 0.0, 0.0, 1.0 }; }
    zr_build_matrix(&m->axis, &m->origin, -double(m->rotation), &m->transform);
    return 1;
}

int32_t zr_add_bump(material* simple, int32_t kind, const double axis[3], const double origin[3],
    double rotation, const double scale[3], double strength)
{
    if (!simple || (simple->flags & MATERIAL_COMPLEX)) { return 0; }
    auto* made = static_cast<bump*>(zr_calloc(1, sizeof(bump)));
    if (!made)
    {
        zr::report_failure(ZR_ERROR_MEMORY, "no memory for a bump");
        return 0;
    }
    const bump_row& row = bump_rows[kind >= 1 && kind <= int32_t(std::size(bump_rows)) ? kind - 1 : 0];
    copy_label(made->name, row.name);
    made->function = row.function;
    made->flags = row.flags; // pyramids lie on the sides of an object
    made->axis = { axis[0], axis[1], axis[2] };
    made->origin = { origin[0], origin[1], origin[2] };
    made->scale = { scale[0], scale[1], scale[2] };
    made->rotation = float(rotation);
    made->strength = strength;
    zr_build_matrix(&made->axis, &made->origin, -rotation, &made->transform);
    bump** link = &reinterpret_cast<simple_material*>(simple)->bumps;
    while (*link) { link = &(*link)->next; }
    *link = made;
    return 1;
}

namespace zr
{

bool blend_works_on_children(const complex_material& m)
{
    const blend_row* row = row_of(m.blend);
    return !row || row->works_on_children;
}

bool is_own_kind(const complex_material& m) { return row_of(m.blend) != nullptr; }

} // namespace zr

namespace
{

complex_material* as_complex(material* m)
{
    return m && (m->flags & MATERIAL_COMPLEX) ? reinterpret_cast<complex_material*>(m) : nullptr;
}

/// The message, or an empty text where the table has none.
void copy_label(char16_t (&out)[32], int32_t number)
{
    const char16_t* text = zr_get_message(nullptr, number);
    platform::copy_text(out, std::size(out), platform::same_text(text, u"???") ? u"" : text);
}

const blend_row* row_of(blend_function blend)
{
    for (const blend_row& row : rows)
    {
        if (row.blend == blend) { return &row; }
    }
    return nullptr;
}

} // namespace
