#pragma once

#include <AudioToolbox/AudioToolbox.h>
#include <CoreFoundation/CoreFoundation.h>

#include <string>
#include <vector>

#include "platform/cf_text.hpp"

// What units around LV2 plugins tell beside the SDK's properties. No other unit has these, and the
// readers below then answer with nothing. Main thread.

namespace vesk::platform {

/// Global scope: a UInt8 for each factory preset, not 0 for one that the user has made.
inline constexpr AudioUnitPropertyID user_presets_property = 64'101;

/// Global scope: the files that the plugin is told of by name (samples, impulse responses). Reading
/// gives a CFArrayRef, +1, of dictionaries with the three keys below, all strings, without a path
/// where the plugin has none. Written is a dictionary with key and path; the plugin has read the
/// file when the call returns. kAudioUnitErr_InvalidFile: it does not take it.
inline constexpr AudioUnitPropertyID files_property = 64'102;
inline constexpr const char* file_key = "key";
inline constexpr const char* file_label = "label";
inline constexpr const char* file_path = "path";

/// A file that a unit is told of.
struct UnitFile {
  std::string key;    ///< a URI
  std::string label;  ///< for people
  std::string path;   ///< empty: none
};

namespace detail {

inline CFStringRef copy_string(const std::string& text) {
  return CFStringCreateWithCString(nullptr, text.c_str(), kCFStringEncodingUTF8);
}

inline std::string text_in(CFDictionaryRef dictionary, const char* key) {
  const CFStringRef name = copy_string(key);
  const void* value = CFDictionaryGetValue(dictionary, name);
  CFRelease(name);
  return text_of(static_cast<CFStringRef>(value));
}

}  // namespace detail

inline std::vector<UnitFile> read_files(AudioUnit unit) {
  CFArrayRef list = nullptr;
  UInt32 size = sizeof list;
  std::vector<UnitFile> files;
  if (AudioUnitGetProperty(unit, files_property, kAudioUnitScope_Global, 0,
                           static_cast<void*>(&list), &size) != noErr ||
      list == nullptr)
    return files;
  for (CFIndex i = 0; i < CFArrayGetCount(list); ++i) {
    const auto entry = static_cast<CFDictionaryRef>(CFArrayGetValueAtIndex(list, i));
    files.push_back({detail::text_in(entry, file_key), detail::text_in(entry, file_label),
                     detail::text_in(entry, file_path)});
  }
  CFRelease(list);
  return files;
}

/// Tells the unit that the file `key` is at `path`, which should be absolute.
inline OSStatus set_file(AudioUnit unit, const std::string& key, const std::string& path) {
  const CFStringRef names[] = {detail::copy_string(file_key), detail::copy_string(file_path)};
  const CFStringRef texts[] = {detail::copy_string(key), detail::copy_string(path)};
  CFDictionaryRef wanted = nullptr;
  // A path that is no UTF-8 has no text.
  if (texts[0] != nullptr && texts[1] != nullptr)
    wanted =
        CFDictionaryCreate(nullptr, reinterpret_cast<const void**>(const_cast<CFStringRef*>(names)),
                           reinterpret_cast<const void**>(const_cast<CFStringRef*>(texts)), 2,
                           &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
  const OSStatus status =
      wanted == nullptr ? OSStatus{kAudioUnitErr_InvalidPropertyValue}
                        : AudioUnitSetProperty(unit, files_property, kAudioUnitScope_Global, 0,
                                               static_cast<const void*>(&wanted), sizeof wanted);
  for (const CFStringRef text : {names[0], names[1], texts[0], texts[1]})
    if (text != nullptr) CFRelease(text);
  if (wanted != nullptr) CFRelease(wanted);
  return status;
}

}  // namespace vesk::platform
