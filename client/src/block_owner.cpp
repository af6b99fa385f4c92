#include "client/src/block_owner.hpp"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <new>

#include "client/src/error_text.hpp"
#include "client/src/shared_object.hpp"

namespace vesk::client {

namespace {

/// Distinguishes the objects of one process.
std::atomic<unsigned> g_next_object{0};

int create_object(std::string& name, std::string& error) {
  const std::string stem = "/vesk-" + object_owner_tag() + "-";
  for (;;) {
    name = stem + std::to_string(g_next_object.fetch_add(1, std::memory_order_relaxed));
    const int descriptor = shm_open(name.c_str(), O_RDWR | O_CREAT | O_EXCL, 0600);
    if (descriptor >= 0) return descriptor;
    if (errno == EEXIST) continue;
    error = "cannot create the shared memory " + name + ": " + error_text(errno);
    return -1;
  }
}

}  // namespace

std::unique_ptr<BlockOwner> BlockOwner::create(std::string& error) {
  std::unique_ptr<BlockOwner> owner(new BlockOwner);
  const int descriptor = create_object(owner->name_, error);
  if (descriptor < 0) return nullptr;
  owner->unlinked_ = false;
  void* memory = MAP_FAILED;
  if (reserve_object(descriptor, host::block_size, error)) {
    memory = mmap(nullptr, host::block_size, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
    if (memory == MAP_FAILED) error = "cannot map the shared memory: " + error_text(errno);
  }
  close(descriptor);
  if (memory == MAP_FAILED) return nullptr;
  // Touches every page, so that the first period meets no page fault.
  owner->block_ = new (memory) host::Block{};
  owner->block_->magic = host::block_magic;
  owner->block_->open_mask = ~0u;
  return owner;
}

BlockOwner::~BlockOwner() {
  unlink();
  if (block_ != nullptr) munmap(block_, host::block_size);
}

void BlockOwner::unlink() noexcept {
  if (unlinked_) return;
  shm_unlink(name_.c_str());
  unlinked_ = true;
}

}  // namespace vesk::client
