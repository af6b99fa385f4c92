#pragma once

#include <vesk/workgroup_record.h>

namespace vesk::platform {

/// Whether `descriptor` holds a workgroup record, whole or damaged: a memfd sealed against
/// shrinking that begins with the magic. Reads it without moving its position. Any thread.
bool is_workgroup_record(int descriptor);

/// Copies an undamaged record; false when there is none of this version and size. Any thread.
bool read_workgroup_record(int descriptor, VeskWorkgroupRecord* record);

/// Maps an undamaged record for reading and writing, shared with the parent, until `munmap`. NULL
/// when there is none of this version and size, or no memory. The seal is what makes the mapping
/// safe: nobody can cut the file short under its readers.
VeskWorkgroupRecord* map_workgroup_record(int descriptor);

}  // namespace vesk::platform
