#pragma once

// A toolkit's library, opened at run time.

#include <dlfcn.h>

#include <string>

namespace vesk::lv2 {

/// Never closed.
class ToolkitLibrary {
 public:
  /// False, with the loader's words in `error`, when it is not installed. Its names are global from
  /// then on, since interfaces leave it to their host to have it.
  bool open(const char* name, std::string& error) {
    image_ = dlopen(name, RTLD_NOW | RTLD_GLOBAL);
    if (image_ == nullptr) error = dlerror();  // NOLINT(concurrency-mt-unsafe): the only thread
    return image_ != nullptr;
  }
  /// Looks `function` up. False with a sentence in `error`.
  template <typename Function>
  bool find(Function*& function, const char* name, std::string& error) const {
    function = reinterpret_cast<Function*>(dlsym(image_, name));
    if (function == nullptr) error = std::string("its toolkit lacks ") + name;
    return function != nullptr;
  }

 private:
  void* image_ = nullptr;
};

}  // namespace vesk::lv2
