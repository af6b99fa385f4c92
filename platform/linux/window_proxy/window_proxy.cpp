#include "windows/windows.hpp"

#include <CoreFoundation/CoreFoundation.h>

#include <utility>

namespace vesk::host {

struct Windows::Impl {
  std::function<void(unsigned)> on_close;
};

Windows::Windows(std::function<void(unsigned)> on_close)
    : impl_(std::make_shared<Impl>(std::move(on_close))) {}

Windows::~Windows() = default;

bool Windows::open(unsigned, ComponentInstanceRecord*, const std::string&) {
  return false;
}

void Windows::close_all() {}

std::uint32_t Windows::open_mask() const {
  return 0;
}

void Windows::pump(double seconds) {
  CFRunLoopRunInMode(kCFRunLoopDefaultMode, seconds, false);
}

}  // namespace vesk::host
