#include "host/photometry/wall_picture.hpp"

#include "host/build/build_material.hpp"
#include "host/build/build_scene.hpp"
#include "host/commands/render_output.hpp"
#include "host/failure.hpp"
#include "host/library_session.hpp"
#include "host/stop_signals.hpp"
#include "host/vectors.hpp"
#include "zirconlite/jobs/render_job.h"
#include "zirconlite/lighting/light.h"
#include "zirconlite/meshes/mesh_build.h"
#include "zirconlite/search/voxel_grid.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <unistd.h>

namespace host
{

namespace
{

constexpr double wall_height = 3, wall_half_width = 2.4, floor_depth = 2.6;
constexpr double mounting_gap = 0.25; ///< between a luminaire and the ceiling or the floor
constexpr double mostly = 0.85;
constexpr int poll_ms = 50, stop_wait_ms = 1200;

scene wall_scene(const wall_setting& setting)
{
    scene s;
    s.file = "wall";
    s.render.size = setting.size;
    // What falls on the wall is direct light, and one point sends it: a few strips of rays show all of it.
    s.render.sampler = 0;
    s.render.ambient = false;
    s.background.color = color3{ { 0, 0, 0 } };
    s.camera.eye = vec3{ 0, -5.4, 1.5 };
    s.camera.target = vec3{ 0, 0, 1.3 };
    s.camera.fov_deg = 46;
    return s;
}

/// A rectangle by its corners, of a matt grey.
void add_rectangle(document* d, const char16_t* name, const std::array<vector3, 4>& corners)
{
    std::vector<std::string> notes;
    scene_material paint;
    paint.color = color3{ { 0.75, 0.75, 0.75 } };
    material_entry* entry = zr_add_material(d, name, build_material(scene{}, paint, notes));
    const int32_t indices[] = { 0, 1, 2, 3 };
    const mesh_polygon polygon = { 4, indices };
    mesh_geometry geometry{};
    geometry.vertex_count = 4;
    geometry.vertices = corners.data();
    geometry.polygon_count = 1;
    geometry.polygons = &polygon;
    object_descriptor descriptor{};
    descriptor.flags = OBJECT_THIN;
    descriptor.smooth_cosine = 1;
    mesh_build build{};
    zr_init_mesh_build(d, &build);
    build.descriptor = &descriptor;
    build.material = entry;
    build.geometry = &geometry;
    if (!entry || !zr_create_mesh(d, &build))
    {
        throw failure(exit_render_failed, "the wall cannot be built" + library_error());
    }
}

double hanging_height(const luminaire_figures& f)
{
    if (f.below_share > mostly) { return wall_height - mounting_gap; }
    return f.below_share < 1 - mostly ? mounting_gap : wall_height / 2;
}

void add_luminaire(document* d, const goniometry& g, const vector3& position, double turn_deg)
{
    light l{};
    l.type = LIGHT_SPHERICAL;
    l.distribution = DISTRIBUTION_GONIOMETRIC;
    l.position = position;
    l.normal = { 0, 0, -1 };
    const double a = turn_deg * radians;
    l.axis_u = { std::cos(a), std::sin(a), 0 };
    l.axis_v = cross(l.axis_u, l.normal);
    goniometry table = g; // the light takes a share of the tables and leaves this one alone
    l.goniometry = &table;
    l.brightness_unit = BRIGHTNESS_CANDELA;
    l.candela = g.peak_candela;
    l.color_temperature = 5000;
    std::fill_n(l.filter, 3, 1.0f);
    l.falloff = 2;
    l.shadow_strength = 1;
    l.shadow_samples = 1;
    l.simple_brightness = 1;
    l.flags = LIGHT_NO_HIGHLIGHT;
    light* made = zr_create_light(&l, d->sun_sky);
    if (!made || zr_insert_light_source_ex(&d->lights, made, d) != 1)
    {
        zr_light_free(made);
        throw failure(exit_render_failed, "the luminaire cannot be made" + library_error());
    }
}

/// Ends the process when workers still run after a stop.
void run_wall_job(document* d)
{
    render_job job{};
    job.document = d;
    job.view = &d->views[1];
    zr_set_max_raytrace_threads(-1);
    if (zr_raytrace(&job) != 1)
    {
        throw failure(exit_render_failed, "the render does not start" + library_error());
    }
    while (!zr_wait_for_render(d, poll_ms))
    {
        if (!stop_signal()) { continue; }
        __atomic_store_n(&d->stop_render, 1, __ATOMIC_SEQ_CST);
        if (!zr_wait_for_render(d, stop_wait_ms)) { _exit(stopped_exit_code()); }
        break;
    }
    end_if_stopped("the picture of the wall");
}

} // namespace

void write_wall_picture(const std::filesystem::path& file, const goniometry& g,
    const luminaire_figures& figures, const wall_setting& setting)
{
    progress_line progress(redraws_lines(STDERR_FILENO));
    const library_session library(progress);
    document* d = library.scene;
    const scene s = wall_scene(setting);
    built_scene built = build_scene(s, d, {});
    const double w = wall_half_width;
    add_rectangle(
        d, u"wall", { { { -w, 0, 0 }, { w, 0, 0 }, { w, 0, wall_height }, { -w, 0, wall_height } } });
    add_rectangle(
        d, u"floor", { { { -w, -floor_depth, 0 }, { w, -floor_depth, 0 }, { w, 0, 0 }, { -w, 0, 0 } } });
    const double height = setting.height.value_or(hanging_height(figures));
    add_luminaire(d, g, { 0, -setting.distance, height }, setting.turn_deg);
    build_view(s, d, built);
    if (!zr_build_voxel_grid(d))
    {
        throw failure(exit_render_failed, "the wall cannot be sorted" + library_error());
    }
    run_wall_job(d);
    progress.finish();
    write_view(d->views[1], file);
}

} // namespace host
