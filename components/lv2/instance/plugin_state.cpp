#include "components/lv2/instance/plugin_state.hpp"

#include <lv2/atom/atom.h>
#include <lv2/urid/urid.h>

#include <algorithm>
#include <cstring>

#include "components/lv2/instance/urid_map.hpp"

namespace vesk::lv2 {
namespace {

// Atoms whose bodies hold URIDs anywhere inside; nobody was ever seen to save one.
bool holds_hidden_numbers(LV2_URID type) {
  const Urids& ids = urids();
  const LV2_URID refused[] = {ids.atom_object,   ids.atom_tuple,   ids.atom_sequence,
                              ids.atom_property, ids.atom_literal, ids.atom_blank,
                              ids.atom_resource};
  return std::find(std::begin(refused), std::end(refused), type) != std::end(refused);
}

std::vector<std::byte> bytes_of(const void* data, std::size_t size) {
  const auto* first = static_cast<const std::byte*>(data);
  return {first, first + size};
}

LV2_State_Status store_property(std::vector<StateProperty>& properties, LV2_URID key,
                                const void* value, std::size_t size, LV2_URID type,
                                std::uint32_t flags) {
  const char* key_uri = unmap_urid(key);
  const char* type_uri = unmap_urid(type);
  if (key_uri == nullptr || type_uri == nullptr || value == nullptr) return LV2_STATE_ERR_UNKNOWN;
  if ((flags & LV2_STATE_IS_POD) == 0) return LV2_STATE_ERR_BAD_FLAGS;
  if (holds_hidden_numbers(type)) return LV2_STATE_ERR_BAD_TYPE;
  StateProperty property;
  property.key = key_uri;
  property.type = type_uri;
  property.flags = flags;
  if (type == urids().atom_urid && size == sizeof(LV2_URID)) {
    LV2_URID urid = 0;
    std::memcpy(&urid, value, sizeof urid);
    const char* uri = unmap_urid(urid);
    if (uri == nullptr) return LV2_STATE_ERR_UNKNOWN;
    property.value = bytes_of(uri, std::strlen(uri) + 1);
  } else if (type == urids().atom_vector && size >= sizeof(LV2_Atom_Vector_Body)) {
    LV2_Atom_Vector_Body head;
    std::memcpy(&head, value, sizeof head);
    const char* element = unmap_urid(head.child_type);
    if (element == nullptr || head.child_type == urids().atom_urid) return LV2_STATE_ERR_BAD_TYPE;
    property.element_type = element;
    property.element_size = head.child_size;
    property.value =
        bytes_of(static_cast<const std::byte*>(value) + sizeof head, size - sizeof head);
  } else {
    property.value = bytes_of(value, size);
  }
  // A key stored twice holds its last value.
  const auto same = [&](const StateProperty& other) { return other.key == property.key; };
  const auto known = std::find_if(properties.begin(), properties.end(), same);
  if (known != properties.end())
    *known = std::move(property);
  else
    properties.push_back(std::move(property));
  return LV2_STATE_SUCCESS;
}

LV2_State_Status store(LV2_State_Handle handle, std::uint32_t key, const void* value,
                       std::size_t size, std::uint32_t type, std::uint32_t flags) {
  try {
    return store_property(*static_cast<std::vector<StateProperty>*>(handle), key, value, size, type,
                          flags);
  } catch (...) {
    return LV2_STATE_ERR_NO_SPACE;
  }
}

// A property as this process's plugins want it: numbers for URIs, bodies on 8-byte boundaries.
struct Mapped {
  LV2_URID key;
  LV2_URID type;
  std::uint32_t flags;
  std::size_t size;
  std::vector<std::uint64_t> words;
};

Mapped map_property(const StateProperty& property) {
  Mapped mapped{
      map_uri(property.key.c_str()), map_uri(property.type.c_str()), property.flags, 0, {}};
  std::vector<std::byte> body;
  if (mapped.type == urids().atom_urid) {
    const std::string uri(reinterpret_cast<const char*>(property.value.data()),
                          property.value.size());
    const LV2_URID urid = map_uri(uri.c_str());
    body = bytes_of(&urid, sizeof urid);
  } else if (mapped.type == urids().atom_vector && !property.element_type.empty()) {
    const LV2_Atom_Vector_Body head{property.element_size, map_uri(property.element_type.c_str())};
    body = bytes_of(&head, sizeof head);
    body.insert(body.end(), property.value.begin(), property.value.end());
  } else {
    body = property.value;
  }
  mapped.size = body.size();
  // One word more than needed: text without its final zero would be read beyond its end.
  mapped.words.resize(body.size() / 8 + 1);
  if (!body.empty()) std::memcpy(mapped.words.data(), body.data(), body.size());
  return mapped;
}

const void* retrieve(LV2_State_Handle handle, std::uint32_t key, std::size_t* size,
                     std::uint32_t* type, std::uint32_t* flags) {
  for (const Mapped& property : *static_cast<const std::vector<Mapped>*>(handle)) {
    if (property.key == key) {
      if (size != nullptr) *size = property.size;
      if (type != nullptr) *type = property.type;
      if (flags != nullptr) *flags = property.flags;
      return property.words.data();
    }
  }
  return nullptr;
}

}  // namespace

std::vector<StateProperty> save_properties(LV2_Handle plugin, const LV2_State_Interface& methods,
                                           const LV2_Feature* const* features) {
  std::vector<StateProperty> properties;
  if (methods.save != nullptr) {
    // The answer is not looked at: what was stored is what there is.
    methods.save(plugin, &store, &properties, LV2_STATE_IS_POD | LV2_STATE_IS_PORTABLE, features);
  }
  return properties;
}

bool restore_properties(LV2_Handle plugin, const LV2_State_Interface& methods,
                        const LV2_Feature* const* features,
                        const std::vector<StateProperty>& properties, std::string& error) {
  if (methods.restore == nullptr) return true;
  std::vector<Mapped> mapped;
  mapped.reserve(properties.size());
  for (const StateProperty& property : properties) mapped.push_back(map_property(property));
  const LV2_State_Status status = methods.restore(plugin, &retrieve, &mapped, 0, features);
  if (status != LV2_STATE_SUCCESS) {
    error = "the plugin refused its state (LV2 state status " +
            std::to_string(static_cast<int>(status)) + ")";
    return false;
  }
  return true;
}

}  // namespace vesk::lv2
