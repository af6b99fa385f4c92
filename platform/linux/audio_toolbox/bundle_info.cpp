#include "platform/linux/core_foundation/bundle_info.hpp"

#include <optional>

#include "platform/linux/audio_toolbox/component_bundles.hpp"
#include "platform/linux/core_foundation/object.hpp"
#include "platform/linux/core_foundation/text_of.hpp"

namespace vesk::platform {
namespace {

/// The text of a value that is a string; empty for any other.
std::string string_of(CFTypeRef value) {
  const bool is_string = value && CFGetTypeID(value) == CFStringGetTypeID();
  return is_string ? text_of(static_cast<CFStringRef>(value)) : std::string();
}

std::optional<UInt32> number_of(CFTypeRef value) {
  SInt64 number = 0;
  if (!value || CFGetTypeID(value) != CFNumberGetTypeID() ||
      !CFNumberGetValue(static_cast<CFNumberRef>(value), kCFNumberSInt64Type, &number)) {
    return std::nullopt;
  }
  // Codes are also written as signed numbers.
  return static_cast<UInt32>(number);
}

/// A four-character code, written as text or as a number.
std::optional<OSType> code_of(CFTypeRef value) {
  if (const auto number = number_of(value)) return *number == 0 ? std::nullopt : number;
  const std::string text = string_of(value);
  if (text.size() != 4) return std::nullopt;
  OSType code = 0;
  for (const char character : text) {
    if (static_cast<unsigned char>(character) > 0x7F) return std::nullopt;
    code = code << 8 | static_cast<unsigned char>(character);
  }
  return code;
}

bool is_true(CFTypeRef value) {
  return value && CFGetTypeID(value) == CFBooleanGetTypeID() &&
         CFBooleanGetValue(static_cast<CFBooleanRef>(value));
}

/// One entry of AudioComponents, or NULL with `problem` set.
std::unique_ptr<OpaqueAudioComponent> component_of(CFTypeRef entry, const std::string& library,
                                                   std::string& problem) {
  if (!entry || CFGetTypeID(entry) != CFDictionaryGetTypeID()) {
    problem = "is no dictionary";
    return nullptr;
  }
  const auto dictionary = static_cast<CFDictionaryRef>(entry);
  const auto value = [&](const char* key) -> CFTypeRef {
    const cf::Owner<CFStringRef> name(
        CFStringCreateWithCString(kCFAllocatorDefault, key, kCFStringEncodingUTF8));
    return CFDictionaryGetValue(dictionary, name.get());
  };
  const auto type = code_of(value("type"));
  const auto subtype = code_of(value("subtype"));
  const auto manufacturer = code_of(value("manufacturer"));
  if (!type || !subtype || !manufacturer) {
    problem =
        std::string("has no code of four ASCII characters for ") + (!type      ? "type"
                                                                    : !subtype ? "subtype"
                                                                               : "manufacturer");
    return nullptr;
  }
  auto component = std::make_unique<OpaqueAudioComponent>();
  component->factory_function = string_of(value("factoryFunction"));
  if (component->factory_function.empty()) {
    problem = "has no factoryFunction";
    return nullptr;
  }
  component->name = string_of(value("name"));
  if (component->name.empty()) {
    problem = "has no name";
    return nullptr;
  }
  component->version = number_of(value("version")).value_or(0);
  UInt32 flags = kAudioComponentFlag_CanLoadInProcess;
  if (is_true(value("sandboxSafe"))) flags |= kAudioComponentFlag_SandboxSafe;
  if (is_true(value("requiresAsyncInstantiation")))
    flags |= kAudioComponentFlag_RequiresAsyncInstantiation;
  component->description = {*type, *subtype, *manufacturer, flags, 0};
  component->origin = ComponentOrigin::bundle;
  component->library = library;
  return component;
}

}  // namespace

std::vector<std::unique_ptr<OpaqueAudioComponent>> read_bundle(
    const std::string& bundle, std::vector<std::string>& complaints) {
  std::vector<std::unique_ptr<OpaqueAudioComponent>> components;
  const auto complain = [&](const std::string& what) {
    complaints.push_back("component bundle " + bundle + ": " + what);
  };

  std::string problem;
  const cf::Owner<CFDictionaryRef> info(copy_bundle_info(bundle, problem));
  if (!info.get()) {
    complain("Resources/Info-gnustep.plist: " + problem);
    return components;
  }
  const std::string executable = string_of(CFDictionaryGetValue(info.get(), CFSTR("NSExecutable")));
  if (executable.empty() || executable.find('/') != std::string::npos) {
    complain("NSExecutable is no file name");
    return components;
  }
  const CFTypeRef entries = CFDictionaryGetValue(info.get(), CFSTR("AudioComponents"));
  if (!entries || CFGetTypeID(entries) != CFArrayGetTypeID()) {
    complain("AudioComponents is no array");
    return components;
  }
  const auto array = static_cast<CFArrayRef>(entries);
  const std::string program = bundle + "/" + executable;
  for (CFIndex i = 0; i < CFArrayGetCount(array); ++i) {
    auto component = component_of(CFArrayGetValueAtIndex(array, i), program, problem);
    if (component)
      components.push_back(std::move(component));
    else
      complain("entry " + std::to_string(i) + " of AudioComponents " + problem);
  }
  return components;
}

}  // namespace vesk::platform
