#include "platform/linux/workgroup/record.hpp"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>

namespace vesk::platform {

namespace {

/// The head that all versions share.
struct Head {
  uint32_t magic;
  uint32_t version;
};
static_assert(offsetof(VeskWorkgroupRecord, version) == offsetof(Head, version));

bool read_head(int descriptor, Head* head) {
  // Only memfds and shared-memory files have seals, so a pipe or socket is never read from.
  const int seals = fcntl(descriptor, F_GET_SEALS);
  if (seals < 0 || (seals & F_SEAL_SHRINK) == 0) return false;
  return pread(descriptor, head, sizeof *head, 0) == static_cast<ssize_t>(sizeof *head) &&
         head->magic == VESK_WORKGROUP_MAGIC;
}

bool is_whole(int descriptor) {
  Head head;
  struct stat status = {};
  return read_head(descriptor, &head) && head.version == VESK_WORKGROUP_VERSION &&
         fstat(descriptor, &status) == 0 && status.st_size == sizeof(VeskWorkgroupRecord);
}

}  // namespace

bool is_workgroup_record(int descriptor) {
  Head head;
  return read_head(descriptor, &head);
}

bool read_workgroup_record(int descriptor, VeskWorkgroupRecord* record) {
  return is_whole(descriptor) &&
         pread(descriptor, record, sizeof *record, 0) == static_cast<ssize_t>(sizeof *record);
}

VeskWorkgroupRecord* map_workgroup_record(int descriptor) {
  if (!is_whole(descriptor)) return nullptr;
  void* memory =
      mmap(nullptr, sizeof(VeskWorkgroupRecord), PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
  return memory == MAP_FAILED ? nullptr : static_cast<VeskWorkgroupRecord*>(memory);
}

}  // namespace vesk::platform
