#pragma once

#include <memory>
#include <mutex>
#include <vector>

#include "platform/linux/audio_toolbox/component.hpp"
#include "platform/linux/audio_toolbox/component_bundles.hpp"
#include "platform/linux/audio_toolbox/component_providers.hpp"

namespace vesk::platform {

/// All components this process can use, in the order in which a search meets them: registered in
/// the process, bundles on disk, plugins of other kinds. Any thread; takes a lock.
class ComponentRegistry {
 public:
  /// The process's registry. Lives to the end of the process, past the destructors of statics.
  static ComponentRegistry& instance();

  /// The component after `previous` (NULL: the first) that matches, or NULL.
  ///
  /// A search that comes to its end without having met what it wants, and every search through
  /// the whole list, also prints what was wrong with bundles on its way.
  OpaqueAudioComponent* find_next(OpaqueAudioComponent* previous,
                                  const AudioComponentDescription& wanted);

  OpaqueAudioComponent* add(const AudioComponentDescription& description, std::string name,
                            UInt32 version, AudioComponentFactoryFunction factory);

 private:
  ComponentRegistry();

  OpaqueAudioComponent* next_registered(std::size_t index, const AudioComponentDescription& wanted);
  OpaqueAudioComponent* next_in_bundles(std::size_t index, const AudioComponentDescription& wanted);
  OpaqueAudioComponent* next_provided(OpaqueAudioComponent* previous,
                                      const AudioComponentDescription& wanted);
  OpaqueAudioComponent* next(OpaqueAudioComponent* previous,
                             const AudioComponentDescription& wanted);

  std::mutex mutex_;
  std::vector<std::unique_ptr<OpaqueAudioComponent>> registered_;
  std::vector<std::unique_ptr<OpaqueAudioComponent>> in_bundles_;
  ComponentBundles bundles_;
  ProviderModule lv2_;
  ProviderModule sampler_;
};

}  // namespace vesk::platform
