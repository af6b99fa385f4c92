#pragma once

#include <mach/boolean.h>
#include <mach/kern_return.h>
#include <mach/port.h>
#include <stdint.h>

typedef natural_t mach_msg_type_number_t;
typedef mach_port_t task_t;
typedef mach_port_t thread_act_t;
typedef mach_port_t ipc_space_t;
typedef mach_port_t vm_map_t;
typedef uintptr_t vm_address_t;
typedef uintptr_t vm_size_t;
