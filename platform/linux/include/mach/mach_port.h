#pragma once

#include <mach/mach_types.h>
#include <os/base.h>

/// Releases one right. Errors: KERN_INVALID_TASK (`task` is not this one), KERN_INVALID_NAME,
/// KERN_INVALID_RIGHT (MACH_PORT_DEAD). Any thread; not real-time safe.
OS_EXPORT kern_return_t mach_port_deallocate(ipc_space_t task, mach_port_name_t name);

/// The ports registered for this task: three slots, MACH_PORT_NULL where nothing is registered.
///
/// The first is the parent's workgroup when descriptor 3 was inherited with its record
/// (vesk/workgroup_record.h); any other descriptor 3 is left alone. The caller releases each port
/// with `mach_port_deallocate` and the array with `vm_deallocate(mach_task_self(), (vm_address_t)
/// ports, count * sizeof *ports)`. Errors: KERN_INVALID_ARGUMENT (`task` is not this one, NULL),
/// KERN_RESOURCE_SHORTAGE. Any thread; not real-time safe.
OS_EXPORT kern_return_t mach_ports_lookup(task_t task, mach_port_array_t* ports,
                                          mach_msg_type_number_t* count);
