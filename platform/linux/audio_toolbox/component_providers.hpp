#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/linux/audio_toolbox/component.hpp"

namespace vesk::platform {

/// A module that presents plugins of another kind as components, opened by the first search that
/// its components can match. One caller at a time.
class ProviderModule {
 public:
  /// `offers` names what the module has: a code that is 0 there can be anything.
  ProviderModule(std::string file_name, AudioComponentDescription offers);

  /// The module's components for `wanted`, in the module's order. The first search by wildcard
  /// reads all of them and settles the order; one for all three codes reads one entry.
  std::vector<OpaqueAudioComponent*> find(const AudioComponentDescription& wanted);

 private:
  bool may_have(const AudioComponentDescription& wanted) const;
  void open();
  std::vector<OpaqueAudioComponent*> enumerate(const AudioComponentDescription& wanted);

  const std::string file_name_;
  const AudioComponentDescription offers_;
  bool opened_ = false;
  const VeskComponentProvider* provider_ = nullptr;
  std::map<std::string, std::unique_ptr<OpaqueAudioComponent>> components_;  // by identity
  bool read_all_ = false;
  std::vector<OpaqueAudioComponent*> all_;
};

}  // namespace vesk::platform
