/// @file
/// What the rest of the library may ask of the display: its two locks, which exist from the first use on, and
/// a table of functions that stay neutral until a display starts and fills them.
#pragma once

#include <stdint.h>

#include "zirconlite/frame/document.h"
#include "zirconlite/platform/threads.hpp"

namespace zr
{

/// Guards the cameras and display types of views, and what the display shows. May be taken again by its
/// owner. Taken before image_lock() where both are held.
platform::lock* display_lock();

/// Guards the reading and freeing of a view's picture and its bounds.
platform::lock* image_lock();

/// Filled by the display when it starts, emptied when it ends; null entries are neutral.
struct display_functions
{
    int32_t (*show_image)(render_view* view, int32_t wait_flag);
    int32_t (*send_message)(uint32_t message, uintptr_t argument, uint32_t flags);
    int32_t (*change_document)(document* doc);
};

/// Installs a copy; null empties the table.
void set_display_functions(const display_functions* functions);

int32_t show_image_on_display(render_view* view, int32_t wait_flag); ///< 0 without a display
/// `flags` 0 queue it, 1 only when the display is free, 2 wait for the end. 0 without a display.
int32_t send_display_message(uint32_t message, uintptr_t argument, uint32_t flags);
int32_t change_display_document(document* doc); ///< 0 without a display

} // namespace zr
