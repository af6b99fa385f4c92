#pragma once

#include <cstddef>
#include <cstdint>

namespace vesk::platform {

/// What every record of a parent's begins with, and how long a whole one is.
struct RecordKind {
  std::uint32_t magic;
  std::uint32_t version;
  std::size_t bytes;
};

/// Whether `descriptor` holds a record of this kind, whole or damaged: a memfd sealed against
/// shrinking that begins with the magic. Reads it without moving its position. Any thread.
bool has_magic(int descriptor, const RecordKind& kind);

/// Whether it holds an undamaged one: of this version and size.
bool is_whole(int descriptor, const RecordKind& kind);

/// Maps an undamaged record for reading and writing, shared with the parent, until `munmap`. NULL
/// when there is none, or no memory. The seal is what makes the mapping safe: nobody can cut the
/// file short under its readers.
void* map_record(int descriptor, const RecordKind& kind);

}  // namespace vesk::platform
