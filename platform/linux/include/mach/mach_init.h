#pragma once

#include <mach/mach_types.h>
#include <os/base.h>

OS_EXPORT mach_port_t mach_task_self_;
#define mach_task_self() mach_task_self_

/// The calling thread's port name; release it with `mach_port_deallocate`.
OS_EXPORT mach_port_t mach_thread_self(void);
