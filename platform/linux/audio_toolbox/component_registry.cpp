#include "platform/linux/audio_toolbox/component_registry.hpp"

#include <AudioToolbox/AUComponent.h>

#include <algorithm>
#include <utility>

#include "platform/linux/audio_toolbox/diagnostics.hpp"

namespace vesk::platform {
namespace {

constexpr OSType lv2_manufacturer = 0x4c56325f;  // 'LV2_'

}  // namespace

ComponentRegistry& ComponentRegistry::instance() {
  static auto* const registry = new ComponentRegistry;
  return *registry;
}

ComponentRegistry::ComponentRegistry()
    : lv2_("lv2.so", {0, 0, lv2_manufacturer, 0, 0}),
      sampler_("sampler.so", {kAudioUnitType_MusicDevice, kAudioUnitSubType_Sampler,
                              kAudioUnitManufacturer_Apple, 0, 0}) {}

OpaqueAudioComponent* ComponentRegistry::next_registered(std::size_t index,
                                                         const AudioComponentDescription& wanted) {
  for (; index < registered_.size(); ++index)
    if (matches(wanted, *registered_[index])) return registered_[index].get();
  return nullptr;
}

OpaqueAudioComponent* ComponentRegistry::next_in_bundles(std::size_t index,
                                                         const AudioComponentDescription& wanted) {
  for (;; ++index) {
    if (index == in_bundles_.size() && !bundles_.read_next(in_bundles_)) return nullptr;
    if (matches(wanted, *in_bundles_[index])) return in_bundles_[index].get();
  }
}

OpaqueAudioComponent* ComponentRegistry::next_provided(OpaqueAudioComponent* previous,
                                                       const AudioComponentDescription& wanted) {
  for (ProviderModule* module : {&lv2_, &sampler_}) {
    const auto found = module->find(wanted);
    if (!previous) {
      if (!found.empty()) return found.front();
      continue;
    }
    const auto here = std::find(found.begin(), found.end(), previous);
    if (here == found.end()) continue;
    if (here + 1 != found.end()) return *(here + 1);
    previous = nullptr;
  }
  return nullptr;
}

OpaqueAudioComponent* ComponentRegistry::next(OpaqueAudioComponent* previous,
                                              const AudioComponentDescription& wanted) {
  const auto origin = previous ? previous->origin : ComponentOrigin::registered;
  if (origin == ComponentOrigin::registered) {
    const std::size_t start = previous ? previous->position + 1 : 0;
    if (auto* component = next_registered(start, wanted)) return component;
  }
  if (origin != ComponentOrigin::provider) {
    const bool inside = origin == ComponentOrigin::bundle;
    if (auto* component = next_in_bundles(inside ? previous->position + 1 : 0, wanted))
      return component;
  }
  return next_provided(origin == ComponentOrigin::provider ? previous : nullptr, wanted);
}

OpaqueAudioComponent* ComponentRegistry::find_next(OpaqueAudioComponent* previous,
                                                   const AudioComponentDescription& wanted) {
  std::vector<std::string> complaints;
  OpaqueAudioComponent* found = nullptr;
  {
    const std::lock_guard lock(mutex_);
    found = next(previous, wanted);
    // A search that found what it wants has no quarrel with the bundles that it passed.
    if (!found) complaints = bundles_.take_complaints();
  }
  for (const std::string& complaint : complaints) print_line(complaint);
  return found;
}

OpaqueAudioComponent* ComponentRegistry::add(const AudioComponentDescription& description,
                                             std::string name, UInt32 version,
                                             AudioComponentFactoryFunction factory) {
  auto component = std::make_unique<OpaqueAudioComponent>();
  component->description = description;
  component->description.componentFlagsMask = 0;
  component->name = std::move(name);
  component->version = version;
  component->factory.store(factory, std::memory_order_release);
  const std::lock_guard lock(mutex_);
  component->position = registered_.size();
  registered_.push_back(std::move(component));
  return registered_.back().get();
}

}  // namespace vesk::platform
