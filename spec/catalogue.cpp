#include "spec/catalogue.hpp"

#include <CoreFoundation/CoreFoundation.h>

namespace vesk {
namespace {

std::string name_of(AudioComponent component) {
  CFStringRef name = nullptr;
  if (AudioComponentCopyName(component, &name) != noErr || name == nullptr) return {};
  char text[512];
  const bool converted = CFStringGetCString(name, text, sizeof text, kCFStringEncodingUTF8);
  CFRelease(name);
  return converted ? text : std::string();
}

ComponentInfo describe(AudioComponent component) {
  ComponentInfo info;
  AudioComponentGetDescription(component, &info.desc);
  info.name = name_of(component);
  info.is_v3 = (info.desc.componentFlags & kAudioComponentFlag_IsV3AudioUnit) != 0;
  info.sandbox_safe = (info.desc.componentFlags & kAudioComponentFlag_SandboxSafe) != 0;
  return info;
}

}  // namespace

std::vector<ComponentInfo> list_components(const AudioComponentDescription& wanted) {
  std::vector<ComponentInfo> found;
  AudioComponent component = nullptr;
  while ((component = AudioComponentFindNext(component, &wanted)) != nullptr)
    found.push_back(describe(component));
  return found;
}

std::vector<ComponentInfo> list_instruments() {
  AudioComponentDescription wanted{};
  wanted.componentType = pack_four_cc("aumu");
  return list_components(wanted);
}

}  // namespace vesk
