#include "zirconlite/geometry/object_table.hpp"

#include <initializer_list>

#include "zirconlite/frame/array.hpp"

scene_object* zr_object_from_number(const document* doc, uint32_t number)
{
    return doc && number < doc->object_table_count ? doc->object_table[number] : nullptr;
}

namespace zr
{

bool reserve_numbers(document* doc, size_t count)
{
    const size_t present = doc->object_table_count ? doc->object_table_count : 1;
    const size_t wanted = present + count;
    if (wanted > UINT32_MAX) { return false; }
    if (wanted > doc->object_table_capacity)
    {
        const size_t larger = doc->object_table_capacity + doc->object_table_capacity / 4 + 64;
        const size_t capacity = larger > wanted ? larger : wanted;
        void* table = zr_realloc(doc->object_table, capacity * sizeof(scene_object*));
        if (!table) { return false; }
        doc->object_table = static_cast<scene_object**>(table);
        doc->object_table_capacity = uint32_t(capacity);
    }
    if (doc->object_table_count == 0)
    {
        doc->object_table[0] = nullptr;
        doc->object_table_count = 1;
    }
    return true;
}

bool number_object(document* doc, scene_object* object)
{
    if (!reserve_numbers(doc, 1)) { return false; }
    object->number = doc->object_table_count;
    doc->object_table[doc->object_table_count++] = object;
    return true;
}

bool number_listed_objects(document* doc, size_t* count_out)
{
    array<scene_object*> unnumbered;
    *count_out = 0;
    for (scene_object* list : { doc->radiosity_objects.first, doc->scene_objects.first })
    {
        unnumbered.count = 0;
        for (scene_object* object = list; object; object = object->next, ++*count_out)
        {
            if (object->number != 0 && zr_object_from_number(doc, object->number) == object) { continue; }
            if (!unnumbered.push(object)) { return false; }
        }
        if (!reserve_numbers(doc, unnumbered.count)) { return false; }
        for (size_t i = unnumbered.count; i-- > 0;) { number_object(doc, unnumbered[i]); }
    }
    return true;
}

void clear_object_table(document* doc)
{
    zr_free(doc->object_table);
    doc->object_table = nullptr;
    doc->object_table_count = doc->object_table_capacity = 0;
}

} // namespace zr
