#pragma once

#include <AudioToolbox/AudioComponent.h>
#include <vesk/component_provider.h>

#include <atomic>
#include <cstddef>
#include <string>

namespace vesk::platform {

/// Where a component comes from, in the order of enumeration.
enum class ComponentOrigin { registered, bundle, provider };

}  // namespace vesk::platform

/// One component of the registry. Made under the registry's lock, unchanged afterwards but for
/// `factory`, never freed.
struct OpaqueAudioComponent {
  AudioComponentDescription description{};  // mask 0
  std::string name;                         // UTF-8
  UInt32 version = 0;

  vesk::platform::ComponentOrigin origin = vesk::platform::ComponentOrigin::registered;
  std::size_t position = 0;  // within its origin's list; not used for providers

  /// Given at registration, or found in the bundle's code when it is first wanted.
  std::atomic<AudioComponentFactoryFunction> factory{nullptr};
  std::string library;           // a bundle's shared object
  std::string factory_function;  // and the symbol in it

  const VeskComponentProvider* provider = nullptr;
  std::string identity;  // what the provider knows it by
};

namespace vesk::platform {

/// Whether `component` is what a search for `wanted` looks for.
bool matches(const AudioComponentDescription& wanted, const OpaqueAudioComponent& component);

/// Whether all three codes of a search are given.
bool names_one_component(const AudioComponentDescription& wanted);

/// The interface block of a new instance, its code loaded if need be. NULL with `status` set, and
/// one line on standard error, when it cannot be had. Not for the render thread.
AudioComponentPlugInInterface* make_interface(OpaqueAudioComponent& component, OSStatus& status);

}  // namespace vesk::platform
