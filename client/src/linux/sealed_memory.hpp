#pragma once

#include <cstddef>
#include <memory>
#include <string>

namespace vesk::client {

/// Memory that is shared with a host by a descriptor, zero at first. Its size is sealed, so that
/// neither side can cut it short under the other.
class SealedMemory {
 public:
  /// Null with a sentence in `error`, in which the memory is called `what`.
  static std::unique_ptr<SealedMemory> create(const char* what, std::size_t bytes,
                                              std::string& error);
  ~SealedMemory();
  SealedMemory(const SealedMemory&) = delete;
  SealedMemory& operator=(const SealedMemory&) = delete;

  int descriptor() const noexcept { return descriptor_; }
  void* bytes() const noexcept { return bytes_; }

 private:
  SealedMemory() = default;

  int descriptor_ = -1;
  void* bytes_ = nullptr;
  std::size_t size_ = 0;
};

}  // namespace vesk::client
