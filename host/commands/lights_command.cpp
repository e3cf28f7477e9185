/// @file
/// `zirconlite lights`: luminaires of light libraries, from photometric files and a few values.
#include "host/commands/commands.hpp"
#include "host/commands/library_files.hpp"
#include "host/commands/luminaire_text.hpp"
#include "host/commands/material_text.hpp"
#include "host/library_session.hpp"
#include "host/text.hpp"
#include "zirconlite/frame/memory.h"
#include "zirconlite/libraries/light_library.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <memory>

namespace host
{

namespace
{

struct lights_request
{
    std::filesystem::path file, ies;
    std::string key, name, model, material, geo;
    std::vector<double> size, offset;
    double kelvin = 5000, scale = 1, output = 1, lum = 1;
    uint32_t flags = 0;
};

char16_t* owned_text(const std::string& text, const char* option)
{
    if (!is_utf8(text)) { throw failure(exit_usage, fmt::format("{}: the text is not UTF-8", option)); }
    char16_t* copy = zr_dupestring(utf16_of(text).c_str());
    if (!copy) { throw failure(exit_render_failed, "out of memory"); }
    return copy;
}

/// The two halves of "LIBRARY\\KEY".
void set_material(luminaire& l, const std::string& material)
{
    const size_t split = material.find("\\\\");
    if (split == 0 || split == std::string::npos || split + 2 == material.size())
    {
        throw failure(
            exit_usage, fmt::format("--material: \"{}\" is not like 'library\\\\Folder\\Name'", material));
    }
    l.material_library = owned_text(material.substr(0, split), "--material");
    l.material_key = owned_text(material.substr(split + 2), "--material");
}

/// The table, and what else a photometric file says about a luminaire.
void take_photometry(luminaire& l, const std::filesystem::path& path)
{
    const owned_ies file = open_photometric_file(path);
    l.type = 'G';
    l.goniometry = table_of(*file).release();
    const luminous_opening& o = file->opening;
    l.dim[0] = o.length;
    l.dim[1] = o.width;
    const bool is_round = o.shape == LUMINOUS_DISK || o.shape == LUMINOUS_CYLINDER ||
                          o.shape == LUMINOUS_SPHERE || o.shape == LUMINOUS_UPRIGHT;
    l.geo = is_round ? 'D' : 'R';
    if (!l.name) { l.name = owned_text(luminaire_name(*file, path), "--name"); }
    if (!l.model) { l.model = owned_text(label_value(*file, "LUMCAT"), "--model"); }
}

owned_luminaire luminaire_of(const lights_request& r)
{
    owned_luminaire l(static_cast<luminaire*>(zr_calloc(1, sizeof(luminaire))));
    if (!l) { throw failure(exit_render_failed, "out of memory"); }
    l->flags = r.flags;
    l->type = 'N';
    l->geo = 'R';
    if (!r.name.empty()) { l->name = owned_text(r.name, "--name"); }
    if (!r.model.empty()) { l->model = owned_text(r.model, "--model"); }
    if (!r.material.empty()) { set_material(*l, r.material); }
    if (!r.ies.empty()) { take_photometry(*l, r.ies); }
    if (!r.geo.empty()) { l->geo = r.geo[0]; }
    for (size_t i = 0; i < r.size.size(); ++i) { l->dim[i] = float(r.size[i]); }
    for (size_t i = 0; i < r.offset.size(); ++i) { l->off[i] = r.offset[i]; }
    l->sc = float(r.scale);
    l->rh = float(r.output);
    l->lum = float(r.lum);
    l->temperature = float(r.kelvin);
    return l;
}

void add_luminaire(const lights_request& r)
{
    const std::u16string key = record_key_of(r.file, r.key);
    const owned_luminaire l = luminaire_of(r);
    add_to_library(r.file, r.key, zr_lightfile_open,
        [&](zr_handle library) { return zr_lightfile_add_record(library, key.c_str(), l.get()) != 0; });
}

/// A line for each record: key, lumens, peak, colour temperature, name.
void list_luminaires(const lights_request& r)
{
    const open_library library(r.file, LIBRARY_READ);
    std::vector<std::u16string> keys;
    const bool is_whole = read_keys(library.handle, keys);
    keys.erase(
        std::remove_if(keys.begin(), keys.end(), [](const std::u16string& k) { return k.back() == u'\\'; }),
        keys.end());
    size_t width = 3;
    for (const std::u16string& key : keys) { width = std::max(width, key.size()); }
    if (!keys.empty()) { std::printf("%-*s       lm  peak cd  kelvin  name\n", int(width), "key"); }
    for (const std::u16string& key : keys)
    {
        const owned_luminaire l(zr_lightfile_read_record(library.handle, key.c_str()));
        if (!l) { fail_with(fmt::format("{}: \"{}\"", r.file.string(), plain_text(key.c_str()))); }
        const bool has_table = l->goniometry != nullptr;
        // By characters, which a key in UTF-8 has fewer of than bytes.
        const std::string text = plain_text(key.c_str());
        std::printf("%s%*s %8s %8s  %6g  %s\n", text.c_str(), int(width - key.size()), "",
            has_table ? fmt::format("{:.0f}", *luminaire_lumens(*l)).c_str() : "-",
            has_table ? fmt::format("{:.0f}", l->goniometry->peak_candela * l->rh).c_str() : "-",
            double(l->temperature), plain_text(l->name).c_str());
    }
    if (!is_whole) { fail_with(r.file.string() + ": what follows is damaged"); }
}

void show_luminaire(const lights_request& r)
{
    const open_library library(r.file, LIBRARY_READ);
    const std::u16string key = record_key_of(r.file, r.key);
    if (zr_file_seek(library.handle, key.c_str()) == 0)
    {
        throw failure(
            exit_missing_file, fmt::format("{}: there is no record \"{}\"", r.file.string(), r.key));
    }
    const owned_luminaire l(zr_lightfile_read_record(library.handle, key.c_str()));
    if (!l) { fail_with(fmt::format("{}: \"{}\"", r.file.string(), r.key)); }
    std::fputs(luminaire_text(*l).c_str(), stdout);
}

void delete_luminaire(const lights_request& r) { delete_key(r.file, r.key); }
void pack_luminaires(const lights_request& r) { pack_library(r.file); }
void new_library(const lights_request& r) { make_library(r.file, zr_lightfile_open); }

struct task_row
{
    const char *name, *help;
    bool takes_key;
    void (*run)(const lights_request& r);
};
const task_row tasks[] = {
    { "list", "Print the luminaires with their figures", false, list_luminaires },
    { "show", "Print all that a record holds", true, show_luminaire },
    { "add", "Add a luminaire, in place of one of that key; makes the library when there is none", true,
        add_luminaire },
    { "delete", "Delete a record, or a folder when the key ends in \\", true, delete_luminaire },
    { "pack", "Rebuild the file without what was deleted and replaced", false, pack_luminaires },
    { "new", "Make an empty library", false, new_library },
};

void add_options(CLI::App& sub, lights_request& r)
{
    sub.add_option(
        "--ies", r.ies, "Its photometric file, .ies or .ldt; without one it sends its light evenly");
    sub.add_option("--name", r.name, "Its name; else that of the photometric file");
    sub.add_option("--model", r.model, "Its model; else the number in the photometric file");
    sub.add_option("--material", r.material, "The fixture's material: 'library\\\\Folder\\Name'");
    sub.add_option(
           "--size", r.size, "Metres along C0 and along C90; else the opening of the photometric file")
        ->expected(2)
        ->check(CLI::Range(0.0, 100.0));
    sub.add_option("--offset", r.offset, "Of the lamp from the fixture's origin, metres along C0, C90 and up")
        ->expected(3)
        ->check(CLI::Range(-100.0, 100.0));
    sub.add_option("--shape", r.geo, "R a rectangle, D a disk")->check(CLI::IsMember({ "R", "D" }));
    sub.add_option("--kelvin", r.kelvin, "Colour temperature")
        ->check(CLI::Range(1000.0, 40000.0))
        ->capture_default_str();
    sub.add_option("--output", r.output, "Output against the largest lamp of its family")
        ->check(CLI::Range(0.001, 1000.0))
        ->capture_default_str();
    sub.add_option("--scale", r.scale, "Scale of the fixture, kept")
        ->check(CLI::Range(0.001, 1000.0))
        ->capture_default_str();
    sub.add_option("--lum", r.lum, "A further factor, kept")
        ->check(CLI::Range(0.001, 1000.0))
        ->capture_default_str();
    sub.add_option("--flags", r.flags, "A number of the host's, kept");
}

} // namespace

std::function<int()> setup_lights(CLI::App& command)
{
    auto request = std::make_shared<lights_request>();
    auto parsed = std::make_shared<std::vector<std::pair<CLI::App*, const task_row*>>>();
    command.require_subcommand(1);
    for (const task_row& task : tasks)
    {
        CLI::App* sub = command.add_subcommand(task.name, task.help);
        sub->add_option("library", request->file, "The library file, .llib")->required();
        if (task.takes_key)
        {
            sub->add_option("key", request->key, "Folders and name, \\ between: 'Downlights\\Spot 30'")
                ->required();
        }
        if (task.run == add_luminaire) { add_options(*sub, *request); }
        parsed->emplace_back(sub, &task);
    }
    return [request, parsed]
    {
        if (request->file.extension() != ".llib")
        {
            throw failure(exit_usage, request->file.string() + ": a light library ends in .llib");
        }
        progress_line progress(false);
        const library_session session(progress);
        for (const auto& [sub, task] : *parsed)
        {
            if (sub->parsed()) { task->run(*request); }
        }
        return int(exit_done);
    };
}

} // namespace host
