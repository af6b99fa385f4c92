#include "client/src/shared_object.hpp"

#include <dirent.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "client/src/linux/proc.hpp"

namespace vesk::client {

namespace {

constexpr std::string_view kPrefix = "vesk-";

/// Two containers may share /dev/shm and not their process ids: objects of another namespace are
/// not ours to judge.
unsigned pid_namespace() {
  struct stat info{};
  return stat("/proc/self/ns/pid", &info) == 0 ? static_cast<unsigned>(info.st_ino & 0xffff) : 0;
}

std::string owner_tag(int pid, std::uint64_t start_time) {
  char text[64];
  std::snprintf(text, sizeof text, "%04x-%x-%" PRIx64, pid_namespace(), static_cast<unsigned>(pid),
                start_time);
  return text;
}

}  // namespace

bool reserve_object(int descriptor, std::size_t bytes, std::string& error) {
  int result = EINTR;
  while (result == EINTR) result = posix_fallocate(descriptor, 0, static_cast<off_t>(bytes));
  if (result == 0) return true;
  error = "no room for the shared memory in /dev/shm: ";
  error += std::strerror(result);
  return false;
}

std::string object_owner_tag() {
  return owner_tag(getpid(), proc::start_time(getpid()));
}

void sweep_objects() {
  DIR* folder = opendir("/dev/shm");
  if (folder == nullptr) return;
  while (const dirent* entry = readdir(folder)) {
    const std::string_view name = entry->d_name;
    if (!name.starts_with(kPrefix)) continue;
    unsigned space = 0, pid = 0;
    std::uint64_t started = 0;
    char after = 0;
    if (std::sscanf(entry->d_name + kPrefix.size(), "%4x-%x-%" SCNx64 "%c", &space, &pid, &started,
                    &after) != 4 ||
        after != '-' || space != pid_namespace() || pid == 0)
      continue;
    if (proc::start_time(static_cast<int>(pid)) == started) continue;
    // Another user's object refuses, and that is right.
    shm_unlink(("/" + std::string(name)).c_str());
  }
  closedir(folder);
}

}  // namespace vesk::client
