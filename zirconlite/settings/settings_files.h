/** @file
 *  Settings in small files of their own: sun and sky (".su"), environment (".en"), exposure (".ex").
 *
 *  A file is text of UTF-16LE code units with "\n" between lines: a head line, a body, and "#END", behind
 * which nothing is read. A mark U+FEFF in front and "\r\n" are read, never written. Lines of sun and sky and
 * of the environment are "KEY=value", three values split by tabs where a field has three; an exposure is one
 *  line of six values. A key is compared exactly; unknown keys mean nothing, a key that is absent, a missing
 *  value and one that is no number leave the field as it was. Of a line the first 512 units count. A text
 * ends before a tab, a line end or "=". Numbers are written with six decimals and a point, whatever the
 * locale.
 *
 *  All on the host's thread, while nothing renders. */
#ifndef ZIRCONLITE_SETTINGS_SETTINGS_FILES_H
#define ZIRCONLITE_SETTINGS_SETTINGS_FILES_H

#include <stdio.h>

#include "zirconlite/types.h"

ZR_EXTERN_C_BEGIN

typedef struct document document;
typedef struct render_view render_view;

/** Values of zr_read_settings_head. */
enum settings_kind
{
    SETTINGS_SUN_SKY = 1,     /**< "#ZR3 SUNSKY" */
    SETTINGS_ENVIRONMENT = 2, /**< "#ZR3 ENVIRONMENT", of which the first 11 characters count */
    SETTINGS_EXPOSURE = 3     /**< "#ZR3 EXPOSURE" */
};

/** Reads the head line of a binary stream and leaves it at the body. A settings_kind; 0, with the reason for
 *  zr_last_error, for anything else. */
ZR_API int32_t zr_read_settings_head(FILE* stream);

/* Writers write head, body and "#END" to a binary stream; they return 1, and 0 when the stream takes no more
   or a text does not fit its line of 512 code units, which writes nothing. Readers begin behind the head
   line; a text that does not fit its field ends them with 0. */

/** @{ */
/** The `sun_sky` of a document, but for `sun_sky_flags` and the size, samples and jitter of the sun. 0 also
 * where the document has none. */
ZR_API int32_t save_sunsky_config_info(FILE* stream, document* doc);
ZR_API int32_t read_sunsky_config_info(FILE* stream, document* doc);
/** @} */

/** @{ */
/** The `environment`, with flags, haze and ground. Reading shows the wait cursor; zr_read_... does not. */
ZR_API int32_t save_environment_config_info(FILE* stream, document* doc);
ZR_API int32_t read_environment_config_info(FILE* stream, document* doc);
ZR_API int32_t zr_read_environment_config_info(FILE* stream, document* doc);
/** @} */

/** @{ */
/** Brightness, contrast, `ambient_gain`, `sky_scale`, `source_gain` and `tone_method`. Reading leaves
 * `sky_scale` alone and clamps each value to its range. 0, with nothing changed, while the view's exposure is
 * locked; 0, with the fields before it set, where a line lacks a value. */
ZR_API int32_t save_exposure_config_info(FILE* stream, document* doc, render_view* view);
ZR_API int32_t read_exposure_config_info(FILE* stream, document* doc, render_view* view);
/** @} */

/** @{ */
/** Ask for a file over `parent` (may be NULL) and read or write it. 1; 0 when cancelled, and, with the reason
   for zr_last_error, when the file has another head or cannot be read or written, which keeps an old one. */
ZR_API int32_t zr_load_sunsky_config(zr_handle parent, document* doc);
ZR_API int32_t zr_save_sunsky_config(zr_handle parent, document* doc);
ZR_API int32_t zr_load_environment_config(zr_handle parent, document* doc);
ZR_API int32_t zr_save_environment_config(zr_handle parent, document* doc);
ZR_API int32_t zr_load_exposure_config(zr_handle parent, document* doc, render_view* view);
ZR_API int32_t zr_save_exposure_config(zr_handle parent, document* doc, render_view* view);
/** @} */

ZR_EXTERN_C_END

#endif
