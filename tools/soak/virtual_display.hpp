#pragma once

#include <sys/types.h>

#include <memory>
#include <string>

namespace vesk::tools {

/// An X server without a screen, for as long as this lives.
class VirtualDisplay {
 public:
  /// Null where there is no Xvfb, or it does not come up.
  static std::unique_ptr<VirtualDisplay> start();
  ~VirtualDisplay();
  VirtualDisplay(const VirtualDisplay&) = delete;
  VirtualDisplay& operator=(const VirtualDisplay&) = delete;

  /// As DISPLAY has it.
  const std::string& name() const { return name_; }

 private:
  VirtualDisplay(pid_t server, std::string name);

  pid_t server_;
  std::string name_;
};

}  // namespace vesk::tools
