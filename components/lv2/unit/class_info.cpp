// A unit's state as a property list: the usual keys, the control values once more by symbol (port
// indices are stable for one version of a plugin only), and what the plugin saved of itself.

#include <cmath>

#include "components/lv2/unit/plugin_unit.hpp"
#include "components/unit_support/cf_object.hpp"
#include "components/unit_support/cf_text.hpp"

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

std::vector<ParameterValue> PluginUnit::control_values() const {
  std::vector<ParameterValue> values;
  for (const std::uint32_t port : ports_.control_inputs)
    if (parameters_.is_writable(port)) values.push_back({port, parameters_.value(port)});
  return values;
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
  CfDictionary info = begin_preset(codes_, preset_name_, control_values());
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
  for (const ParameterValue& value : preset_values(saved)) put(value.id, value.value);
}

OSStatus PluginUnit::set_class_info(CFPropertyListRef list) {
  const auto saved = cf_cast<CFDictionaryRef>(list);
  if (saved == nullptr || !has_preset_version(saved)) return kAudioUnitErr_InvalidPropertyValue;
  // The subtype is derived from the URI and may be an alternate where two plugins share one, so
  // the URI decides where it is there.
  const auto uri = cf_value<CFStringRef>(saved, class_info_uri);
  if (!has_preset_code(saved, kAUPresetManufacturerKey, codes_.componentManufacturer) ||
      (uri != nullptr ? text_of(uri) != plugin_->uri
                      : !has_preset_code(saved, kAUPresetSubtypeKey, codes_.componentSubType))) {
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
