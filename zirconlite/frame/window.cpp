/// @file
/// The public face of the platform's windows, and message boxes.
#include "zirconlite/frame/window.h"

#include "zirconlite/frame/dialogs.hpp"
#include "zirconlite/frame/host_callbacks.hpp"
#include "zirconlite/platform/threads.hpp"
#include "zirconlite/platform/windows.hpp"

namespace platform = zr::platform;

namespace
{

zr_dialogs installed_dialogs = {};
zr_message_pump message_pump = nullptr;
void* message_pump_context = nullptr;

int32_t message_box(const char16_t* text, message_box_kind kind, int32_t without_dialogs);

} // namespace

zr_handle zr_window_from_callback(void (*on_command)(void* context, uint32_t command), void* context)
{
    return platform::new_callback_window(on_command, context);
}

zr_handle zr_new_queue_window(void) { return platform::new_queue_window(); }

zr_handle zr_new_memory_window(int32_t width, int32_t height, const char16_t* text)
{
    return platform::new_memory_window(width, height, text);
}

void zr_free_window(zr_handle window) { platform::free_window(window); }

int32_t zr_post_command(zr_handle window, uint32_t command)
{
    return platform::post_command(window, command);
}

int32_t zr_next_command(zr_handle window, int64_t milliseconds, uint32_t* command_out)
{
    return platform::next_command(window, milliseconds, command_out);
}

void zr_set_window_size(zr_handle window, int32_t width, int32_t height)
{
    platform::set_client_size(window, width, height);
}

int32_t zr_set_window_text(zr_handle window, const char16_t* text)
{
    return platform::set_window_text(window, text);
}

const char16_t* zr_get_window_text(zr_handle window) { return platform::window_text(window); }

int32_t zr_add_child_window(zr_handle parent, zr_handle child) { return platform::add_child(parent, child); }

zr_handle zr_new_menu(void) { return platform::new_menu(); }

int32_t zr_add_menu_item(zr_handle menu, int32_t id, uint32_t state, const char16_t* text, zr_handle submenu)
{
    return platform::add_menu_item(menu, id, state, text, submenu);
}

const char16_t* zr_get_menu_item_text(zr_handle menu, int32_t position)
{
    return position < 0 ? nullptr : platform::menu_item_text(menu, size_t(position));
}

int32_t zr_set_window_menu(zr_handle window, zr_handle menu) { return platform::set_menu(window, menu); }

void zr_free_menu(zr_handle menu) { platform::free_menu(menu); }

int32_t zr_install_dialogs(const zr_dialogs* dialogs)
{
    installed_dialogs = dialogs ? *dialogs : zr_dialogs{};
    return 1;
}

int32_t zr_install_message_pump(zr_message_pump pump, void* context)
{
    message_pump = pump;
    message_pump_context = context;
    return 1;
}

namespace zr
{

void wait_and_serve_messages(zr_handle thread)
{
    constexpr int64_t interval_ms = 10;
    while (!platform::wait_for_thread(thread, message_pump ? interval_ms : -1))
    {
        message_pump(message_pump_context);
    }
}

void show_information(const char16_t* text)
{
    if (message_box(text, MESSAGE_BOX_INFORMATION, -1) == -1) { host::status_message(text); }
}

message_box_answer ask(const char16_t* text)
{
    const int32_t answer = message_box(text, MESSAGE_BOX_QUESTION, MESSAGE_BOX_CANCEL);
    return answer == MESSAGE_BOX_YES  ? MESSAGE_BOX_YES
           : answer == MESSAGE_BOX_NO ? MESSAGE_BOX_NO
                                      : MESSAGE_BOX_CANCEL;
}

bool ask_for_file(zr_handle parent, zr_save_dialog* dialog)
{
    const zr_dialogs& d = installed_dialogs;
    return d.save_file && d.save_file(d.context, parent, dialog) == 1;
}

bool ask_for_existing_file(zr_handle parent, zr_save_dialog* dialog)
{
    const zr_dialogs& d = installed_dialogs;
    return d.open_file && d.open_file(d.context, parent, dialog) == 1;
}

bool ask_for_exposure(zr_handle parent, zr_exposure_dialog* dialog)
{
    const zr_dialogs& d = installed_dialogs;
    return d.adjust_exposure && d.adjust_exposure(d.context, parent, dialog) == 1;
}

} // namespace zr

namespace
{

int32_t message_box(const char16_t* text, message_box_kind kind, int32_t without_dialogs)
{
    const zr_dialogs& d = installed_dialogs;
    if (!d.message_box) { return without_dialogs; }
    const int32_t answer = d.message_box(d.context, zr::host::hwnd(), text, kind);
    return kind == MESSAGE_BOX_INFORMATION ? 0 : answer;
}

} // namespace
