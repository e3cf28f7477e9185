/// @file
/// Steps that every mesh builder shares.
#pragma once

#include "zirconlite/meshes/mesh_build.h"

namespace zr
{

/// Sets material, mapping, flags, properties and colour of a new mesh by its head. False when memory fails.
bool apply_descriptor(mesh_build& build, scene_object* head);

/// Checks counts, indices and coordinates of the build's geometry, reporting what is wrong.
bool check_geometry(const mesh_geometry& geometry);

/// Builds the mesh as y_mesh faces.
bool build_y_mesh(document* doc, mesh_build& build);

/// Builds the mesh as one that takes part in radiosity; false, reported, when it cannot. The radiosity solver
/// sets it; while it is null such meshes are built as y_mesh faces.
using mesh_builder = bool (*)(document* doc, mesh_build& build);
extern mesh_builder radiosity_mesh_builder;

} // namespace zr
