/// @file
/// Message boxes through the host's dialogs, or without any.
#pragma once

#include "zirconlite/frame/window.h"

namespace zr
{

/// Shows a text to be read; without dialogs it becomes a status message.
void show_information(const char16_t* text);

/// Asks; without dialogs the answer is MESSAGE_BOX_CANCEL.
message_box_answer ask(const char16_t* text);

/// Asks for a file to write; false when cancelled and without dialogs.
bool ask_for_file(zr_handle parent, zr_save_dialog* dialog);

/// Asks for a file to read; likewise.
bool ask_for_existing_file(zr_handle parent, zr_save_dialog* dialog);

/// Shows the exposure dialog; false when cancelled and without dialogs.
bool ask_for_exposure(zr_handle parent, zr_exposure_dialog* dialog);

/// Waits for the end of a thread, with the host's messages served meanwhile.
void wait_and_serve_messages(zr_handle thread);

} // namespace zr
