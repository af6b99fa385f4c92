#pragma once

/* Names of ports. On Linux a name is one of three things: a workgroup's descriptor, a kernel
 * thread id, or this task; each kind has numbers of its own. */

#include <stdint.h>

typedef uint32_t natural_t;
typedef int integer_t;
typedef natural_t mach_port_name_t;
typedef mach_port_name_t mach_port_t;
typedef mach_port_t* mach_port_array_t;

#define MACH_PORT_NULL ((mach_port_t)0)
#define MACH_PORT_DEAD ((mach_port_t)0xffffffffu)
#define MACH_PORT_VALID(name) ((name) != MACH_PORT_NULL && (name) != MACH_PORT_DEAD)
