#include "platform/linux/records/workgroup_record.hpp"

#include <unistd.h>

#include <cstddef>

#include "platform/linux/records/sealed_record.hpp"

namespace vesk::platform {

namespace {

constexpr RecordKind kind = {VESK_WORKGROUP_MAGIC, VESK_WORKGROUP_VERSION,
                             sizeof(VeskWorkgroupRecord)};
static_assert(offsetof(VeskWorkgroupRecord, magic) == 0);
static_assert(offsetof(VeskWorkgroupRecord, version) == 4);

}  // namespace

bool is_workgroup_record(int descriptor) {
  return has_magic(descriptor, kind);
}

bool read_workgroup_record(int descriptor, VeskWorkgroupRecord* record) {
  return is_whole(descriptor, kind) &&
         pread(descriptor, record, sizeof *record, 0) == static_cast<ssize_t>(sizeof *record);
}

VeskWorkgroupRecord* map_workgroup_record(int descriptor) {
  return static_cast<VeskWorkgroupRecord*>(map_record(descriptor, kind));
}

}  // namespace vesk::platform
