#include "client/src/linux/sealed_memory.hpp"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>

#include "client/src/error_text.hpp"
#include "client/src/linux/host_places.hpp"

namespace vesk::client {

namespace {

int open_sealed(std::size_t bytes) {
  const int descriptor = above_places(memfd_create("vesk-record", MFD_CLOEXEC | MFD_ALLOW_SEALING));
  if (descriptor < 0) return -1;
  if (ftruncate(descriptor, static_cast<off_t>(bytes)) == 0 &&
      fcntl(descriptor, F_ADD_SEALS, F_SEAL_SHRINK | F_SEAL_GROW) == 0)
    return descriptor;
  const int error = errno;
  close(descriptor);
  errno = error;
  return -1;
}

}  // namespace

std::unique_ptr<SealedMemory> SealedMemory::create(const char* what, std::size_t bytes,
                                                   std::string& error) {
  std::unique_ptr<SealedMemory> memory(new SealedMemory);
  memory->size_ = bytes;
  memory->descriptor_ = open_sealed(bytes);
  if (memory->descriptor_ < 0) {
    error = std::string("cannot create ") + what + ": " + error_text(errno);
    return nullptr;
  }
  void* mapped = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED, memory->descriptor_, 0);
  if (mapped == MAP_FAILED) {
    error = std::string("cannot map ") + what + ": " + error_text(errno);
    return nullptr;
  }
  memory->bytes_ = mapped;
  return memory;
}

SealedMemory::~SealedMemory() {
  if (bytes_ != nullptr) munmap(bytes_, size_);
  if (descriptor_ >= 0) close(descriptor_);
}

}  // namespace vesk::client
