#pragma once

#include <mach/mach_types.h>
#include <os/base.h>

/// Unmaps the pages of `[address, address + size)`. A size of 0 does nothing. Errors:
/// KERN_INVALID_ARGUMENT. Any thread; not real-time safe.
OS_EXPORT kern_return_t vm_deallocate(vm_map_t task, vm_address_t address, vm_size_t size);
