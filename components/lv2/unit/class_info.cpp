// A unit's state as a property list: the usual keys, the control values once more by symbol (port
// indices are stable for one version of a plugin only), and what the plugin saved of itself.

#include <cmath>
#include <cstring>

#include "components/lv2/unit/cf_object.hpp"
#include "components/lv2/unit/cf_text.hpp"
#include "components/lv2/unit/plugin_unit.hpp"

namespace vesk::lv2 {
namespace {

// Keys beside the usual ones: the plugin's URI, a string; its control values, a dictionary from
// port symbol to number; and what the plugin saved of itself, an array of dictionaries, absent when
// that was nothing.
constexpr const char* class_info_uri = "lv2-uri";
constexpr const char* class_info_controls = "lv2-controls";
constexpr const char* class_info_state = "lv2-state";

// Each property of the plugin's state is a dictionary of these.
constexpr const char* property_key = "key";
constexpr const char* property_type = "type";
constexpr const char* property_flags = "flags";
constexpr const char* property_value = "value";
constexpr const char* element_type = "element-type";
constexpr const char* element_size = "element-size";

void append_word(std::vector<UInt8>& bytes, std::uint32_t word) {
  for (int shift = 24; shift >= 0; shift -= 8) bytes.push_back(static_cast<UInt8>(word >> shift));
}

std::uint32_t word_at(const UInt8* bytes) {
  return std::uint32_t{bytes[0]} << 24 | std::uint32_t{bytes[1]} << 16 |
         std::uint32_t{bytes[2]} << 8 | bytes[3];
}

CfObject<CFDictionaryRef> dictionary_of(const StateProperty& property) {
  CfDictionary made;
  made.set(property_key, copy_cf_string(property.key));
  made.set(property_type, copy_cf_string(property.type));
  made.set_number(property_flags, static_cast<SInt32>(property.flags));
  made.set(property_value,
           CFDataCreate(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(property.value.data()),
                        static_cast<CFIndex>(property.value.size())));
  if (!property.element_type.empty()) {
    made.set(element_type, copy_cf_string(property.element_type));
    made.set_number(element_size, static_cast<SInt32>(property.element_size));
  }
  return std::move(made).take();
}

bool read_property(CFTypeRef item, StateProperty* property) {
  const auto saved = cf_cast<CFDictionaryRef>(item);
  if (saved == nullptr) return false;
  const auto key = cf_value<CFStringRef>(saved, property_key);
  const auto type = cf_value<CFStringRef>(saved, property_type);
  const auto value = cf_value<CFDataRef>(saved, property_value);
  if (key == nullptr || type == nullptr || value == nullptr) return false;
  property->key = text_of(key);
  property->type = text_of(type);
  property->flags = static_cast<std::uint32_t>(cf_number(saved, property_flags).value_or(0));
  const auto* bytes = reinterpret_cast<const std::byte*>(CFDataGetBytePtr(value));
  property->value.assign(bytes, bytes + CFDataGetLength(value));
  property->element_type = text_of(cf_value<CFStringRef>(saved, element_type));
  property->element_size = static_cast<std::uint32_t>(cf_number(saved, element_size).value_or(0));
  return true;
}

}  // namespace

std::vector<StateProperty> PluginUnit::present_properties() const {
  if (slot_.current() != nullptr) return slot_.current()->save();
  if (parked_ != nullptr) return parked_->save();
  const std::vector<StateProperty>* waiting = state_to_restore();
  return waiting != nullptr ? *waiting : std::vector<StateProperty>{};
}

CFDataRef PluginUnit::copy_control_data() const {
  std::vector<UInt8> bytes;
  std::uint32_t count = 0;
  append_word(bytes, kAudioUnitScope_Global);
  append_word(bytes, 0);
  append_word(bytes, 0);
  for (const std::uint32_t port : ports_.control_inputs) {
    if (parameters_.is_writable(port)) {
      const float value = parameters_.value(port);
      std::uint32_t bits = 0;
      std::memcpy(&bits, &value, sizeof bits);
      append_word(bytes, port);
      append_word(bytes, bits);
      ++count;
    }
  }
  std::vector<UInt8> counted;
  append_word(counted, count);
  std::copy(counted.begin(), counted.end(), bytes.begin() + 8);
  return CFDataCreate(kCFAllocatorDefault, bytes.data(), static_cast<CFIndex>(bytes.size()));
}

CFDictionaryRef PluginUnit::copy_controls() const {
  CfDictionary controls;
  for (const std::uint32_t port : ports_.control_inputs) {
    if (parameters_.is_writable(port)) {
      const float value = parameters_.value(port);
      controls.set(plugin_->ports[port].symbol,
                   CFNumberCreate(kCFAllocatorDefault, kCFNumberFloat32Type, &value));
    }
  }
  return std::move(controls).take().release();
}

CFPropertyListRef PluginUnit::copy_class_info() const {
  CfDictionary info;
  info.set_number(kAUPresetVersionKey, 0);
  info.set_number(kAUPresetTypeKey, static_cast<SInt32>(codes_.componentType));
  info.set_number(kAUPresetSubtypeKey, static_cast<SInt32>(codes_.componentSubType));
  info.set_number(kAUPresetManufacturerKey, static_cast<SInt32>(codes_.componentManufacturer));
  info.set(kAUPresetNameKey, copy_cf_string(preset_name_));
  info.set(kAUPresetDataKey, copy_control_data());
  info.set(class_info_uri, copy_cf_string(plugin_->uri));
  info.set(class_info_controls, copy_controls());
  const std::vector<StateProperty> properties = present_properties();
  if (!properties.empty()) {
    CFMutableArrayRef list = CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks);
    for (const StateProperty& property : properties)
      CFArrayAppendValue(list, dictionary_of(property).get());
    info.set(class_info_state, list);
  }
  return std::move(info).take().release();
}

void PluginUnit::read_controls(CFDictionaryRef saved, std::vector<float>& values) const {
  const auto put = [&](std::uint32_t port, float value) {
    if (parameters_.is_writable(port) && std::isfinite(value))
      values[port] = parameters_.legal(port, value);
  };
  if (const auto controls = cf_value<CFDictionaryRef>(saved, class_info_controls)) {
    for (const std::uint32_t port : ports_.control_inputs)
      if (const auto value = cf_number(controls, plugin_->ports[port].symbol))
        put(port, static_cast<float>(*value));
    return;
  }
  const auto data = cf_value<CFDataRef>(saved, kAUPresetDataKey);
  if (data == nullptr) return;
  // Blocks of scope, element, count, then count pairs of id and value.
  const UInt8* at = CFDataGetBytePtr(data);
  const UInt8* end = at + CFDataGetLength(data);
  while (end - at >= 12) {
    const std::uint32_t scope = word_at(at), element = word_at(at + 4), count = word_at(at + 8);
    at += 12;
    for (std::uint32_t i = 0; i < count && end - at >= 8; ++i, at += 8) {
      const std::uint32_t bits = word_at(at + 4);
      float value = 0;
      std::memcpy(&value, &bits, sizeof value);
      if (scope == kAudioUnitScope_Global && element == 0) put(word_at(at), value);
    }
  }
}

OSStatus PluginUnit::set_class_info(CFPropertyListRef list) {
  const auto saved = cf_cast<CFDictionaryRef>(list);
  if (saved == nullptr || cf_number(saved, kAUPresetVersionKey) != 0)
    return kAudioUnitErr_InvalidPropertyValue;
  // The subtype is derived from the URI and may be an alternate where two plugins share one, so
  // the URI decides where it is there.
  const auto is_code = [&](const char* key, OSType code) {
    return cf_number(saved, key) == static_cast<SInt32>(code);
  };
  const auto uri = cf_value<CFStringRef>(saved, class_info_uri);
  if (!is_code(kAUPresetManufacturerKey, codes_.componentManufacturer) ||
      (uri != nullptr ? text_of(uri) != plugin_->uri
                      : !is_code(kAUPresetSubtypeKey, codes_.componentSubType))) {
    return kAudioUnitErr_InvalidPropertyValue;
  }
  StateChange change;
  change.values = parameters_.snapshot();
  read_controls(saved, change.values);
  if (const auto state = cf_value<CFArrayRef>(saved, class_info_state)) {
    for (CFIndex i = 0; i < CFArrayGetCount(state); ++i) {
      StateProperty property;
      if (!read_property(static_cast<CFTypeRef>(CFArrayGetValueAtIndex(state, i)), &property))
        return kAudioUnitErr_InvalidPropertyValue;
      change.properties.push_back(std::move(property));
    }
  }
  const auto name = cf_value<CFStringRef>(saved, kAUPresetNameKey);
  change.preset_name = name != nullptr ? text_of(name) : "Untitled";
  return apply(std::move(change));
}

}  // namespace vesk::lv2
