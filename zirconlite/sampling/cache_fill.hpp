/// @file
/// Fills a light cache before the picture: rounds of paths from the whole view, each of which reads what the
/// rounds before have kept. The samples of a round are added in the order of its paths, so the cache is the
/// same for any number of workers.
#pragma once

#include "zirconlite/frame/document.h"
#include "zirconlite/sampling/light_cache.hpp"
#include "zirconlite/sampling/path_ways.hpp"

/// The filling of one cache.
struct cache_filling;

namespace zr
{

/// A diffuse surface on the way of a path that fills cells.
struct fill_vertex
{
    cell_key key;
    int32_t division;
    float nearness;
    double carried[3];    ///< from here to the surface before: weight of a white surface's light
    double light[3];      ///< what a white surface here sends on, without what the next one keeps
    double direct;        ///< luminance of that part which has not come by the bounce
    guide_deposit bounce; ///< the direction that the path took from here
};

/// A path that fills cells, behind the first diffuse surface that it meets, which keeps only where its light
/// comes from.
struct fill_path
{
    static constexpr int max_vertices =
        8; ///< then the path goes on as one of a picture, for the last of them
    fill_vertex vertex[max_vertices];
    int count;
    guide_deposit
        first; ///< the direction that the path took from its first surface, and what it brought there
    bool found_settled; ///< its first cell takes no more samples
};

/// Readies the document's cache and the rounds of a job; null, with the status set, when memory fails. On the
/// job's thread, after the light tree.
cache_filling* begin_cache_fill(document& doc, render_view& view);
void end_cache_fill(cache_filling* filling);

/// Readies a round. False when cells have light enough.
bool next_fill_round(cache_filling& filling);

/// Takes bundles of paths until none is left; any number of threads. False when the job was stopped.
bool fill_cells(cache_filling& filling, const ray& prototype, int32_t thread);

/// Adds the round's samples to the cache; after all threads have returned. False when memory fails.
bool keep_round(cache_filling& filling);

/// A path that fills has left its first diffuse surface, with a side that faces `normal`; `weight` is what a
/// white one sends on of the light that it brings.
void note_first_bounce(light_path& p, const vector3& normal, double weight);

/// A path that fills has met a diffuse surface behind its first. Keeps a vertex and turns the path, or reads
/// the cell. False at the path's end.
bool meet_fill_vertex(light_path& p, const met_surface& at, const outside_ways& ways);

/// Adds what a cell keeps, of which the surface sends on a share.
void add_kept_light(light_path& p, const met_surface& at, double share, const cache_cell& cell);

} // namespace zr
