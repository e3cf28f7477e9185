#include "zirconlite/geometry/object_table.hpp"

#include <initializer_list>

#include "zirconlite/frame/array.hpp"

scene_object* zr_object_from_number(const document* document, uint32_t number)
{
    return document && number < document->object_table_count ? document->object_table[number] : nullptr;
}

namespace zr
{

bool reserve_numbers(document* document, size_t count)
{
    const size_t present = document->object_table_count ? document->object_table_count : 1;
    const size_t wanted = present + count;
    if (wanted > UINT32_MAX) { return false; }
    if (wanted > document->object_table_capacity)
    {
        const size_t larger = document->object_table_capacity + document->object_table_capacity / 4 + 64;
        const size_t capacity = larger > wanted ? larger : wanted;
        void* table = zr_realloc(document->object_table, capacity * sizeof(scene_object*));
        if (!table) { return false; }
        document->object_table = static_cast<scene_object**>(table);
        document->object_table_capacity = uint32_t(capacity);
    }
    if (document->object_table_count == 0)
    {
        document->object_table[0] = nullptr;
        document->object_table_count = 1;
    }
    return true;
}

bool number_object(document* document, scene_object* object)
{
    if (!reserve_numbers(document, 1)) { return false; }
    object->number = document->object_table_count;
    document->object_table[document->object_table_count++] = object;
    return true;
}

bool number_listed_objects(document* document, size_t* count_out)
{
    array<scene_object*> unnumbered;
    *count_out = 0;
    for (scene_object* list : { document->radiosity_objects.first, document->scene_objects.first })
    {
        unnumbered.count = 0;
        for (scene_object* object = list; object; object = object->next, ++*count_out)
        {
            if (object->number != 0 && zr_object_from_number(document, object->number) == object)
            {
                continue;
            }
            if (!unnumbered.push(object)) { return false; }
        }
        if (!reserve_numbers(document, unnumbered.count)) { return false; }
        for (size_t i = unnumbered.count; i-- > 0;) { number_object(document, unnumbered[i]); }
    }
    return true;
}

void clear_object_table(document* document)
{
    zr_free(document->object_table);
    document->object_table = nullptr;
    document->object_table_count = document->object_table_capacity = 0;
}

} // namespace zr
