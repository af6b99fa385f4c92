#pragma once

#include <AudioToolbox/AudioComponent.h>

#include <string>
#include <vector>

#include "spec/four_cc.hpp"

namespace vesk {

/// One installed component, as the platform describes it.
struct ComponentInfo {
  AudioComponentDescription desc{};  ///< component flags included
  std::string name;                  ///< UTF-8; empty when there is none or it has over 511 bytes
  bool is_v3 = false;                ///< an extension-based (version 3) component
  bool sandbox_safe = false;
};

/// Lists the installed instruments ('aumu') in the platform's order, unfiltered. May read the
/// descriptions of everything installed; not for a real-time thread.
std::vector<ComponentInfo> list_instruments();

/// The same for every component that matches `wanted`, in which 0 stands for any code.
std::vector<ComponentInfo> list_components(const AudioComponentDescription& wanted);

}  // namespace vesk
