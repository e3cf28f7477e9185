/// @file
/// Operations on a document that need no other room: units, the free list, waiting, exception handler.
#include "zirconlite/frame/document_state.hpp"

#include "zirconlite/display/hooks.hpp"
#include "zirconlite/frame/host_callbacks.hpp"
#include "zirconlite/frame/status.hpp"
#include "zirconlite/platform/fatal_signals.hpp"
#include "zirconlite/platform/threads.hpp"

namespace
{

zr_exception_handler stored_handler = nullptr;

free_list_node** link_to(document* doc, const void* block);

} // namespace

int32_t zr_change_document(document* doc) { return zr::change_display_document(doc); }

int32_t zr_is_doc_metric(const document* doc) { return doc->units != 3 && doc->units != 4; }

void zr_document_reload(void) {}

int32_t zr_free_doc_free_list(document* doc)
{
    while (free_list_node* node = doc->free_list)
    {
        doc->free_list = node->next;
        zr_free(node->block);
        zr_free(node);
    }
    return 1;
}

int32_t free_list_add(document* doc, void* block)
{
    auto* node = static_cast<free_list_node*>(zr_malloc(sizeof(free_list_node)));
    if (!node) { return 0; }
    node->next = doc->free_list;
    node->block = block;
    doc->free_list = node;
    return 1;
}

int32_t free_list_swap(document* doc, void* old_block, void* new_block)
{
    free_list_node** link = link_to(doc, old_block);
    if (!link) { return 0; }
    free_list_node* node = *link;
    if (new_block != old_block) { zr_free(old_block); }
    node->block = new_block;
    if (!new_block)
    {
        *link = node->next;
        zr_free(node);
    }
    return 1;
}

int32_t free_list_replace(document* doc, void* old_block, void* new_block)
{
    if (free_list_swap(doc, old_block, new_block)) { return 1; }
    return free_list_add(doc, new_block) ? 2 : 0;
}

uint32_t zr_wait_for_state_variable_ex(const uint32_t* variable, int32_t interval_ms, uint32_t mask)
{
    for (;;)
    {
        const uint32_t value = zr::platform::load_word(variable);
        if (mask == 0 ? value == 0 : (value & mask) != 0) { return value; }
        zr::platform::sleep_ms(interval_ms);
    }
}

uint32_t zr_wait_for_state_variable(const uint32_t* variable)
{
    return zr_wait_for_state_variable_ex(variable, 100, 0xffffff);
}

void zr_install_exception_handler(zr_exception_handler handler)
{
    zr::platform::store_word(&stored_handler, handler);
}

int32_t zr_set_light_model(document* doc, int32_t model)
{
    const int32_t former = doc->light_model;
    if (model == LIGHT_MODEL_FAST || model == LIGHT_MODEL_EXACT) { doc->light_model = model; }
    else { zr::report_failure(ZR_ERROR_ARGUMENT, "light model %d; 0 is fast, 1 is exact", model); }
    return former;
}

namespace zr
{

void install_stored_exception_handler()
{
    const zr_exception_handler handler = zr::platform::load_word(&stored_handler);
    if (handler) { platform::install_fatal_handler(handler); }
}

document* document_of(const render_view& view)
{
    document* const open = host::get_current_doc();
    return open ? open : view.document;
}

} // namespace zr

namespace
{

/// The pointer that leads to the node of `block`; null when it is on no node.
free_list_node** link_to(document* doc, const void* block)
{
    for (free_list_node** link = &doc->free_list; *link; link = &(*link)->next)
    {
        if ((*link)->block == block) { return link; }
    }
    return nullptr;
}

} // namespace
