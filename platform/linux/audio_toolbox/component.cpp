#include "platform/linux/audio_toolbox/component.hpp"

#include <dlfcn.h>
#include <sys/stat.h>

#include "platform/linux/audio_toolbox/diagnostics.hpp"

namespace vesk::platform {
namespace {

constexpr OSStatus factory_missing = -1;
constexpr OSStatus invalid_component = -3000;

std::string loader_error() {
  const char* text = dlerror();
  return text ? text : "unknown error";
}

AudioComponentFactoryFunction load_factory(const OpaqueAudioComponent& component,
                                           OSStatus& status) {
  // A pipe in its place would be waited for.
  struct stat file{};
  if (stat(component.library.c_str(), &file) == 0 && !S_ISREG(file.st_mode)) {
    status = invalid_component;
    print_line("component " + component.name + " cannot be loaded: " + component.library +
               " is no file");
    return nullptr;
  }
  // All symbols now: one that is missing must fail here and not in the middle of a render.
  void* library = dlopen(component.library.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (!library) {
    status = invalid_component;
    // The loader names the file.
    print_line("component " + component.name + " cannot be loaded: " + loader_error());
    return nullptr;
  }
  void* symbol = dlsym(library, component.factory_function.c_str());
  if (!symbol) {
    status = factory_missing;
    print_line("component " + component.library + " has no function " + component.factory_function);
  }
  return reinterpret_cast<AudioComponentFactoryFunction>(symbol);
}

/// Entry macros of unit libraries export the factory as returning `void *`.
__attribute__((no_sanitize("function"))) AudioComponentPlugInInterface* call_factory(
    AudioComponentFactoryFunction factory, const AudioComponentDescription& description) {
  return factory(&description);
}

}  // namespace

bool names_one_component(const AudioComponentDescription& wanted) {
  return wanted.componentType && wanted.componentSubType && wanted.componentManufacturer;
}

bool matches(const AudioComponentDescription& wanted, const OpaqueAudioComponent& component) {
  const AudioComponentDescription& has = component.description;
  const auto fits = [](OSType want, OSType code) { return want == 0 || want == code; };
  if (!fits(wanted.componentType, has.componentType) ||
      !fits(wanted.componentSubType, has.componentSubType) ||
      !fits(wanted.componentManufacturer, has.componentManufacturer)) {
    return false;
  }
  if ((has.componentFlags & kAudioComponentFlag_Unsearchable) && !names_one_component(wanted))
    return false;
  return (has.componentFlags & wanted.componentFlagsMask) ==
         (wanted.componentFlags & wanted.componentFlagsMask);
}

AudioComponentPlugInInterface* make_interface(OpaqueAudioComponent& component, OSStatus& status) {
  status = noErr;
  AudioComponentPlugInInterface* interface = nullptr;
  if (component.provider) {
    interface = component.provider->create(component.identity.c_str(), &status);
    if (!interface && status == noErr) status = invalid_component;
  } else {
    AudioComponentFactoryFunction factory = component.factory.load(std::memory_order_acquire);
    if (!factory) {
      factory = load_factory(component, status);
      if (!factory) return nullptr;
      component.factory.store(factory, std::memory_order_release);
    }
    interface = call_factory(factory, component.description);
    if (!interface) {
      status = invalid_component;
      print_line("the factory of component " + component.name + " made no interface");
    }
  }
  if (interface && (!interface->Open || !interface->Close || !interface->Lookup)) {
    status = invalid_component;
    print_line("component " + component.name + " has no Open, Close or Lookup");
    return nullptr;
  }
  return interface;
}

}  // namespace vesk::platform
