#include "components/unit_support/preset_list.hpp"

#include <bit>
#include <cstdint>

namespace vesk {
namespace {

// The data is a list of blocks, in words with the high byte first: scope, element, count, then
// count pairs of a parameter and its value.
constexpr std::ptrdiff_t head_bytes = 12, pair_bytes = 8;

void append_word(std::vector<UInt8>& bytes, std::uint32_t word) {
  for (int shift = 24; shift >= 0; shift -= 8) bytes.push_back(static_cast<UInt8>(word >> shift));
}

std::uint32_t word_at(const UInt8* bytes) {
  return std::uint32_t{bytes[0]} << 24 | std::uint32_t{bytes[1]} << 16 |
         std::uint32_t{bytes[2]} << 8 | bytes[3];
}

}  // namespace

CfDictionary begin_preset(const AudioComponentDescription& codes, std::string_view name,
                          const std::vector<ParameterValue>& values) {
  CfDictionary info;
  info.set_number(kAUPresetVersionKey, 0);
  info.set_number(kAUPresetTypeKey, static_cast<SInt32>(codes.componentType));
  info.set_number(kAUPresetSubtypeKey, static_cast<SInt32>(codes.componentSubType));
  info.set_number(kAUPresetManufacturerKey, static_cast<SInt32>(codes.componentManufacturer));
  info.set(kAUPresetNameKey, copy_cf_string(name));
  std::vector<UInt8> bytes;
  append_word(bytes, kAudioUnitScope_Global);
  append_word(bytes, 0);
  append_word(bytes, static_cast<std::uint32_t>(values.size()));
  for (const ParameterValue& value : values) {
    append_word(bytes, value.id);
    append_word(bytes, std::bit_cast<std::uint32_t>(value.value));
  }
  info.set(kAUPresetDataKey,
           CFDataCreate(kCFAllocatorDefault, bytes.data(), static_cast<CFIndex>(bytes.size())));
  return info;
}

std::vector<ParameterValue> preset_values(CFDictionaryRef saved) {
  std::vector<ParameterValue> values;
  const auto data = cf_value<CFDataRef>(saved, kAUPresetDataKey);
  if (data == nullptr) return values;
  const UInt8* at = CFDataGetBytePtr(data);
  const UInt8* end = at + CFDataGetLength(data);
  while (end - at >= head_bytes) {
    const std::uint32_t scope = word_at(at), element = word_at(at + 4), count = word_at(at + 8);
    at += head_bytes;
    for (std::uint32_t i = 0; i < count && end - at >= pair_bytes; ++i, at += pair_bytes)
      if (scope == kAudioUnitScope_Global && element == 0)
        values.push_back({word_at(at), std::bit_cast<float>(word_at(at + 4))});
  }
  return values;
}

bool has_preset_version(CFDictionaryRef saved) {
  return cf_number(saved, kAUPresetVersionKey) == 0;
}

bool has_preset_code(CFDictionaryRef saved, std::string_view key, OSType code) {
  return cf_number(saved, key) == static_cast<SInt32>(code);
}

}  // namespace vesk
