#pragma once

/* Reference counts of os objects (workgroups). */

#include <os/base.h>

/// Drops a reference; the last one frees the object. Any thread; not real-time safe.
OS_EXPORT void os_release(void* object);
