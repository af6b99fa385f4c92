#include "components/lv2/catalogue/shared_object.hpp"

#include <dlfcn.h>
#include <sys/stat.h>

namespace vesk::lv2 {
namespace {

std::string loader_error() {
  // The loader keeps one message a thread.
  const char* reason = dlerror();
  return reason != nullptr ? reason : "unknown reason";
}

}  // namespace

void* open_shared_object(const std::string& path, std::string& error) {
  // A pipe in its place would be waited for.
  struct stat file{};
  if (stat(path.c_str(), &file) == 0 && !S_ISREG(file.st_mode)) {
    error = path + " is no file";
    return nullptr;
  }
  void* object = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
  if (object != nullptr) return object;
  error = loader_error();
  // Some libraries use FFTW without naming it as a dependency; they run once it is there.
  if (error.find("undefined symbol: fftwf_") == std::string::npos ||
      dlopen("libfftw3f.so.3", RTLD_NOW | RTLD_GLOBAL | RTLD_NODELETE) == nullptr) {
    return nullptr;
  }
  object = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
  if (object == nullptr) error = loader_error();
  return object;
}

}  // namespace vesk::lv2
