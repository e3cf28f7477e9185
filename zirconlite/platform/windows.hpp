/// @file
/// Window handles without a window system. A handle names a sink of the host that takes commands by a
/// callback or keeps them in a queue, or an in-memory window with a text, a size, children and a menu.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "zirconlite/types.h"

namespace zr::platform
{

using command_callback = void (*)(void* context, uint32_t command);

zr_handle new_callback_window(command_callback on_command, void* context); ///< null when memory fails
zr_handle new_queue_window();
zr_handle new_memory_window(int32_t width, int32_t height, const char16_t* text);

/// Frees a window with its children and its menu. Null does nothing.
void free_window(zr_handle window);

/// Hands a command to the window: calls back on this thread, or puts it behind the waiting ones. False for
/// null and when memory fails.
bool post_command(zr_handle window, uint32_t command);

/// Takes the oldest waiting command. False when none came within the time; negative waits for ever.
bool next_command(zr_handle window, int64_t milliseconds, uint32_t* command);

/// Width and height of the drawing area. Zeros, and false, for null.
bool client_size(zr_handle window, int32_t size[2]);
void set_client_size(zr_handle window, int32_t width, int32_t height);

/// The window's text; an empty one for null. Valid until the next change.
const char16_t* window_text(zr_handle window);
bool set_window_text(zr_handle window, const char16_t* text);

/// Appends `child`, which `parent` owns from then on.
bool add_child(zr_handle parent, zr_handle child);
zr_handle child_at(zr_handle parent, size_t index); ///< null behind the last

/// A font as its height and face; windows keep what was set.
struct window_font
{
    int32_t height;
    char16_t face[32];
};
void set_font(zr_handle window, const window_font* font); ///< not copied
const window_font* font_of(zr_handle window);             ///< null: the system's

/// Menus: items in order, each with an id, a text, a state word and perhaps a submenu, which it owns.
zr_handle new_menu();
void free_menu(zr_handle menu); ///< null does nothing
bool add_menu_item(zr_handle menu, int32_t id, uint32_t state, const char16_t* text, zr_handle submenu);
size_t menu_item_count(zr_handle menu);
const char16_t* menu_item_text(zr_handle menu, size_t index); ///< null behind the last
bool set_menu_item_text(zr_handle menu, size_t index, const char16_t* text);
int32_t menu_item_id(zr_handle menu, size_t index);     ///< -1 for a submenu and behind the last
uint32_t menu_item_state(zr_handle menu, size_t index); ///< 0 behind the last
zr_handle submenu_at(zr_handle menu, size_t index);     ///< null for none
bool set_menu(zr_handle window, zr_handle menu);        ///< the window owns it from then on
zr_handle menu_of(zr_handle window);

} // namespace zr::platform
