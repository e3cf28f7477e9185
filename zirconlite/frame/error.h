/** @file
 *  Why the last call of this thread failed. Exported functions return plain status values; the reason in
 *  words is found here. */
#ifndef ZIRCONLITE_FRAME_ERROR_H
#define ZIRCONLITE_FRAME_ERROR_H

#include "zirconlite/types.h"

ZR_EXTERN_C_BEGIN

/** Kinds of failure. */
enum zr_error_code
{
    ZR_ERROR_NONE = 0,
    ZR_ERROR_MEMORY = 1,   /**< memory is exhausted */
    ZR_ERROR_ARGUMENT = 2, /**< an argument or a field of a record is out of its range */
    ZR_ERROR_NOT_FOUND = 3,
    ZR_ERROR_READ = 4,   /**< the file cannot be read, or ends too early */
    ZR_ERROR_WRITE = 5,  /**< the file cannot be written, or the disk is full */
    ZR_ERROR_FORMAT = 6, /**< the file is not what its name says, or is damaged */
    ZR_ERROR_LIMIT = 7,  /**< a fixed limit is exceeded */
    ZR_ERROR_STATE = 8   /**< the call does not fit the present state, such as a render that runs */
};

/** The status of a failed call. */
typedef struct zr_status
{
    int32_t code;   /**< a zr_error_code */
    int32_t line;   /**< line in a text file, counted from 1; 0 none */
    uint64_t byte;  /**< position in a binary file; 0 none */
    char file[512]; /**< UTF-8; empty when no file took part */
    char text[256]; /**< UTF-8: what is wrong and what was expected, one line without a full stop */
} zr_status;

/** The status of the last failed call on this thread. Never NULL; `code` is 0 when none failed yet. Valid
 *  until the next library call on this thread. A call that succeeds leaves it alone. */
ZR_API const zr_status* zr_last_error(void);

ZR_EXTERN_C_END

#endif
