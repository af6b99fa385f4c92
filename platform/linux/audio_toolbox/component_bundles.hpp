#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "platform/linux/audio_toolbox/component.hpp"

namespace vesk::platform {

/// Reads the component folders, one bundle at a time, so that a search pays for no more bundles
/// than it has to pass.
///
/// The folders: those of `$AUDIO_COMPONENT_PATH`, ~/.local/lib/audio-components,
/// /usr/local/lib/audio-components, /usr/lib/audio-components, and components in the module
/// folder; in each the `*.component` folders by name. One caller at a time.
class ComponentBundles {
 public:
  ComponentBundles();

  /// Adds the components of the next bundle that has any. False when there are no more bundles.
  bool read_next(std::vector<std::unique_ptr<OpaqueAudioComponent>>& components);

  /// What was wrong with bundles so far, each complaint handed out once.
  std::vector<std::string> take_complaints();

 private:
  bool enter_next_folder();

  std::vector<std::string> folders_;
  std::size_t next_folder_ = 0;
  bool knows_own_folder_ = false;
  std::vector<std::string> bundles_;  // paths, of the present folder
  std::size_t next_bundle_ = 0;
  std::vector<std::string> complaints_;
};

/// The components that a bundle's Info-gnustep.plist declares. What is wrong with it, or with
/// single entries (which are left out), is added to `complaints`.
std::vector<std::unique_ptr<OpaqueAudioComponent>> read_bundle(
    const std::string& bundle, std::vector<std::string>& complaints);

}  // namespace vesk::platform
