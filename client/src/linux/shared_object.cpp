#include "client/src/shared_object.hpp"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <filesystem>
#include <string_view>
#include <system_error>

#include "client/src/error_text.hpp"
#include "client/src/linux/field_reader.hpp"
#include "client/src/linux/proc.hpp"

namespace vesk::client {

namespace {

constexpr std::string_view prefix = "vesk-";
/// A parent leaves a few objects at most. Whoever fills the folder with such names must not hold
/// every start up; the rest is for the next ones.
constexpr int most_swept = 1000;

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
  error += error_text(result);
  return false;
}

std::string object_owner_tag() {
  return owner_tag(getpid(), proc::start_time(getpid()));
}

void sweep_objects() {
  std::error_code failure;
  int swept = 0;
  for (std::filesystem::directory_iterator entry("/dev/shm", failure), end;
       !failure && entry != end && swept < most_swept; entry.increment(failure)) {
    const std::string name = entry->path().filename();
    // "vesk-NAMESPACE-PID-START-NUMBER", all but the number hexadecimal.
    FieldReader fields(name);
    unsigned space = 0;
    int pid = 0;
    std::uint64_t started = 0;
    if (!fields.literal(prefix) || !fields.number(space, 16) || !fields.literal("-") ||
        !fields.number(pid, 16) || !fields.literal("-") || !fields.number(started, 16) ||
        !fields.literal("-"))
      continue;
    if (space != pid_namespace() || pid <= 0) continue;
    ++swept;
    // Another user's are that user's to sweep. The owner is known sooner than whether it lives.
    struct stat object{};
    if (lstat(entry->path().c_str(), &object) != 0 || object.st_uid != geteuid() ||
        proc::start_time(pid) == started)
      continue;
    shm_unlink(("/" + name).c_str());
  }
}

}  // namespace vesk::client
