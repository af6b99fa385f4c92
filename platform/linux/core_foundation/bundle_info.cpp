#include "platform/linux/core_foundation/bundle_info.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string_view>
#include <vector>

#include "platform/linux/core_foundation/object.hpp"
#include "platform/linux/core_foundation/text_of.hpp"

namespace vesk::platform {
namespace {

/// An Info-gnustep.plist has some kilobytes; what is far larger is something else.
constexpr off_t largest_info = 1 << 20;

/// The file as data (+1), or null with `problem` set.
CFDataRef copy_file(const std::string& path, std::string& problem) {
  // Non-blocking: a pipe in the file's place would be waited for, under the registry's lock.
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (file < 0) {
    problem = std::strerror(errno);
    return nullptr;
  }
  struct stat status{};
  std::vector<UInt8> bytes;
  if (fstat(file, &status) != 0 || !S_ISREG(status.st_mode) || status.st_size > largest_info) {
    problem = "no file of at most 1 MiB";
  } else {
    bytes.resize(static_cast<std::size_t>(status.st_size));
    const ssize_t count = read(file, bytes.data(), bytes.size());
    if (count < 0) problem = std::strerror(errno);
    bytes.resize(count < 0 ? 0 : static_cast<std::size_t>(count));
  }
  close(file);
  if (!problem.empty()) return nullptr;
  return CFDataCreate(nullptr, bytes.data(), static_cast<CFIndex>(bytes.size()));
}

}  // namespace

CFDictionaryRef copy_bundle_info(const std::string& bundle, std::string& problem) {
  problem.clear();
  const cf::Owner<CFDataRef> data(copy_file(bundle + "/Resources/Info-gnustep.plist", problem));
  if (!data.get()) return nullptr;
  const std::string_view bytes(reinterpret_cast<const char*>(CFDataGetBytePtr(data.get())),
                               static_cast<std::size_t>(CFDataGetLength(data.get())));
  if (bytes.starts_with("bplist")) {
    problem = "a binary property list, where the XML form is wanted";
    return nullptr;
  }
  CFErrorRef error = nullptr;
  CFPropertyListRef list =
      CFPropertyListCreateWithData(nullptr, data.get(), kCFPropertyListImmutable, nullptr, &error);
  if (error) {
    problem = take_text(CFErrorCopyDescription(error));
    CFRelease(error);
  }
  if (!list) return nullptr;
  if (CFGetTypeID(list) != CFDictionaryGetTypeID()) {
    problem = "no dictionary";
    CFRelease(list);
    return nullptr;
  }
  return static_cast<CFDictionaryRef>(list);
}

}  // namespace vesk::platform
