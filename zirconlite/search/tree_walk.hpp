/// @file
/// The two paths down a search tree: with vectors and without. They give the same hits to the last bit.
#pragma once

#include "zirconlite/search/search_tree.hpp"

namespace zr::portable_walk
{

bool nearest(const search_tree& tree, scene_object* const* objects, ray& r);
bool visit(const search_tree& tree, scene_object* const* objects, ray& r, hit_visitor visit, void* context);

} // namespace zr::portable_walk

namespace zr::avx2_walk
{

bool nearest(const search_tree& tree, scene_object* const* objects, ray& r);
bool visit(const search_tree& tree, scene_object* const* objects, ray& r, hit_visitor visit, void* context);

} // namespace zr::avx2_walk
