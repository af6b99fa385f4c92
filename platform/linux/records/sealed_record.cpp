#include "platform/linux/records/sealed_record.hpp"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vesk::platform {

namespace {

struct Head {
  std::uint32_t magic;
  std::uint32_t version;
};

bool read_head(int descriptor, const RecordKind& kind, Head& head) {
  // Only memfds and shared-memory files have seals, so a pipe or socket is never read from.
  const int seals = fcntl(descriptor, F_GET_SEALS);
  if (seals < 0 || (seals & F_SEAL_SHRINK) == 0) return false;
  return pread(descriptor, &head, sizeof head, 0) == static_cast<ssize_t>(sizeof head) &&
         head.magic == kind.magic;
}

}  // namespace

bool has_magic(int descriptor, const RecordKind& kind) {
  Head head;
  return read_head(descriptor, kind, head);
}

bool is_whole(int descriptor, const RecordKind& kind) {
  Head head;
  struct stat status = {};
  return read_head(descriptor, kind, head) && head.version == kind.version &&
         fstat(descriptor, &status) == 0 && status.st_size == static_cast<off_t>(kind.bytes);
}

void* map_record(int descriptor, const RecordKind& kind) {
  if (!is_whole(descriptor, kind)) return nullptr;
  void* memory = mmap(nullptr, kind.bytes, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
  return memory == MAP_FAILED ? nullptr : memory;
}

}  // namespace vesk::platform
