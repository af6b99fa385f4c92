#pragma once

#include <memory>
#include <string>

#include "host/block.hpp"

namespace vesk::client {

/// The parent's end of one block: creates the object, maps it, removes its name.
class BlockOwner {
 public:
  /// A block ready for a host: zeros, `magic`, and an `open_mask` of all ones, which no host
  /// shows before its main loop runs. Null with a sentence in `error`.
  static std::unique_ptr<BlockOwner> create(std::string& error);
  ~BlockOwner();
  BlockOwner(const BlockOwner&) = delete;
  BlockOwner& operator=(const BlockOwner&) = delete;

  host::Block& block() noexcept { return *block_; }
  const std::string& name() const noexcept { return name_; }

  /// Removes the name; the memory lives on in its mappings.
  void unlink() noexcept;
  bool is_unlinked() const noexcept { return unlinked_; }

 private:
  BlockOwner() = default;
  std::string name_;
  host::Block* block_ = nullptr;
  bool unlinked_ = true;
};

}  // namespace vesk::client
