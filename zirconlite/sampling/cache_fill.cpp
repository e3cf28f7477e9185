#include "zirconlite/sampling/cache_fill.hpp"

#include <algorithm>

#include "zirconlite/frame/status.hpp"
#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/platform/threads.hpp"
#include "zirconlite/raytrace/pixel_sampler.hpp"
#include "zirconlite/sampling/converging.h"

namespace
{

constexpr int32_t paths_across = 128; // paths of a round along each edge of the view
constexpr int32_t bundle_size = 256, bundle_count = paths_across * paths_across / bundle_size;
constexpr size_t bundle_deposits = size_t(bundle_size) * zr::fill_path::max_vertices;
constexpr size_t bundle_guides = bundle_deposits + bundle_size;
constexpr int32_t min_rounds = 4, max_rounds = 256; // as many as the picture has pixels for
constexpr int32_t paths_per_pixel = 4;
constexpr double settled_share = 0.9; // of the paths, that ends the rounds

/// What a bundle of paths of a round has brought.
struct bundle_yield
{
    uint32_t deposits, guides;
    uint32_t asked, settled; ///< paths that met a cell first, and those of them that needed no more
};

} // namespace

struct cache_filling
{
    document& doc;
    render_view& view;
    light_cache& cache;
    uint32_t seed;
    int32_t round, rounds; ///< running, and at most
    uint32_t next_bundle;  ///< atomic
    bool is_settled;
    zr::array<zr::cache_deposit> deposits; ///< room of each bundle
    zr::array<zr::guide_deposit> guides;   ///< the same
    bundle_yield yields[bundle_count];
};

namespace zr
{

namespace
{

constexpr specular_lobe no_lobe = { 0.0, {}, 1.0 };
constexpr guide_deposit no_bounce = { {}, -1, 0.0f };

bool is_stopped(const cache_filling& f) { return platform::load_word(&f.doc.stop_render) == 1; }

/// The light since the last vertex is that vertex's.
void close_vertex(light_path& p)
{
    fill_path& f = *p.fill;
    if (f.count == 0)
    {
        f.first.light = float(luminance(p.found.radiance));
        return;
    }
    for (int i = 0; i < 3; ++i) { f.vertex[f.count - 1].light[i] = p.found.radiance[i]; }
}

/// The direction that the path has taken from a surface whose side faces `normal`.
guide_deposit bounce_of(const light_path& p, const vector3& normal)
{
    guide_deposit d = no_bounce;
    if (find_guide_key(*p.doc.light_cache, p.r.origin, normal, d.key))
    {
        d.part = guide_part_of(p.r.direction);
    }
    return d;
}

/// A white surface at the hit bounces all light from its front.
diffuse_bounce white_bounce(const light_path& p)
{
    return { { 1.0, 0.0 }, { find_guide(*p.doc.light_cache, p.r.hit_point, p.r.shading_normal), nullptr } };
}

/// What a surface spreads. Of a translucent one a path takes one side, as often as it counts.
double sent_back(const met_surface& at) { return at.lobe.diffuse + at.s.translucent; }

/// The path sees the other side of the surface at its hit.
void turn_over(ray& r)
{
    for (vector3* n : { &r.geometric_normal, &r.facing_normal, &r.shading_normal }) { *n = -*n; }
}

/// From here on the path's light is counted as a white surface's. False at the path's end.
bool open_vertex(light_path& p, const met_surface& at, const cache_reading& cell, double probability)
{
    close_vertex(p);
    fill_vertex& v = p.fill->vertex[p.fill->count++];
    v = { cell.key, cell.division, 0.0f, {}, {}, 0.0, no_bounce };
    for (int i = 0; i < 3; ++i)
    {
        v.carried[i] = p.r.weight[i] * sent_back(at) * at.s.color[i] / probability;
        p.r.weight[i] = 1.0;
        p.found.radiance[i] = 0.0;
    }
    surface white = at.s;
    std::fill_n(white.color, 3, 1.0f);
    white.translucent = 0.0f;
    const diffuse_bounce bounce = white_bounce(p);
    const vector3 normal = p.r.shading_normal;
    add_vertex_light(p, white, no_lobe, nullptr, bounce);
    v.direct = luminance(p.found.radiance);
    if (!go_bounced(p, white, no_lobe, bounce)) { return false; }
    v.bounce = bounce_of(p, normal);
    return true;
}

/// What each vertex's white surface sends on, the last first, and which direction has brought how much.
void give_deposits(fill_path& f, cache_deposit* out, guide_deposit* guides)
{
    double behind[3] = {};
    for (int n = f.count - 1; n >= 0; --n)
    {
        const fill_vertex& v = f.vertex[n];
        guides[n + 1] = v.bounce;
        guides[n + 1].light = float(std::max(luminance(v.light) - v.direct, 0.0) + luminance(behind));
        cache_deposit& d = out[n];
        d = { v.key, v.division, {}, v.nearness };
        for (int i = 0; i < 3; ++i)
        {
            const double light = v.light[i] + behind[i];
            d.light[i] = float(light);
            behind[i] = light * v.carried[i];
        }
    }
    guides[0] = f.first;
    guides[0].light += float(luminance(behind));
}

void trace_fill_path(
    cache_filling& filling, const ray& prototype, int32_t thread, int32_t index, fill_path& f)
{
    const int32_t x = index % paths_across, y = index / paths_across;
    const sample_point point = { x, y, uint32_t(filling.round), filling.seed };
    const unit_pair at = sample_numbers(point, pair_pixel);
    const double position[2] = { (x + at.u) / paths_across * filling.view.width,
        (y + at.v) / paths_across * filling.view.height };
    f.count = 0;
    f.first = no_bounce;
    f.found_settled = false;
    light_path p = start_path(filling.doc, filling.view, prototype, point);
    p.fill = &f;
    if (!aim_path(p, thread, position)) { return; }
    follow_path(p);
    close_vertex(p);
}

void fill_bundle(cache_filling& filling, const ray& prototype, int32_t thread, uint32_t bundle)
{
    bundle_yield& yield = filling.yields[bundle];
    cache_deposit* const room = &filling.deposits[bundle * bundle_deposits];
    guide_deposit* const guides = &filling.guides[bundle * bundle_guides];
    yield = {};
    fill_path f;
    for (int32_t n = 0; n < bundle_size; ++n)
    {
        trace_fill_path(filling, prototype, thread, int32_t(bundle) * bundle_size + n, f);
        yield.asked += f.count > 0 || f.found_settled;
        yield.settled += f.found_settled;
        give_deposits(f, room + yield.deposits, guides + yield.guides);
        yield.deposits += uint32_t(f.count);
        yield.guides += uint32_t(f.count) + 1;
    }
}

int32_t rounds_for(const render_view& view)
{
    const double pixels = double(view.width) * view.height;
    return int32_t(std::clamp(
        pixels * paths_per_pixel / (paths_across * paths_across), double(min_rounds), double(max_rounds)));
}

/// The document's cache: what was read for this scene, else an empty one. False when memory fails.
bool ready_cache(document& doc, const render_view& view)
{
    const uint64_t scene = scene_fingerprint(doc);
    if (!doc.light_cache) { doc.light_cache = new_light_cache(); }
    if (!doc.light_cache) { return false; }
    if (doc.light_cache->is_kept && doc.light_cache->scene == scene) { return true; }
    start_light_cache(*doc.light_cache, view.position, length(doc.bounds.max - doc.bounds.min), scene);
    return true;
}

} // namespace

cache_filling* begin_cache_fill(document& doc, render_view& view)
{
    void* memory = zr_malloc(sizeof(cache_filling));
    if (!memory || !ready_cache(doc, view))
    {
        report_failure(ZR_ERROR_MEMORY, "no memory to fill the light cache");
        zr_free(memory);
        return nullptr;
    }
    auto* f = new (memory) cache_filling{ doc, view, *doc.light_cache, doc.sampling_seed, -1,
        doc.light_cache->is_kept ? 0 : rounds_for(view), 0, false, {}, {}, {} };
    if (!f->deposits.resize(size_t(bundle_count) * bundle_deposits) ||
        !f->guides.resize(size_t(bundle_count) * bundle_guides))
    {
        report_failure(ZR_ERROR_MEMORY, "no memory to fill the light cache");
        end_cache_fill(f);
        return nullptr;
    }
    return f;
}

void end_cache_fill(cache_filling* filling)
{
    if (!filling) { return; }
    filling->~cache_filling();
    zr_free(filling);
}

bool next_fill_round(cache_filling& filling)
{
    filling.next_bundle = 0;
    return !filling.is_settled && ++filling.round < filling.rounds;
}

bool fill_cells(cache_filling& filling, const ray& prototype, int32_t thread)
{
    for (;;)
    {
        const uint32_t bundle = platform::add_to_word(&filling.next_bundle, 1u);
        if (bundle >= uint32_t(bundle_count)) { return true; }
        if (is_stopped(filling)) { return false; }
        fill_bundle(filling, prototype, thread, bundle);
    }
}

bool keep_round(cache_filling& filling)
{
    uint32_t asked = 0, settled = 0;
    for (size_t b = 0; b < size_t(bundle_count); ++b)
    {
        const bundle_yield& yield = filling.yields[b];
        asked += yield.asked;
        settled += yield.settled;
        if (!add_deposits(filling.cache, &filling.deposits[b * bundle_deposits], yield.deposits) ||
            !add_guide_deposits(filling.cache.guides, &filling.guides[b * bundle_guides], yield.guides))
        {
            report_failure(ZR_ERROR_MEMORY, "no memory for the cells of the light cache");
            return false;
        }
    }
    filling.is_settled = settled >= settled_share * asked;
    return true;
}

void note_first_bounce(light_path& p, const vector3& normal, double weight)
{
    p.fill->first = bounce_of(p, normal);
    for (int i = 0; i < 3; ++i)
    {
        p.r.weight[i] = weight;
        p.found.radiance[i] = 0.0;
    }
}

void add_kept_light(light_path& p, const met_surface& at, double share, const cache_cell& cell)
{
    double light[3];
    light_of_cell(cell, light);
    for (int i = 0; i < 3; ++i) { p.found.radiance[i] += p.r.weight[i] * share * at.s.color[i] * light[i]; }
}

bool meet_fill_vertex(light_path& p, const met_surface& at, const outside_ways& ways)
{
    fill_path& f = *p.fill;
    const bool is_back =
        at.s.translucent > 0.0f && numbers(p, pair_branch).v * sent_back(at) >= at.lobe.diffuse;
    const vector3 normal = is_back ? -p.r.shading_normal : p.r.shading_normal;
    cache_reading cell;
    if (!find_cell(*p.doc.light_cache, p.r.hit_point, normal, cell)) { return false; }
    const bool settled = is_settled(cell.cell);
    if (f.count == 0) { f.found_settled = settled; }
    if (settled || (f.count >= 2 && is_readable(cell.cell)))
    {
        add_kept_light(p, at, sent_back(at), *cell.cell);
        outside_ways others = ways;
        others.way[way_bounced] = {};
        return leave_outside(p, at, others, white_bounce(p));
    }
    double probability;
    const int way = choose_way(p, ways.way, 3, probability);
    if (way < 0) { return false; }
    if (way != way_bounced) { return take_way(p, at, ways, way, probability, white_bounce(p)); }
    if (is_back) { turn_over(p.r); }
    return open_vertex(p, at, cell, probability);
}

} // namespace zr
