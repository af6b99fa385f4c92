#pragma once

/* What the headers of this folder and of mach/ put before their declarations. */

#ifdef __cplusplus
#define OS_EXPORT extern "C" __attribute__((visibility("default")))
#else
#define OS_EXPORT extern __attribute__((visibility("default")))
#endif

/* Behind a declaration: real-time code may call it (checked by -Wfunction-effects). Empty where
 * the compiler lacks the attribute. */
#if defined(__has_attribute)
#if __has_attribute(nonblocking)
#define OS_REALTIME_API __attribute__((nonblocking))
#endif
#endif
#ifndef OS_REALTIME_API
#define OS_REALTIME_API
#endif
