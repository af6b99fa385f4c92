#include "host/parent_workgroup.hpp"

#include <mach/mach.h>

namespace vesk::host {

os_workgroup_t obtain_parent_workgroup() {
  mach_port_array_t ports = nullptr;
  mach_msg_type_number_t count = 0;
  if (mach_ports_lookup(mach_task_self(), &ports, &count) != KERN_SUCCESS) return nullptr;

  // Never released: the render thread may be a member until the process ends. Static, so that a
  // leak checker knows it.
  static os_workgroup_t workgroup = nullptr;
  if (count > 0 && ports[0] != MACH_PORT_NULL)
    workgroup = os_workgroup_create_with_port("vesk.plugin-host", ports[0]);

  // The workgroup has taken a reference of its own; the rights and the array are ours to release.
  for (mach_msg_type_number_t i = 0; i < count; ++i)
    if (ports[i] != MACH_PORT_NULL) mach_port_deallocate(mach_task_self(), ports[i]);
  vm_deallocate(mach_task_self(), reinterpret_cast<vm_address_t>(ports), count * sizeof *ports);
  return workgroup;
}

}  // namespace vesk::host
