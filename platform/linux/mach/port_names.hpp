#pragma once

#include <mach/port.h>

namespace vesk::platform {

/// Port names by kind. Thread ids are below 2^22, so they are names as they are; a descriptor's
/// name carries a mark; the task has one name.
constexpr mach_port_t descriptor_mark = 0x40000000;
constexpr mach_port_t task_name = 0x80000103;

constexpr mach_port_t name_of_descriptor(int descriptor) {
  return descriptor_mark | static_cast<mach_port_t>(descriptor);
}

/// The descriptor behind a name, -1 for a name of another kind.
constexpr int descriptor_of(mach_port_t name) {
  return (name & 0xc0000000) == descriptor_mark ? static_cast<int>(name & ~descriptor_mark) : -1;
}

constexpr bool is_thread_name(mach_port_t name) {
  return name > 0 && name < descriptor_mark;
}

}  // namespace vesk::platform
