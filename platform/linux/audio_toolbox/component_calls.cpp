#include <AudioToolbox/AudioComponent.h>

#include <string>

#include "platform/linux/audio_toolbox/component_registry.hpp"
#include "platform/linux/core_foundation/text_of.hpp"

using vesk::platform::ComponentRegistry;

AudioComponent AudioComponentFindNext(AudioComponent previous,
                                      const AudioComponentDescription* wanted) {
  return wanted ? ComponentRegistry::instance().find_next(previous, *wanted) : nullptr;
}

OSStatus AudioComponentCopyName(AudioComponent component, CFStringRef* name) {
  if (!component || !name) return kAudio_ParamError;
  *name = CFStringCreateWithCString(kCFAllocatorDefault, component->name.c_str(),
                                    kCFStringEncodingUTF8);
  return *name ? static_cast<OSStatus>(noErr) : kAudio_MemFullError;
}

OSStatus AudioComponentGetDescription(AudioComponent component,
                                      AudioComponentDescription* description) {
  if (!component || !description) return kAudio_ParamError;
  *description = component->description;
  return noErr;
}

OSStatus AudioComponentGetVersion(AudioComponent component, UInt32* version) {
  if (!component || !version) return kAudio_ParamError;
  *version = component->version;
  return noErr;
}

AudioComponent AudioComponentRegister(const AudioComponentDescription* description,
                                      CFStringRef name, UInt32 version,
                                      AudioComponentFactoryFunction factory) {
  if (!description || !factory || !vesk::platform::names_one_component(*description))
    return nullptr;
  return ComponentRegistry::instance().add(*description, vesk::platform::text_of(name), version,
                                           factory);
}
