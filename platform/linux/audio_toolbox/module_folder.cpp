#include "platform/linux/audio_toolbox/module_folder.hpp"

#include <unistd.h>

#include <climits>
#include <cstdlib>

namespace vesk::platform {

std::string module_folder() {
  if (const char* folder = std::getenv("VESK_MODULE_PATH"); folder && *folder) return folder;
  char path[PATH_MAX];
  const ssize_t length = readlink("/proc/self/exe", path, sizeof path);
  if (length <= 0) return "/usr/lib/vesk";
  const std::string executable(path, static_cast<std::size_t>(length));
  return executable.substr(0, executable.rfind('/')) + "/../lib/vesk";
}

}  // namespace vesk::platform
