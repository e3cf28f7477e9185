/// @file
/// Colours of vertices, shown as a picture: a field of texels for each face, over which the colours
/// run as they do over the face.
#pragma once

#include "host/models/model.hpp"

namespace host
{

/// Turns the colours of the model's meshes into one picture and their second texture coordinates into places
/// in it. What has pictures of its own keeps them, with a note. Polygons of more than four corners become
/// triangles.
void bake_vertex_colors(model& m);

} // namespace host
