#include "components/lv2/catalogue/file.hpp"

#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace vesk::lv2 {

File::~File() {
  close();
}

File::File(File&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}

File& File::operator=(File&& other) noexcept {
  std::swap(descriptor_, other.descriptor_);
  return *this;
}

File File::in_memory() {
  return File(::memfd_create("vesk-lv2", MFD_CLOEXEC));
}

File File::of_process(int process_id) {
  // The C library's function has no C++ declaration before its version 2.37.
  return File(static_cast<int>(::syscall(SYS_pidfd_open, process_id, 0)));
}

std::uint64_t File::size() const {
  struct stat status{};
  return ::fstat(descriptor_, &status) == 0 ? static_cast<std::uint64_t>(status.st_size) : 0;
}

std::optional<Bytes> File::read(std::uint64_t offset, std::size_t size) const {
  const std::uint64_t all = this->size();
  if (offset > all || size > all - offset) return {};
  Bytes bytes(size);
  for (std::size_t done = 0; done < size;) {
    const ssize_t got =
        ::pread(descriptor_, bytes.data() + done, size - done, static_cast<off_t>(offset + done));
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return {};
    done += static_cast<std::size_t>(got);
  }
  return bytes;
}

Bytes File::read_all() const {
  return read(0, size()).value_or(Bytes());
}

bool File::close() {
  const int descriptor = std::exchange(descriptor_, -1);
  return descriptor < 0 || ::close(descriptor) == 0;
}

bool write_all(int descriptor, std::span<const std::byte> bytes) {
  while (!bytes.empty()) {
    const ssize_t done = ::write(descriptor, bytes.data(), bytes.size());
    if (done < 0 && errno == EINTR) continue;
    if (done <= 0) return false;
    bytes = bytes.subspan(static_cast<std::size_t>(done));
  }
  return true;
}

}  // namespace vesk::lv2
