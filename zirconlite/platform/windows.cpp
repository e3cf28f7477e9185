/// @file
/// Message sinks and in-memory windows.
#include "zirconlite/platform/windows.hpp"

#include <stdlib.h>
#include <string.h>

#include "zirconlite/platform/clock.hpp"
#include "zirconlite/platform/text.hpp"
#include "zirconlite/platform/threads.hpp"

namespace zr::platform
{

namespace
{

struct menu_item
{
    int32_t id;
    uint32_t state;
    char16_t* text;
    zr_handle submenu;
};

/// Grows by doubling; all its users hold pointers or small plain records.
template <class T> struct list
{
    T* items;
    size_t count, capacity;
};

struct menu
{
    list<menu_item> items;
};

struct window
{
    command_callback on_command;
    void* context;
    lock* guard;    // of `commands`
    event* arrived; // set while commands wait
    list<uint32_t> commands;
    int32_t size[2];
    char16_t* text;
    list<zr_handle> children;
    zr_handle menu;
    const window_font* font;
};

/// Longest queue: a host that never looks must not make a render eat all memory.
constexpr size_t longest_queue = 65536;

template <class T> bool push(list<T>& l, const T& item);
bool replace_text(char16_t** text, const char16_t* with);
window* new_window();

menu_item* item_at(zr_handle handle, size_t index);
window* as_window(zr_handle handle);

} // namespace

zr_handle new_callback_window(command_callback on_command, void* context)
{
    window* w = new_window();
    if (!w) { return nullptr; }
    w->on_command = on_command;
    w->context = context;
    return w;
}

zr_handle new_queue_window() { return new_window(); }

zr_handle new_memory_window(int32_t width, int32_t height, const char16_t* text)
{
    window* w = new_window();
    if (!w) { return nullptr; }
    set_client_size(w, width, height);
    if (!replace_text(&w->text, text))
    {
        free_window(w);
        return nullptr;
    }
    return w;
}

void free_window(zr_handle handle)
{
    window* w = as_window(handle);
    if (!w) { return; }
    for (size_t i = 0; i < w->children.count; ++i) { free_window(w->children.items[i]); }
    free_menu(w->menu);
    free_lock(w->guard);
    free_event(w->arrived);
    free(w->children.items);
    free(w->commands.items);
    free(w->text);
    free(w);
}

bool post_command(zr_handle handle, uint32_t command)
{
    window* w = as_window(handle);
    if (!w) { return false; }
    if (w->on_command)
    {
        w->on_command(w->context, command);
        return true;
    }
    const lock_scope hold(w->guard);
    if (w->commands.count >= longest_queue || !push(w->commands, command)) { return false; }
    signal_event(w->arrived);
    return true;
}

bool next_command(zr_handle handle, int64_t milliseconds, uint32_t* command)
{
    window* w = as_window(handle);
    if (!w) { return false; }
    const uint64_t start = tick_ms();
    for (;;)
    {
        {
            const lock_scope hold(w->guard);
            if (w->commands.count > 0)
            {
                *command = w->commands.items[0];
                --w->commands.count;
                memmove(w->commands.items, w->commands.items + 1, w->commands.count * sizeof(uint32_t));
                if (w->commands.count > 0) { signal_event(w->arrived); }
                return true;
            }
        }
        // Another waiter may have taken what the signal announced: wait for the rest of the time only.
        const int64_t passed = int64_t(tick_ms() - start);
        if (milliseconds >= 0 && passed >= milliseconds) { return false; }
        wait_event(w->arrived, milliseconds < 0 ? -1 : milliseconds - passed);
    }
}

bool client_size(zr_handle handle, int32_t size[2])
{
    const window* w = as_window(handle);
    size[0] = w ? w->size[0] : 0;
    size[1] = w ? w->size[1] : 0;
    return w != nullptr;
}

void set_client_size(zr_handle handle, int32_t width, int32_t height)
{
    window* w = as_window(handle);
    if (!w) { return; }
    w->size[0] = width > 0 ? width : 0;
    w->size[1] = height > 0 ? height : 0;
}

const char16_t* window_text(zr_handle handle)
{
    const window* w = as_window(handle);
    return w && w->text ? w->text : u"";
}

bool set_window_text(zr_handle handle, const char16_t* text)
{
    return handle && replace_text(&as_window(handle)->text, text);
}

bool add_child(zr_handle parent, zr_handle child)
{
    return parent && child && parent != child && push(as_window(parent)->children, child);
}

zr_handle child_at(zr_handle parent, size_t index)
{
    const window* w = as_window(parent);
    return w && index < w->children.count ? w->children.items[index] : nullptr;
}

void set_font(zr_handle handle, const window_font* font)
{
    if (handle) { as_window(handle)->font = font; }
}

const window_font* font_of(zr_handle handle) { return handle ? as_window(handle)->font : nullptr; }

zr_handle new_menu() { return calloc(1, sizeof(menu)); }

void free_menu(zr_handle handle)
{
    auto* m = static_cast<menu*>(handle);
    if (!m) { return; }
    for (size_t i = 0; i < m->items.count; ++i)
    {
        free(m->items.items[i].text);
        free_menu(m->items.items[i].submenu);
    }
    free(m->items.items);
    free(m);
}

bool add_menu_item(zr_handle handle, int32_t id, uint32_t state, const char16_t* text, zr_handle submenu)
{
    auto* m = static_cast<menu*>(handle);
    menu_item item = { id, state, nullptr, submenu };
    if (!m || !replace_text(&item.text, text)) { return false; }
    if (push(m->items, item)) { return true; }
    free(item.text);
    return false;
}

size_t menu_item_count(zr_handle handle) { return handle ? static_cast<menu*>(handle)->items.count : 0; }

const char16_t* menu_item_text(zr_handle handle, size_t index)
{
    const menu_item* item = item_at(handle, index);
    return item ? item->text : nullptr;
}

bool set_menu_item_text(zr_handle handle, size_t index, const char16_t* text)
{
    menu_item* item = item_at(handle, index);
    return item && replace_text(&item->text, text);
}

int32_t menu_item_id(zr_handle handle, size_t index)
{
    const menu_item* item = item_at(handle, index);
    return item && !item->submenu ? item->id : -1;
}

uint32_t menu_item_state(zr_handle handle, size_t index)
{
    const menu_item* item = item_at(handle, index);
    return item ? item->state : 0;
}

zr_handle submenu_at(zr_handle handle, size_t index)
{
    const menu_item* item = item_at(handle, index);
    return item ? item->submenu : nullptr;
}

bool set_menu(zr_handle handle, zr_handle menu)
{
    window* w = as_window(handle);
    if (!w) { return false; }
    if (w->menu != menu) { free_menu(w->menu); }
    w->menu = menu;
    return true;
}

zr_handle menu_of(zr_handle handle) { return handle ? as_window(handle)->menu : nullptr; }

namespace
{

template <class T> bool push(list<T>& l, const T& item)
{
    if (l.count == l.capacity)
    {
        const size_t capacity = l.capacity ? l.capacity * 2 : 8;
        void* block = realloc(l.items, capacity * sizeof(T));
        if (!block) { return false; }
        l.items = static_cast<T*>(block);
        l.capacity = capacity;
    }
    l.items[l.count++] = item;
    return true;
}

/// `with` may be the text that is replaced, or a part of it.
bool replace_text(char16_t** text, const char16_t* with)
{
    if (!with) { with = u""; }
    const size_t bytes = (text_length(with) + 1) * sizeof(char16_t);
    auto* copy = static_cast<char16_t*>(malloc(bytes));
    if (!copy) { return false; }
    memcpy(copy, with, bytes);
    free(*text);
    *text = copy;
    return true;
}

window* new_window()
{
    auto* w = static_cast<window*>(calloc(1, sizeof(window)));
    if (!w) { return nullptr; }
    w->guard = new_lock();
    w->arrived = new_event();
    if (w->guard && w->arrived) { return w; }
    free_window(w);
    return nullptr;
}

menu_item* item_at(zr_handle handle, size_t index)
{
    auto* m = static_cast<menu*>(handle);
    return m && index < m->items.count ? &m->items.items[index] : nullptr;
}

window* as_window(zr_handle handle) { return static_cast<window*>(handle); }

} // namespace

} // namespace zr::platform
