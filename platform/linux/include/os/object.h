#pragma once

/* Reference counts of os objects (workgroups). */

#include <os/base.h>

/// Adds a reference to a workgroup and returns it. Any thread; real-time safe.
OS_EXPORT void* os_retain(void* object);

/// Drops a reference; the last one frees the object. Any thread; not real-time safe.
OS_EXPORT void os_release(void* object);
