/// @file
/// `zirconlite library`: what library files contain, and how records get in and out.
#include "host/build/build_material.hpp"
#include "host/commands/commands.hpp"
#include "host/commands/library_files.hpp"
#include "host/commands/luminaire_text.hpp"
#include "host/commands/material_text.hpp"
#include "host/failure.hpp"
#include "host/library_session.hpp"
#include "host/text.hpp"
#include "zirconlite/libraries/light_library.h"
#include "zirconlite/libraries/material_library.h"
#include "zirconlite/materials/mat_image.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <memory>

namespace host
{

namespace
{

struct library_request
{
    std::filesystem::path file, scene, translation;
    std::string key, material;
};

struct material_deleter
{
    void operator()(material* m) const { free_material(m); }
};
using owned_material = std::unique_ptr<material, material_deleter>;

// By kind of library: how a record is shown and added. The extension gives the kind.

std::string show_material(zr_handle library, const std::u16string& key)
{
    const owned_material m(zr_matfile_read_record(library, key.c_str()));
    if (!m) { return ""; }
    const size_t name = key.find_last_of(u'\\') + 1;
    return material_text(plain_text(key.c_str() + name), *m);
}

/// Pictures are found again from any folder when their paths are whole.
void make_path_absolute(char16_t (&path)[512])
{
    const std::u16string whole = utf16_of(std::filesystem::absolute(utf8_of(path)));
    if (whole.size() >= std::size(path))
    {
        throw failure(exit_bad_scene, plain_text(whole.c_str()) + ": the path is longer than 511 characters");
    }
    whole.copy(path, whole.size());
    path[whole.size()] = 0;
}

void make_paths_absolute(material& m)
{
    if (m.flags & MATERIAL_COMPLEX)
    {
        auto& complex = reinterpret_cast<complex_material&>(m);
        if (complex.params.mask) { make_path_absolute(complex.params.mask->path); }
        for (material* child : complex.children) { make_paths_absolute(*child); }
        return;
    }
    for (mat_image* i = reinterpret_cast<simple_material&>(m).images; i; i = i->next)
    {
        make_path_absolute(i->path);
    }
}

void add_material(const library_request& r)
{
    const std::u16string key = record_key_of(r.file, r.key);
    const scene s = read_scene(r.scene, scene_use::materials);
    const auto found = s.materials.find(r.material);
    if (found == s.materials.end())
    {
        throw failure(
            exit_bad_scene, fmt::format("{}: there is no material \"{}\"", r.scene.string(), r.material));
    }
    std::vector<std::string> notes;
    const owned_material made(build_material(s, found->second, notes));
    make_paths_absolute(*made);
    for (const std::string& note : notes) { std::fprintf(stderr, "zirconlite: %s\n", note.c_str()); }
    add_to_library(r.file, r.key, zr_matfile_open,
        [&](zr_handle library) { return zr_matfile_add_record(library, key.c_str(), made.get()) != 0; });
}

void make_material_library(const library_request& r) { make_library(r.file, zr_matfile_open); }

std::string show_luminaire(zr_handle library, const std::u16string& key)
{
    const owned_luminaire l(zr_lightfile_read_record(library, key.c_str()));
    return l ? luminaire_text(*l) : "";
}

void add_luminaire(const library_request& r)
{
    throw failure(exit_usage, r.file.string() + ": luminaires are added by `zirconlite lights add`");
}

void make_light_library(const library_request& r) { make_library(r.file, zr_lightfile_open); }

struct kind_row
{
    const char* extension;
    std::string (*show)(zr_handle library, const std::u16string& key); ///< empty when there is no such record
    void (*add)(const library_request& r);
    void (*make)(const library_request& r);
};
const kind_row kinds[] = {
    { ".mlib", show_material, add_material, make_material_library },
    { ".llib", show_luminaire, add_luminaire, make_light_library },
};

const kind_row& kind_of(const std::filesystem::path& file)
{
    for (const kind_row& kind : kinds)
    {
        if (file.extension() == kind.extension) { return kind; }
    }
    throw failure(exit_usage,
        fmt::format(
            "{}: the records of such a file are not known; material libraries end in .mlib, light libraries "
            "in .llib",
            file.string()));
}

void list_library(const library_request& r)
{
    const open_library library(r.file, LIBRARY_READ);
    std::vector<std::u16string> keys;
    const bool is_whole = read_keys(library.handle, keys);
    for (const std::u16string& key : keys)
    {
        const size_t length = key.size() - (key.back() == u'\\');
        const size_t name = length == 0 ? 0 : key.find_last_of(u'\\', length - 1) + 1;
        const size_t depth = size_t(std::count(key.begin(), key.begin() + std::ptrdiff_t(name), u'\\'));
        std::printf("%*s%s\n", int(2 * depth), "", plain_text(key.c_str() + name).c_str());
    }
    if (!is_whole) { fail_with(r.file.string() + ": what follows is damaged"); }
}

void show_record(const library_request& r)
{
    const kind_row& kind = kind_of(r.file);
    const open_library library(r.file, LIBRARY_READ);
    const std::u16string key = record_key_of(r.file, r.key);
    if (zr_file_seek(library.handle, key.c_str()) == 0)
    {
        throw failure(
            exit_missing_file, fmt::format("{}: there is no record \"{}\"", r.file.string(), r.key));
    }
    const std::string text = kind.show(library.handle, key);
    if (text.empty()) { fail_with(fmt::format("{}: \"{}\"", r.file.string(), r.key)); }
    std::fputs(text.c_str(), stdout);
}

void add_record(const library_request& r) { kind_of(r.file).add(r); }

void new_library(const library_request& r) { kind_of(r.file).make(r); }

void delete_record(const library_request& r) { delete_key(r.file, r.key); }

void pack_records(const library_request& r)
{
    check_library(r.file);
    kind_of(r.file);
    pack_library(r.file);
}

void dump_library(const library_request& r)
{
    check_library(r.file);
    if (!zr_dump_library(utf16_of(r.file).c_str())) { fail_with(r.file.string() + ": not dumped"); }
    std::printf("%s\n", std::filesystem::path(r.file).replace_extension(".uni").c_str());
}

void translate_library(const library_request& r)
{
    check_library(r.file);
    if (!std::filesystem::exists(r.translation))
    {
        throw failure(exit_missing_file, r.translation.string() + ": translation file not found");
    }
    const int32_t count = zr_translate_library(utf16_of(r.file).c_str(), utf16_of(r.translation).c_str());
    if (count < 0) { fail_with(r.file.string() + ": not translated"); }
    std::filesystem::path out = r.file;
    out.replace_filename(r.file.stem().string() + "_translated" + r.file.extension().string());
    std::printf("%s: %d records\n", out.c_str(), count);
}

struct task_row
{
    const char *name, *help;
    bool takes_key;
    void (*run)(const library_request& r);
};
const task_row tasks[] = {
    { "list", "Print the keys as a tree", false, list_library },
    { "show", "Print a record as tables of a scene file", true, show_record },
    { "add", "Add a material of a scene, in place of one of that key; makes the library when there is none",
        true, add_record },
    { "delete", "Delete a record, or a folder when the key ends in \\", true, delete_record },
    { "pack", "Rebuild the file without what was deleted and replaced", false, pack_records },
    { "dump", "Write the keys to a text file beside the library", false, dump_library },
    { "translate", "Write a copy under other keys, NAME_translated", false, translate_library },
    { "new", "Make an empty library", false, new_library },
};

} // namespace

std::function<int()> setup_library(CLI::App& command)
{
    auto request = std::make_shared<library_request>();
    auto parsed = std::make_shared<std::vector<std::pair<CLI::App*, const task_row*>>>();
    command.require_subcommand(1);
    for (const task_row& task : tasks)
    {
        CLI::App* sub = command.add_subcommand(task.name, task.help);
        sub->add_option("library", request->file, "The library file")->required();
        if (task.takes_key)
        {
            sub->add_option("key", request->key, "Folders and name, \\ between: 'Stones\\Marble\\White'")
                ->required();
        }
        if (task.run == add_record)
        {
            sub->add_option("--from", request->scene, "The scene file")->required();
            sub->add_option("--material", request->material, "The material's name in the scene")->required();
        }
        if (task.run == translate_library)
        {
            sub->add_option(
                   "translation", request->translation, "UTF-16 text: a key, a tab and its new key a line")
                ->required();
        }
        parsed->emplace_back(sub, &task);
    }
    return [request, parsed]
    {
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
