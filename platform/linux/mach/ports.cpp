#include <fcntl.h>
#include <mach/mach.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>

#include "platform/linux/mach/port_names.hpp"
#include "platform/linux/records/workgroup_record.hpp"

mach_port_t mach_task_self_ = vesk::platform::task_name;

namespace {

// As many as a task has on macOS.
constexpr mach_msg_type_number_t registered_ports = 3;

using namespace vesk::platform;

/// A right is a descriptor of its own, so that each holder releases what it was given.
mach_port_t new_right(int descriptor) {
  const int copy = fcntl(descriptor, F_DUPFD_CLOEXEC, VESK_WORKGROUP_DESCRIPTOR + 1);
  return copy < 0 ? MACH_PORT_NULL : name_of_descriptor(copy);
}

}  // namespace

kern_return_t mach_port_deallocate(ipc_space_t task, mach_port_name_t name) {
  if (task != mach_task_self_) return KERN_INVALID_TASK;
  if (name == MACH_PORT_NULL) return KERN_INVALID_NAME;
  if (name == MACH_PORT_DEAD) return KERN_INVALID_RIGHT;
  // Names of threads and of the task are not counted.
  if (name == task_name || is_thread_name(name)) return KERN_SUCCESS;
  const int descriptor = descriptor_of(name);
  // Whoever releases a right twice must not close a file that took its number.
  if (descriptor < 0 || !is_workgroup_record(descriptor)) return KERN_INVALID_NAME;
  close(descriptor);
  return KERN_SUCCESS;
}

kern_return_t mach_ports_lookup(task_t task, mach_port_array_t* ports,
                                mach_msg_type_number_t* count) {
  if (task != mach_task_self_ || ports == nullptr || count == nullptr) return KERN_INVALID_ARGUMENT;
  const std::size_t bytes = registered_ports * sizeof(mach_port_t);
  // The caller unmaps the array (vm_deallocate).
  void* memory = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) return KERN_RESOURCE_SHORTAGE;
  auto* slots = static_cast<mach_port_t*>(memory);
  if (is_workgroup_record(VESK_WORKGROUP_DESCRIPTOR))
    slots[0] = new_right(VESK_WORKGROUP_DESCRIPTOR);
  *ports = slots;
  *count = registered_ports;
  return KERN_SUCCESS;
}

kern_return_t vm_deallocate(vm_map_t task, vm_address_t address, vm_size_t size) {
  if (task != mach_task_self_) return KERN_INVALID_ARGUMENT;
  if (size == 0) return KERN_SUCCESS;
  const auto page = static_cast<vm_address_t>(sysconf(_SC_PAGESIZE));
  const vm_address_t start = address & ~(page - 1);
  if (address + size < address) return KERN_INVALID_ARGUMENT;
  return munmap(reinterpret_cast<void*>(start), address + size - start) == 0
             ? KERN_SUCCESS
             : KERN_INVALID_ARGUMENT;
}
