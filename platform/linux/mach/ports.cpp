#include <mach/mach.h>

#include "platform/linux/mach/port_names.hpp"
#include "platform/linux/workgroup/record.hpp"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>
#include <mutex>

mach_port_t mach_task_self_ = vesk::platform::task_name;

namespace {

using namespace vesk::platform;

std::mutex g_mutex;
// -1 in the first slot and not yet replaced: whatever descriptor 3 holds.
bool g_replaced = false;
int g_registered[TASK_PORT_REGISTER_MAX] = {-1, -1, -1};

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
  const std::size_t bytes = TASK_PORT_REGISTER_MAX * sizeof(mach_port_t);
  // The caller unmaps the array (vm_deallocate).
  void* memory = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) return KERN_RESOURCE_SHORTAGE;
  auto* slots = static_cast<mach_port_t*>(memory);
  const std::lock_guard lock(g_mutex);
  if (!g_replaced && is_workgroup_record(VESK_WORKGROUP_DESCRIPTOR))
    slots[0] = new_right(VESK_WORKGROUP_DESCRIPTOR);
  for (int i = 0; i < TASK_PORT_REGISTER_MAX; ++i)
    if (g_registered[i] >= 0) slots[i] = new_right(g_registered[i]);
  *ports = slots;
  *count = TASK_PORT_REGISTER_MAX;
  return KERN_SUCCESS;
}

kern_return_t mach_ports_register(task_t task, mach_port_array_t ports,
                                  mach_msg_type_number_t count) {
  if (task != mach_task_self_ || count > TASK_PORT_REGISTER_MAX || (count > 0 && ports == nullptr))
    return KERN_INVALID_ARGUMENT;
  for (mach_msg_type_number_t i = 0; i < count; ++i) {
    if (ports[i] == MACH_PORT_NULL) continue;
    const int descriptor = descriptor_of(ports[i]);
    if (descriptor < 0 || !is_workgroup_record(descriptor)) return KERN_INVALID_ARGUMENT;
  }
  const std::lock_guard lock(g_mutex);
  for (mach_msg_type_number_t i = 0; i < TASK_PORT_REGISTER_MAX; ++i) {
    if (g_registered[i] >= 0) close(g_registered[i]);
    const bool given = i < count && ports[i] != MACH_PORT_NULL;
    g_registered[i] = given ? descriptor_of(new_right(descriptor_of(ports[i]))) : -1;
  }
  g_replaced = true;
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
