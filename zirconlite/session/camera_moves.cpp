/// @file
/// The camera moves. Each changes the view under the display lock and brings the world points in step.
#include <cmath>

#include "zirconlite/display/hooks.hpp"
#include "zirconlite/frame/document.h"
#include "zirconlite/frame/document_state.hpp"
#include "zirconlite/geometry/vector.hpp"

using namespace zr;

namespace
{

constexpr double level_tolerance = 1e-10; ///< an axis this close to the vertical has no level direction

/// Holds the display lock for a move; at its end the points in metres follow.
struct move_scope
{
    explicit move_scope(render_view* moved) : hold(display_lock()), view(moved) {}
    ~move_scope();
    platform::lock_scope hold;
    render_view* view;
};

vector3 level(double x, double y, const vector3& when_vertical);
void shift(render_view* view, const vector3& by);
void turn(render_view* view, double angle, const vector3& pivot, vector3* moved);
void tilt(render_view* view, double angle, const vector3& pivot, vector3* moved);

} // namespace

int32_t zr_view_move(double amount, render_view* view)
{
    const move_scope scope(view);
    shift(view, level(-view->back.x, -view->back.y, { -view->back.x, 1.0, 0.0 }) * amount);
    return 1;
}

int32_t zr_view_turn(double amount, render_view* view)
{
    const move_scope scope(view);
    turn(view, amount, view->position, &view->target);
    return 1;
}

int32_t zr_view_look_up_or_down(double amount, render_view* view)
{
    const move_scope scope(view);
    tilt(view, amount, view->position, &view->target);
    return 1;
}

int32_t zr_view_orbit(double amount, render_view* view)
{
    const move_scope scope(view);
    turn(view, amount, view->target, &view->position);
    return 1;
}

int32_t zr_view_orbit_up_or_down(double amount, render_view* view)
{
    const move_scope scope(view);
    tilt(view, -amount, view->target, &view->position);
    return 1;
}

int32_t zr_view_pan_vertical(double amount, render_view* view)
{
    const move_scope scope(view);
    shift(view, (view->level_moves ? vector3{ 0.0, 0.0, 1.0 } : view->up) * amount);
    return 1;
}

int32_t zr_view_pan_horizontal(double amount, render_view* view)
{
    const move_scope scope(view);
    const vector3& r = view->right;
    shift(view, (view->level_moves ? level(r.x, r.y, { r.x, r.y, 1.0 }) : r) * amount);
    return 1;
}

int32_t zr_view_dolly(double amount, render_view* view)
{
    const move_scope scope(view);
    const vector3 way = view->target - view->position;
    if (amount >= 0.0)
    {
        double largest = 0.0;
        if (const document* current = document_of(*view))
        {
            const vector3 size = current->bounds.max - current->bounds.min;
            largest = std::fmax(size.x, std::fmax(size.y, size.z));
        }
        if (length(way) < 0.01 * largest) { return 1; }
    }
    else if (amount <= -1.0) { return 1; } // no step forward leads from infinitely far away
    else { amount = amount / (amount + 1.0); }
    view->position += way * amount;
    return 1;
}

namespace
{

move_scope::~move_scope()
{
    const document* current = document_of(*view);
    if (!current) { return; }
    view->world_target = (view->target + current->world_offset) * current->model_to_world;
    view->world_position = (view->position + current->world_offset) * current->model_to_world;
}

/// The unit vector along (x, y, 0), or `when_vertical` as it is.
vector3 level(double x, double y, const vector3& when_vertical)
{
    if (std::fabs(x) < level_tolerance && std::fabs(y) < level_tolerance) { return when_vertical; }
    return normalized({ x, y, 0.0 });
}

void shift(render_view* view, const vector3& by)
{
    view->position += by;
    view->target += by;
}

/// Turns the camera and `*moved`, seen from `pivot`, about the vertical.
void turn(render_view* view, double angle, const vector3& pivot, vector3* moved)
{
    if (angle == 0.0) { return; }
    view->right = rotated_about_z(view->right, angle);
    view->up = rotated_about_z(view->up, angle);
    view->back = rotated_about_z(view->back, angle);
    *moved = rotated_about_z(*moved - pivot, angle) + pivot;
}

/// Turns the camera and `*moved`, seen from `pivot`, about `right`.
void tilt(render_view* view, double angle, const vector3& pivot, vector3* moved)
{
    if (angle == 0.0) { return; }
    view->back = rotated(view->back, view->right, angle);
    view->up = rotated(view->up, view->right, angle);
    *moved = rotated(*moved - pivot, view->right, angle) + pivot;
}

} // namespace
