/** @file
 *  Numbered texts, loaded from UTF-16 files, and the windows and menus that are translated by them.
 *
 *  A text file is UTF-16 little-endian with CR LF line ends, lines of at most 1023 code units:
 *
 *      ;comment
 *      FONT_NT 8,MS Sans Serif
 *      [05081]  "Render stopping"
 *
 *  An entry is "[", five digits, "]", blanks or tabs, then the text, in double quotes or not, up to the next
 *  double quote, tab or line end. Other lines mean nothing. A window, control or menu text that begins "^^"
 *  and a number is a key: it shows the entry of that number, what follows the number is a note. */
#ifndef ZIRCONLITE_FRAME_STRING_TABLE_H
#define ZIRCONLITE_FRAME_STRING_TABLE_H

#include "zirconlite/types.h"

ZR_EXTERN_C_BEGIN

/** Texts by number; each its own, or the shared default "???". Made by zr_create_string_table only. */
typedef char16_t** string_table;

/** Entries of the library's own table, read from "zr3.uni". */
#define ZR_MESSAGE_COUNT 8000

/** Numbers of the library's own messages. */
enum message_number
{
    MESSAGE_REPLACE_LIBRARY = 3081, /**< asked before a library of the same name is made anew */
    MESSAGE_PACK_LIBRARY = 3090,    /**< asked before a library is packed */
    MESSAGE_PACKING_LIBRARY = 3091,
    MESSAGE_BUILDING_GRID = 5201,
    MESSAGE_RENDER_STOPPING = 5081,
    MESSAGE_RENDER_STOPPED = 5082,
    MESSAGE_RENDER_STARTED = 5085,
    MESSAGE_RENDER_FINISHED = 5086
};

/** Capacity of a text buffer, in code units with the end mark. */
#define ZR_MESSAGE_CAPACITY 1024

/** Reads a table of `count` entries (at most 1048576). With `read_font` font lines set the font of windows.
 *  NULL when the file cannot be read or memory is exhausted. The caller frees it. */
ZR_API string_table zr_create_string_table(const char16_t* path, int32_t count, int32_t read_font);

/** Frees a table with the `count` it was made with; below 1 frees the array and none of the texts. NULL does
 *  nothing. */
ZR_API void zr_free_string_table(string_table table, int32_t count);

/** Reads the library's own table anew, frees `table`, and returns a new table of 8000 entries from `path`.
 *  While no job runs. */
ZR_API string_table zr_reinit_string_tables(string_table table, const char16_t* path, int32_t count);

/** Entry `number` of `table`, or of the library's own when it is NULL. "???" for an empty entry, a number
 *  out of range, or without any table. The text belongs to the table. Any thread. */
ZR_API const char16_t* zr_get_message(string_table table, int32_t number);

/** A key: 1, and the message in `buffer` (of ZR_MESSAGE_CAPACITY). Other texts: 0, and the text itself. */
ZR_API int32_t zr_get_string_from_table(string_table table, const char16_t* text, char16_t* buffer);

/** Translates a window with its children and its menu, and sets the children's font. Returns 1 when the
 *  window's own text was a key. */
ZR_API int32_t zr_init_window_text(zr_handle window, string_table table);

/** Translates a menu with its submenus. 0 for NULL, else 1. */
ZR_API int32_t zr_set_menu_text(zr_handle menu, string_table table);

/** The font of translated windows; NULL before the first. */
ZR_API zr_handle zr_get_window_font(void);

/** Selects that font into a device context, which for windows in memory is the window. */
ZR_API void zr_set_DC_font(zr_handle device_context);

ZR_EXTERN_C_END

#endif
