#include "zirconlite/sampling/scene_survey.hpp"

#include <algorithm>
#include <cmath>

#include "zirconlite/frame/array.hpp"
#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/materials/material.h"
#include "zirconlite/materials/surface.h"
#include "zirconlite/raytrace/emission.hpp"
#include "zirconlite/sampling/lobe.hpp"

namespace zr
{

namespace
{

constexpr double min_panel_share = 0.01; ///< of the largest one's mirrored or clear area
constexpr double min_mirrored = 0.02, min_clear = 0.5;
constexpr double glass_mirrored = 0.08; ///< by a pane, square to it

/// A triangle of a clear or mirroring surface.
struct flat_triangle
{
    int64_t key[4]; ///< its plane in steps: equal for triangles of one plane
    const scene_object* object;
    vector3 corner[3], normal;
    double area, mirrored, clear;
};

struct glowing_triangle
{
    scene_object* object;
    vector3 corner[3];
    double sum; ///< of area x luminance up to this one
};

struct panel_member
{
    const scene_object* object;
    int32_t panel;
};

struct scene_survey
{
    growable_block<glowing_triangle> glowing;
    double glowing_power;
    growable_block<panel_member> members; ///< of mirrors, by address
    flat_panel mirrors[max_panels], openings[max_panels];
    size_t mirror_count, opening_count;
};
scene_survey survey = {};

/// One object while it is looked at.
struct survey_visit
{
    array<flat_triangle>& flat;
    scene_object* object;
    double glow, mirrored, clear;
    double plane_step;
    bool failed;
};

double triangle_area(const vector3 corner[3], vector3& normal)
{
    const vector3 across = cross(corner[1] - corner[0], corner[2] - corner[0]);
    normal = normalized(across);
    return 0.5 * length(across);
}

/// Both sides of a plane count as one.
void set_plane_key(flat_triangle& t, double step)
{
    constexpr double normal_steps = 512.0;
    vector3 n = t.normal;
    const double first = n.x != 0.0 ? n.x : n.y != 0.0 ? n.y : n.z;
    if (std::fabs(n.x) > 1e-3 ? n.x < 0.0 : std::fabs(n.y) > 1e-3 ? n.y < 0.0 : first < 0.0) { n = -n; }
    t.normal = n;
    t.key[0] = std::llround(n.x * normal_steps);
    t.key[1] = std::llround(n.y * normal_steps);
    t.key[2] = std::llround(n.z * normal_steps);
    t.key[3] = std::llround(dot(n, t.corner[0]) / step);
}

void survey_triangle(const triangle_visit* visit, scene_object*)
{
    auto& v = *static_cast<survey_visit*>(visit->extra);
    vector3 normal;
    const double area = triangle_area(visit->position, normal);
    if (!(area > 0.0) || !std::isfinite(area)) { return; }
    if (v.glow > 0.0)
    {
        survey.glowing_power += area * v.glow;
        glowing_triangle made = { v.object, {}, survey.glowing_power };
        std::copy_n(visit->position, 3, made.corner);
        v.failed |= !survey.glowing.push(made);
    }
    if (!(v.mirrored > 0.0) && !(v.clear > 0.0)) { return; }
    flat_triangle made = { {}, v.object, {}, normal, area, v.mirrored, v.clear };
    std::copy_n(visit->position, 3, made.corner);
    set_plane_key(made, v.plane_step);
    v.failed |= !v.flat.push(made);
}

double glow_of(const scene_object& object, const surface& neutral)
{
    if (is_light_shape(object)) { return 0.0; }
    float light[3];
    emission(&object, neutral, light);
    const double y = luminance(light);
    return std::isfinite(y) ? std::fmax(y, 0.0) : 0.0;
}

/// The neutral surface of the material last asked for: neighbours in the list share theirs.
struct neutral_surface
{
    const material* of;
    surface s;
};

const surface& surface_of(const scene_object& object, neutral_surface& last)
{
    const material* m = object.vft->get_material(&object);
    if (m != last.of)
    {
        zr_resolve_surface(m, nullptr, &last.s);
        last.of = m;
    }
    return last.s;
}

bool survey_objects(scene_object* first, array<flat_triangle>& flat, double plane_step)
{
    neutral_surface last = {};
    bool failed = false;
    for (scene_object* o = first; o && !failed; o = o->next)
    {
        if (!o->vft->visit_triangles || !o->vft->get_material) { continue; }
        const surface& s = surface_of(*o, last);
        const bool is_polished = lobe_of(s, s.transparent * glass_mirrored).exponent == 0.0;
        const double mirrored = is_polished ? s.reflect + s.transparent * glass_mirrored : 0.0;
        survey_visit v = { flat, o, glow_of(*o, s), mirrored > min_mirrored ? mirrored : 0.0,
            s.transparent > min_clear ? double(s.transparent) : 0.0, plane_step, false };
        if (v.glow > 0.0 || v.mirrored > 0.0 || v.clear > 0.0)
        {
            o->vft->visit_triangles(o, nullptr, nullptr, survey_triangle, &v);
        }
        failed = v.failed;
    }
    return !failed;
}

bool is_one_plane(const flat_triangle& a, const flat_triangle& b)
{
    return std::equal(a.key, a.key + 4, b.key);
}

/// The rectangle round triangles of one plane, along the longest edge of the first.
flat_panel panel_of(const flat_triangle* first, const flat_triangle* end)
{
    flat_panel p = { {}, first->normal, {}, {}, 0.0, 0.0, 0.0, 0.0, 0.0 };
    vector3 longest = {};
    for (int i = 0; i < 3; ++i)
    {
        const vector3 edge = first->corner[(i + 1) % 3] - first->corner[i];
        if (dot(edge, edge) > dot(longest, longest)) { longest = edge; }
    }
    // The diagonal of a rectangle is its triangles' longest edge; the sides are the shorter ones.
    for (int i = 0; i < 3; ++i)
    {
        const vector3 a = first->corner[(i + 1) % 3] - first->corner[i];
        const vector3 b = first->corner[(i + 2) % 3] - first->corner[i];
        if (std::fabs(dot(normalized(a), normalized(b))) < 1e-3) { longest = a; }
    }
    p.u = normalized(longest);
    p.v = normalized(cross(p.normal, p.u));
    double low[2] = { ZR_FAR, ZR_FAR }, high[2] = { -ZR_FAR, -ZR_FAR };
    for (const flat_triangle* t = first; t < end; ++t)
    {
        p.area += t->area;
        p.mirrored += t->area * t->mirrored;
        p.clear += t->area * t->clear;
        for (const vector3& c : t->corner)
        {
            const double at[2] = { dot(c, p.u), dot(c, p.v) };
            for (int i = 0; i < 2; ++i)
            {
                low[i] = std::fmin(low[i], at[i]);
                high[i] = std::fmax(high[i], at[i]);
            }
        }
    }
    p.mirrored /= p.area;
    p.clear /= p.area;
    p.half_u = 0.5 * (high[0] - low[0]);
    p.half_v = 0.5 * (high[1] - low[1]);
    p.middle = 0.5 * (low[0] + high[0]) * p.u + 0.5 * (low[1] + high[1]) * p.v +
               dot(first->corner[0], p.normal) * p.normal;
    return p;
}

/// A run of triangles in one plane.
struct plane_run
{
    size_t first, end;
    double mirrored_area, clear_area;
};

/// Keeps the runs of the largest `area`, and nothing much smaller than the first.
size_t keep_largest(array<plane_run>& runs, double plane_run::*area)
{
    std::stable_sort(
        runs.begin(), runs.end(), [&](const plane_run& a, const plane_run& b) { return a.*area > b.*area; });
    size_t kept = 0;
    while (kept < std::min(runs.count, max_panels) && runs[kept].*area > 0.0 &&
           runs[kept].*area >= min_panel_share * (runs[0].*area))
    {
        ++kept;
    }
    return kept;
}

bool keep_members(const array<flat_triangle>& flat, const plane_run& run, int32_t panel)
{
    for (size_t i = run.first; i < run.end; ++i)
    {
        if (!survey.members.push({ flat[i].object, panel })) { return false; }
    }
    return true;
}

bool make_panels(array<flat_triangle>& flat)
{
    std::sort(flat.begin(), flat.end(),
        [](const flat_triangle& a, const flat_triangle& b)
        {
            const int order = memcmp(a.key, b.key, sizeof(a.key));
            return order != 0 ? order < 0 : a.object->number < b.object->number;
        });
    array<plane_run> runs;
    for (size_t i = 0; i < flat.count;)
    {
        plane_run run = { i, i, 0.0, 0.0 };
        for (; run.end < flat.count && is_one_plane(flat[i], flat[run.end]); ++run.end)
        {
            run.mirrored_area += flat[run.end].area * flat[run.end].mirrored;
            run.clear_area += flat[run.end].area * flat[run.end].clear;
        }
        if (!runs.push(run)) { return false; }
        i = run.end;
    }
    survey.opening_count = keep_largest(runs, &plane_run::clear_area);
    for (size_t i = 0; i < survey.opening_count; ++i)
    {
        survey.openings[i] = panel_of(&flat[runs[i].first], flat.items + runs[i].end);
    }
    survey.mirror_count = keep_largest(runs, &plane_run::mirrored_area);
    for (size_t i = 0; i < survey.mirror_count; ++i)
    {
        survey.mirrors[i] = panel_of(&flat[runs[i].first], flat.items + runs[i].end);
        if (!keep_members(flat, runs[i], int32_t(i))) { return false; }
    }
    std::sort(survey.members.begin(), survey.members.end(),
        [](const panel_member& a, const panel_member& b) { return a.object < b.object; });
    return true;
}

} // namespace

bool prepare_survey(const document& doc)
{
    constexpr double plane_steps = 2e4; // in the scene's extent
    free_survey();
    const double extent = length(doc.bounds.max - doc.bounds.min);
    const double step = extent > 0.0 && std::isfinite(extent) ? extent / plane_steps : 1.0;
    array<flat_triangle> flat;
    const bool made = survey_objects(doc.scene_objects.first, flat, step) &&
                      survey_objects(doc.radiosity_objects.first, flat, step) && make_panels(flat);
    if (!made) { free_survey(); }
    return made;
}

void free_survey()
{
    survey.glowing.clear();
    survey.members.clear();
    survey = {};
}

const flat_panel* mirror_panels(size_t& count)
{
    count = survey.mirror_count;
    return survey.mirrors;
}

int32_t mirror_panel_of(const scene_object& object)
{
    const panel_member* found = std::lower_bound(survey.members.begin(), survey.members.end(), &object,
        [](const panel_member& m, const scene_object* o) { return m.object < o; });
    return found != survey.members.end() && found->object == &object ? found->panel : -1;
}

const flat_panel* opening_panels(size_t& count)
{
    count = survey.opening_count;
    return survey.openings;
}

bool surfaces_glow() { return survey.glowing_power > 0.0; }

glowing_point pick_glowing_point(double u, double v)
{
    const double wanted = u * survey.glowing_power;
    const glowing_triangle* t = std::upper_bound(survey.glowing.begin(), survey.glowing.end() - 1, wanted,
        [](double value, const glowing_triangle& g) { return value < g.sum; });
    const double before = t == survey.glowing.begin() ? 0.0 : (t - 1)->sum;
    const double within = std::clamp((wanted - before) / (t->sum - before), 0.0, 1.0);
    // Evenly over a triangle: Turk, "Generating random points in triangles" (1990).
    const double root = std::sqrt(within), a = 1.0 - root, b = v * root;
    glowing_point made = { t->object, a * t->corner[0] + b * t->corner[1] + (1.0 - a - b) * t->corner[2], {},
        0.0 };
    const double area = triangle_area(t->corner, made.normal);
    made.density = (t->sum - before) / (survey.glowing_power * area);
    return made;
}

double glowing_density(const scene_object& object)
{
    if (!surfaces_glow() || !object.vft->visit_triangles || object.vft->type_id == OBJECT_GROUND)
    {
        return 0.0;
    }
    surface s;
    zr_resolve_surface(object.vft->get_material(&object), nullptr, &s);
    return glow_of(object, s) / survey.glowing_power;
}

bool meets_panel(const flat_panel& panel, const vector3& origin, const vector3& direction, double& distance)
{
    const double along = dot(panel.normal, direction);
    if (std::fabs(along) < 1e-9) { return false; }
    distance = dot(panel.normal, panel.middle - origin) / along;
    if (!(distance > 0.0)) { return false; }
    const vector3 at = origin + distance * direction - panel.middle;
    return std::fabs(dot(at, panel.u)) <= panel.half_u && std::fabs(dot(at, panel.v)) <= panel.half_v;
}

vector3 mirrored_point(const flat_panel& panel, const vector3& point)
{
    return point - 2.0 * dot(panel.normal, point - panel.middle) * panel.normal;
}

vector3 mirrored_direction(const flat_panel& panel, const vector3& direction)
{
    return direction - 2.0 * dot(panel.normal, direction) * panel.normal;
}

} // namespace zr
