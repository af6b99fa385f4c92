#pragma once

/* The Mach calls that audio hosts and Audio Units use. Time is in mach/mach_time.h. */

#include <mach/mach_init.h>
#include <mach/mach_port.h>
#include <mach/mach_types.h>
#include <mach/thread_act.h>
#include <mach/thread_policy.h>
#include <mach/vm_map.h>
