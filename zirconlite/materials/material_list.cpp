#include "zirconlite/materials/material_list.hpp"

#include "zirconlite/frame/document.h"
#include "zirconlite/frame/memory.h"
#include "zirconlite/frame/status.hpp"
#include "zirconlite/platform/text.hpp"
#include "zirconlite/platform/threads.hpp"

namespace platform = zr::platform;

namespace
{

constexpr const char16_t* host_library = u""; // where materials that hosts hand in are listed

material_entry* find_entry(const document& scene, const char16_t* name, const char16_t* library);
material_entry* push_entry(document& scene, const char16_t* name, const char16_t* library);
void free_entries(material_entry*& list);

} // namespace

material_entry* zr_add_material(document* doc, const char16_t* name, material* m)
{
    if (!doc || !name || !m)
    {
        zr::report_failure(ZR_ERROR_ARGUMENT, "a document, a name and a material are needed");
        return nullptr;
    }
    if (material_entry* present = find_entry(*doc, name, host_library))
    {
        if (present->material != m) { free_material(m); }
        return present;
    }
    if (!zr::resolve_neutral_surface(*m)) { return nullptr; }
    material_entry* entry = push_entry(*doc, name, host_library);
    if (entry) { entry->material = m; }
    return entry;
}

material_entry* zr_load_material(document* doc, const char16_t* name, const char16_t* library)
{
    if (!doc || !name || !library)
    {
        zr::report_failure(ZR_ERROR_ARGUMENT, "a document, a name and a library are needed");
        return nullptr;
    }
    if (material_entry* present = find_entry(*doc, name, library)) { return present; }
    material_entry* entry = push_entry(*doc, name, library);
    if (!entry) { return nullptr; }
    entry->material = zr_load_material_from_library(name, library);
    return entry;
}

material* zr_load_from_library_ex(const char16_t* name, const char16_t* library, int32_t uncached)
{
    if (!name || !library || !zr::material_library_hook) { return nullptr; }
    material* read = zr::material_library_hook(library, name, uncached != 0);
    if (!read) { return nullptr; }
    zr_free(read->name);
    zr_free(read->library);
    read->name = zr_dupestring(name);
    read->library = zr_dupestring(library);
    if (read->name && read->library) { return read; }
    free_material(read);
    return nullptr;
}

material* zr_load_from_library(const char16_t* name, const char16_t* library)
{
    return zr_load_from_library_ex(name, library, 0);
}

material* zr_load_material_from_library(const char16_t* name, const char16_t* library)
{
    material* read = zr_load_from_library(name, library);
    if (!read || zr::resolve_neutral_surface(*read)) { return read; }
    free_material(read);
    return nullptr;
}

int32_t zr_free_material_list(document* doc)
{
    free_entries(doc->materials);
    return 1;
}

int32_t zr_free_plant_materials(document* doc)
{
    free_entries(doc->plant_materials);
    return 1;
}

namespace zr
{

material_library_function material_library_hook = nullptr;

material* entry_material(material_entry* entry)
{
    if (!entry) { return nullptr; }
    material* present = platform::load_word(&entry->material);
    if (present) { return present; }

    material* made = new_default_material();
    if (!made) { return nullptr; }
    resolve_neutral_surface(*made);
    // Of several threads that come here at once the first one's material stays.
    if (platform::replace_word(&entry->material, present, made)) { return made; }
    free_material(made);
    return present;
}

} // namespace zr

namespace
{

material_entry* find_entry(const document& scene, const char16_t* name, const char16_t* library)
{
    for (material_entry* entry = scene.materials; entry; entry = entry->next)
    {
        if (platform::same_text(entry->name, name) && platform::same_text(entry->library, library))
        {
            return entry;
        }
    }
    return nullptr;
}

material_entry* push_entry(document& scene, const char16_t* name, const char16_t* library)
{
    auto* entry = static_cast<material_entry*>(zr_calloc(1, sizeof(material_entry)));
    if (entry)
    {
        entry->name = zr_dupestring(name);
        entry->library = zr_dupestring(library);
    }
    if (!entry || !entry->name || !entry->library)
    {
        if (entry)
        {
            zr_free(entry->name);
            zr_free(entry->library);
            zr_free(entry);
        }
        zr::report_failure(ZR_ERROR_MEMORY, "no memory for a material of the document");
        return nullptr;
    }
    entry->next = scene.materials;
    scene.materials = entry;
    return entry;
}

void free_entries(material_entry*& list)
{
    while (material_entry* entry = list)
    {
        list = entry->next;
        free_material(entry->material);
        zr_free(entry->name);
        zr_free(entry->library);
        zr_free(entry);
    }
}

} // namespace
