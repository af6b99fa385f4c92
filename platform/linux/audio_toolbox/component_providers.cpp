#include "platform/linux/audio_toolbox/component_providers.hpp"

#include <dlfcn.h>
#include <unistd.h>

#include <utility>

#include "platform/linux/audio_toolbox/diagnostics.hpp"
#include "platform/linux/audio_toolbox/module_folder.hpp"

namespace vesk::platform {

ProviderModule::ProviderModule(std::string file_name, AudioComponentDescription offers)
    : file_name_(std::move(file_name)), offers_(offers) {}

bool ProviderModule::may_have(const AudioComponentDescription& wanted) const {
  const auto can_meet = [](OSType want, OSType offer) {
    return want == 0 || offer == 0 || want == offer;
  };
  return can_meet(wanted.componentType, offers_.componentType) &&
         can_meet(wanted.componentSubType, offers_.componentSubType) &&
         can_meet(wanted.componentManufacturer, offers_.componentManufacturer);
}

void ProviderModule::open() {
  opened_ = true;
  const std::string path = module_folder() + "/" + file_name_;
  if (access(path.c_str(), F_OK) != 0) return;
  void* module = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (!module) {
    const char* reason = dlerror();
    print_line("module " + path + " cannot be loaded: " + (reason ? reason : "unknown error"));
    return;
  }
  const auto function =
      reinterpret_cast<VeskComponentProviderFunction>(dlsym(module, "vesk_component_provider"));
  if (function) provider_ = function();
  if (!provider_) print_line("module " + path + " provides no components");
}

std::vector<OpaqueAudioComponent*> ProviderModule::enumerate(
    const AudioComponentDescription& wanted) {
  struct Visit {
    ProviderModule& module;
    std::vector<OpaqueAudioComponent*> found;
  } visit{*this, {}};
  provider_->enumerate(
      &wanted,
      [](void* context, const VeskProvidedComponent* provided) {
        auto& [module, found] = *static_cast<Visit*>(context);
        auto& component = module.components_[provided->identity];
        if (!component) {
          component = std::make_unique<OpaqueAudioComponent>();
          component->description = provided->description;
          component->name = provided->name;
          component->version = provided->version;
          component->origin = ComponentOrigin::provider;
          component->provider = module.provider_;
          component->identity = provided->identity;
        }
        found.push_back(component.get());
      },
      &visit);
  return std::move(visit.found);
}

std::vector<OpaqueAudioComponent*> ProviderModule::find(const AudioComponentDescription& wanted) {
  if (!may_have(wanted)) return {};
  if (!opened_) open();
  if (!provider_) return {};
  if (names_one_component(wanted) && !read_all_) return enumerate(wanted);
  if (!read_all_) {
    read_all_ = true;
    all_ = enumerate({});
  }
  std::vector<OpaqueAudioComponent*> found;
  for (OpaqueAudioComponent* component : all_)
    if (matches(wanted, *component)) found.push_back(component);
  return found;
}

}  // namespace vesk::platform
