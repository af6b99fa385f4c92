#pragma once

// An open file and whole reads and writes of it.

#include <cstdint>
#include <optional>
#include <span>

#include "components/lv2/catalogue/bytes.hpp"

namespace vesk::lv2 {

/// Owns a descriptor. None of its calls is for real-time threads.
class File {
 public:
  explicit File(int descriptor = -1) : descriptor_(descriptor) {}
  ~File();
  File(File&& other) noexcept;
  File& operator=(File&& other) noexcept;

  /// A file without a name, in memory, which child processes can be given. Not open with `errno`
  /// when there is no descriptor for it.
  static File in_memory();
  /// Becomes readable at the end of a process. Not open with `errno` when that cannot be had.
  static File of_process(int process_id);

  bool is_open() const { return descriptor_ >= 0; }
  int descriptor() const { return descriptor_; }

  /// Bytes in the file; 0 when it cannot be asked.
  std::uint64_t size() const;
  /// `size` bytes from `offset`; nothing when there are fewer.
  std::optional<Bytes> read(std::uint64_t offset, std::size_t size) const;
  /// All of it; empty when it cannot be read.
  Bytes read_all() const;
  /// Closes it. False when the file system reports only now what it could not store.
  bool close();

 private:
  int descriptor_;
};

/// Writes all of `bytes`, whatever signals come meanwhile. False with `errno` when it cannot.
bool write_all(int descriptor, std::span<const std::byte> bytes);

}  // namespace vesk::lv2
