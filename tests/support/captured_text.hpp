#pragma once

#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <string>

namespace vesk::tests {

/// What processes write to a descriptor: a file without a name, which never makes them wait.
class CapturedText {
 public:
  CapturedText() : descriptor_(memfd_create("captured text", MFD_CLOEXEC)) {}
  ~CapturedText() { close(descriptor_); }
  CapturedText(const CapturedText&) = delete;
  CapturedText& operator=(const CapturedText&) = delete;

  int descriptor() const { return descriptor_; }
  /// All of it so far, from the beginning; where it goes on is in the same open file.
  std::string text() const {
    struct stat status{};
    fstat(descriptor_, &status);
    std::string text(static_cast<std::size_t>(status.st_size), '\0');
    const ssize_t bytes = pread(descriptor_, text.data(), text.size(), 0);
    text.resize(static_cast<std::size_t>(std::max(bytes, ssize_t{0})));
    return text;
  }

 private:
  int descriptor_;
};

}  // namespace vesk::tests
