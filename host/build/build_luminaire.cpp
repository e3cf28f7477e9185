#include "host/build/build_luminaire.hpp"

#include "host/build/build_light.hpp"
#include "host/build/build_material.hpp"
#include "host/failure.hpp"
#include "host/library_session.hpp"
#include "host/scene/find_library.hpp"
#include "host/text.hpp"
#include "host/vectors.hpp"
#include "zirconlite/materials/material.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <map>

namespace host
{

namespace
{

constexpr double min_kelvin = 1000, max_kelvin = 40000; ///< what a scene's lights may have
constexpr double min_opening = 1e-4;                    ///< metres; a smaller one is a point

/// A luminaire's record, read once for all places at which it hangs.
struct read_luminaire
{
    owned_luminaire record;
    std::shared_ptr<luminaire_fixture> fixture;
};

vec3 numbers(const vector3& v) { return { v.x, v.y, v.z }; }

light_frame frame_of(const scene_luminaire& l)
{
    const vector3 aim = l.target ? plus(to_vector(*l.target), to_vector(l.position), -1)
                        : l.aim  ? to_vector(*l.aim)
                                 : vector3{ 0, 0, -1 };
    return frame_about(aim, l.c0);
}

/// `off` is along C0, C90 and up, against the aim.
vec3 lamp_position(const scene_luminaire& l, const light_frame& f, const double (&off)[3])
{
    return numbers(plus(plus(plus(to_vector(l.position), f.u, off[0]), f.v, off[1]), f.normal, -off[2]));
}

/// The opening's shape: a disk of the same area as an ellipse, a rectangle, a line where one size is 0.
void set_shape(const luminaire& record, const light_frame& f, scene_light& lamp)
{
    const double along = double(record.dim[0]), across = double(record.dim[1]);
    const double longer = std::max(along, across), shorter = std::min(along, across);
    lamp.kind = light_point;
    if (longer < min_opening) { return; }
    if (record.geo == 'D')
    {
        lamp.kind = light_disk;
        lamp.radius = std::sqrt(longer * (shorter < min_opening ? longer : shorter)) / 2;
    }
    else if (shorter < min_opening)
    {
        lamp.kind = light_linear;
        lamp.length = longer;
        lamp.axis = numbers(along >= across ? f.u : f.v);
    }
    else
    {
        lamp.kind = light_area;
        lamp.size = { along, across };
    }
}

/// The fixture's material under a name of the scene; empty, with a note, where it is not found.
std::string find_look(scene& s, const luminaire& record, int line, std::vector<std::string>& notes)
{
    const std::string library = utf8_of(record.material_library), key = utf8_of(record.material_key);
    const std::string full = library + "\\\\" + key;
    // A colon cannot start a name of the scene's materials as TOML writes them bare.
    std::string name = ":fixture:" + full;
    if (s.materials.count(name)) { return name; }
    scene_material m;
    m.library = full;
    m.line = line;
    try
    {
        std::vector<std::string> own_notes;
        free_material(build_material(s, m, own_notes));
    }
    catch (const failure& f)
    {
        const std::string note =
            fmt::format("the fixture material {} cannot be used, the fixture is white: {}", full, f.what());
        if (std::find(notes.begin(), notes.end(), note) == notes.end()) { notes.push_back(note); }
        return "";
    }
    s.materials[name] = m;
    return name;
}

read_luminaire read_record(scene& s, const scene_luminaire& l, std::vector<std::string>& notes)
{
    const size_t split = l.library.find("\\\\");
    const std::string library = l.library.substr(0, split), key = l.library.substr(split + 2);
    const std::filesystem::path file = find_library(s, library + ".llib");
    owned_luminaire record(zr_load_luminaire_from_library(utf16_of(key).c_str(), utf16_of(file).c_str()));
    if (!record)
    {
        throw failure(exit_bad_scene, fmt::format("{}:{}: library {} has no luminaire \"{}\"{}",
                                          s.file.string(), l.line, file.string(), key, library_error()));
    }
    auto fixture = std::make_shared<luminaire_fixture>();
    fixture->table = std::shared_ptr<goniometry>(record->goniometry, zr_free_goniometry);
    record->goniometry = nullptr;
    fixture->look = find_look(s, *record, l.line, notes);
    fixture->material_key = utf8_of(record->material_key);
    fixture->material_library = utf8_of(record->material_library);
    fixture->entry = key;
    fixture->library_file = file.string();
    return { std::move(record), fixture };
}

void place(scene& s, const scene_luminaire& l, const read_luminaire& from, size_t number)
{
    const luminaire& record = *from.record;
    const light_frame frame = frame_of(l);
    const goniometry* table = from.fixture->table.get();
    if (!l.lumens && !table)
    {
        throw failure(
            exit_bad_scene, fmt::format("{}:{}: luminaire {} has no photometric table: give its lumens",
                                s.file.string(), l.line, l.library));
    }
    scene_light group;
    group.kind = light_group;
    group.name = fmt::format(":luminaire:{}", number);
    group.kelvin = l.kelvin.value_or(std::clamp(double(record.temperature), min_kelvin, max_kelvin));
    group.filter = l.filter;
    group.dimmer = l.dimmer;
    group.position = l.position;
    group.fixture = from.fixture;
    group.line = l.line;

    scene_light lamp;
    lamp.name = l.name;
    lamp.group = group.name;
    lamp.fixture = from.fixture;
    lamp.position = lamp_position(l, frame, record.off);
    lamp.normal = numbers(frame.normal);
    lamp.c0 = numbers(frame.u);
    set_shape(record, frame, lamp);
    lamp.lumens = l.lumens ? *l.lumens : double(table->lumens) * double(record.rh);
    lamp.shadow_samples = l.shadow_samples;
    lamp.visible = l.visible && (lamp.kind == light_area || lamp.kind == light_disk);
    lamp.line = l.line;
    s.lights.push_back(group);
    s.lights.push_back(lamp);
}

} // namespace

void place_luminaires(scene& s, std::vector<std::string>& notes)
{
    std::map<std::string, read_luminaire> by_key;
    for (size_t i = 0; i < s.luminaires.size(); ++i)
    {
        const scene_luminaire& l = s.luminaires[i];
        auto found = by_key.find(l.library);
        if (found == by_key.end()) { found = by_key.emplace(l.library, read_record(s, l, notes)).first; }
        place(s, l, found->second, i);
    }
    s.luminaires.clear();
}

} // namespace host
