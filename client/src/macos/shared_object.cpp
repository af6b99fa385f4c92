#include "client/src/shared_object.hpp"

#include <sys/sysctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "client/src/error_text.hpp"

namespace vesk::client {

bool reserve_object(int descriptor, std::size_t bytes, std::string& error) {
  // Works once for an object, and memory is reserved by the kernel's own overcommit rules.
  if (ftruncate(descriptor, static_cast<off_t>(bytes)) == 0) return true;
  error = "no shared memory: " + error_text(errno);
  return false;
}

std::string object_owner_tag() {
  int query[4] = {CTL_KERN, KERN_PROC, KERN_PROC_PID, getpid()};
  kinfo_proc info{};
  std::size_t size = sizeof info;
  long started = 0;
  if (sysctl(query, 4, &info, &size, nullptr, 0) == 0)
    started = static_cast<long>(info.kp_proc.p_starttime.tv_sec);
  char text[32];
  std::snprintf(text, sizeof text, "%x-%lx", static_cast<unsigned>(getpid()), started);
  return text;
}

// Shared-memory objects cannot be listed on macOS. They are unlinked as soon as the host has said
// ready or failed, so what a parent that dies in between leaves is one object a start.
void sweep_objects() {}

}  // namespace vesk::client
