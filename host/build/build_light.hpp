/// @file
/// The light sources of a scene file in a document of the library, with the meshes that are their visible
/// shapes.
#pragma once

#include "host/scene/scene.hpp"
#include "zirconlite/frame/document.h"
#include "zirconlite/lighting/light.h"

#include <functional>
#include <memory>
#include <vector>

namespace host
{

struct free_light
{
    void operator()(light* l) const { zr_light_free(l); }
};

/// All light sources of a scene. They are made first, so that meshes can be their shapes, and inserted last,
/// when the bounds of the scene are known. Every step throws `failure`.
class scene_lights
{
public:
    scene_lights(const scene& s, document* d);

    /// The light of this name; null for none.
    light* named(const std::string& name) const;

    /// Counts `area` of the meshes that are the shape of a light, m^2. Its luminance is spread over all of
    /// them.
    void add_area(const std::string& name, double area);

    /// Makes the meshes of the lights that are `visible`; `material_of` gives those of fixtures.
    void add_shapes(const std::function<material_entry*(const std::string&)>& material_of = {});

    /// Puts them into the document, which owns them from then on, those of groups with the colours of these.
    void insert();

private:
    struct entry
    {
        const scene_light& from;
        std::unique_ptr<light, free_light> made; ///< null once it is inserted
        double mesh_area = 0;
    };

    const scene& s_;
    document* d_;
    std::vector<entry> lights_; ///< as in the scene file
};

/// The frame of a photometric table.
struct light_frame
{
    vector3 u, v, normal; ///< unit: C0, C90, and the aim
};

/// About an aim, which has a length, with `c0` or what is nearest to it across the aim as C0; else the x
/// axis, or the y axis. Angles turn counter-clockwise as seen from behind.
light_frame frame_about(const vector3& aim, const std::optional<vec3>& c0);

/// A light's position, or the middle of what the corners of an area or the ends of a line span: where its aim
/// starts. There are as many of these as its kind asks for.
vec3 middle_of(const scene_light& l);

} // namespace host
