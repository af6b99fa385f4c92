#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <string>

/// What libFuzzer calls with one input after the other.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace vesk::fuzz {

/// Something that holds whatever the input is. Else the run ends, and the input is kept.
inline void expect(bool holds) {
  if (!holds) __builtin_trap();
}

/// The input as a file, for this process alone.
class InputFile {
 public:
  InputFile(const std::uint8_t* data, std::size_t size)
      : descriptor_(memfd_create("input", MFD_CLOEXEC)) {
    expect(write(descriptor_, data, size) == static_cast<ssize_t>(size));
  }
  ~InputFile() { close(descriptor_); }
  InputFile(const InputFile&) = delete;
  InputFile& operator=(const InputFile&) = delete;
  std::string path() const { return "/proc/self/fd/" + std::to_string(descriptor_); }

 private:
  int descriptor_;
};

}  // namespace vesk::fuzz
