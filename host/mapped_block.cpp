#include "host/mapped_block.hpp"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "host/diagnostics.hpp"

namespace vesk::host {
namespace {

/// Maps `block_size` bytes of an open object; MAP_FAILED when that cannot be done.
void* map(int object) {
  // The mapping of a shorter object succeeds, and the first touch beyond its end is a bus error.
  struct stat status{};
  if (fstat(object, &status) != 0 || status.st_size < static_cast<off_t>(block_size))
    return MAP_FAILED;
  return mmap(nullptr, block_size, PROT_READ | PROT_WRITE, MAP_SHARED, object, 0);
}

}  // namespace

Block* map_block(const char* name) {
  const int object = shm_open(name, O_RDWR, 0);
  if (object < 0) {
    print_line(std::string("plugin host: shm_open failed: ") + std::strerror(errno));
    return nullptr;
  }
  void* const memory = map(object);
  close(object);
  if (memory == MAP_FAILED) {
    print_line("plugin host: mmap failed");
    return nullptr;
  }
  auto* const block = static_cast<Block*>(memory);
  if (block->magic != block_magic) {
    print_line("plugin host: bad shared-memory block");
    return nullptr;
  }
  return block;
}

}  // namespace vesk::host
