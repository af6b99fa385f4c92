#pragma once

/* Diagnostic lines, here on standard error.
 *
 * Each call writes one line beginning "plugin host: ", cut at 512 bytes, in one write, and drops
 * it where standard error would make it wait: an error path of the render thread may call this.
 * Privacy annotations in the format (%{public}s) are read over. */

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

typedef struct os_log_s* os_log_t;
typedef uint8_t os_log_type_t;

enum {
  OS_LOG_TYPE_DEFAULT = 0x00,
  OS_LOG_TYPE_INFO = 0x01,
  OS_LOG_TYPE_DEBUG = 0x02,
  OS_LOG_TYPE_ERROR = 0x10,
  OS_LOG_TYPE_FAULT = 0x11
};

#define OS_LOG_DEFAULT ((os_log_t)0)

/// A log for one part of a program. One serves all: the names are not kept.
os_log_t os_log_create(const char* subsystem, const char* category);

/// What the macros below call. Lines of type info and debug are not written.
__attribute__((format(os_log, 3, 4))) void os_log_write(os_log_t log, os_log_type_t type,
                                                        const char* format, ...);

#define os_log(log, ...) os_log_write((log), OS_LOG_TYPE_DEFAULT, __VA_ARGS__)
#define os_log_info(log, ...) os_log_write((log), OS_LOG_TYPE_INFO, __VA_ARGS__)
#define os_log_debug(log, ...) os_log_write((log), OS_LOG_TYPE_DEBUG, __VA_ARGS__)
#define os_log_error(log, ...) os_log_write((log), OS_LOG_TYPE_ERROR, __VA_ARGS__)
#define os_log_fault(log, ...) os_log_write((log), OS_LOG_TYPE_FAULT, __VA_ARGS__)

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif
