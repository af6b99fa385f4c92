#include <lv2/atom/atom.h>
#include <lv2/state/state.h>
#include <lv2/urid/urid.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <map>
#include <span>

#include "components/lv2/scan/bundle_reader.hpp"

// lilv gives a state's properties only to a plugin that asks for them by key. So a stand-in for a
// plugin is given the state, and asks for every URI that lilv has mapped while reading it.

namespace vesk::lv2::scan {
namespace {

class UridMap {
 public:
  LV2_URID_Map map() { return {this, &map_uri}; }
  std::string uri(LV2_URID urid) const {
    return urid > 0 && urid <= uris_.size() ? uris_[urid - 1] : std::string();
  }
  LV2_URID last() const { return static_cast<LV2_URID>(uris_.size()); }

 private:
  static LV2_URID map_uri(LV2_URID_Map_Handle handle, const char* uri) {
    auto* self = static_cast<UridMap*>(handle);
    const auto found = self->urids_.find(uri);
    if (found != self->urids_.end()) return found->second;
    self->uris_.emplace_back(uri);
    return self->urids_[uri] = self->last();
  }

  std::vector<std::string> uris_;
  std::map<std::string, LV2_URID> urids_;
};

struct StandIn {
  const UridMap* uris;
  State* state;
};

std::optional<StateProperty> property_of(const UridMap& uris, LV2_URID key, LV2_URID type,
                                         std::span<const std::byte> value, std::uint32_t flags) {
  StateProperty property;
  property.key = uris.uri(key);
  property.type = uris.uri(type);
  property.flags = flags;
  // Bodies with URIDs at places that only their reader knows cannot leave this process.
  if (property.type == LV2_ATOM__Object || property.type == LV2_ATOM__Tuple ||
      property.type == LV2_ATOM__Sequence) {
    return {};
  }
  if (property.type == LV2_ATOM__URID) {
    LV2_URID urid = 0;
    if (value.size() != sizeof urid) return {};
    std::memcpy(&urid, value.data(), sizeof urid);
    const std::string uri = uris.uri(urid);
    const auto text = std::as_bytes(std::span(uri.c_str(), uri.size() + 1));
    property.value.assign(text.begin(), text.end());
    return property;
  }
  if (property.type == LV2_ATOM__Vector) {
    LV2_Atom_Vector_Body head{};
    if (value.size() < sizeof head) return {};
    std::memcpy(&head, value.data(), sizeof head);
    property.element_type = uris.uri(head.child_type);
    property.element_size = head.child_size;
    value = value.subspan(sizeof head);
  }
  property.value.assign(value.begin(), value.end());
  return property;
}

LV2_State_Status ask_for_all(LV2_Handle instance, LV2_State_Retrieve_Function retrieve,
                             LV2_State_Handle handle, std::uint32_t, const LV2_Feature* const*) {
  auto* stand_in = static_cast<StandIn*>(instance);
  // The end is read once: asking maps nothing, and must not make this endless if it did.
  const LV2_URID last = stand_in->uris->last();
  for (LV2_URID key = 1; key <= last; ++key) {
    std::size_t size = 0;
    LV2_URID type = 0;
    std::uint32_t flags = 0;
    const void* value = retrieve(handle, key, &size, &type, &flags);
    if (!value) continue;
    auto property = property_of(*stand_in->uris, key, type,
                                {static_cast<const std::byte*>(value), size}, flags);
    if (property) stand_in->state->properties.push_back(std::move(*property));
  }
  return LV2_STATE_SUCCESS;
}

const void* stand_in_extension(const char* uri) {
  static const LV2_State_Interface interface = {nullptr, &ask_for_all};
  return std::strcmp(uri, LV2_STATE__interface) == 0 ? &interface : nullptr;
}

struct PortValues {
  const UridMap* uris;
  std::vector<PortValue>* values;
};

void take_port_value(const char* symbol, void* data, const void* value, std::uint32_t size,
                     std::uint32_t type) {
  auto* into = static_cast<PortValues*>(data);
  const std::string type_uri = into->uris->uri(type);
  double number = 0;
  const auto read = [&]<typename T>(T, std::string_view name) {
    T typed{};
    if (type_uri != name || size != sizeof typed) return false;
    std::memcpy(&typed, value, sizeof typed);
    number = static_cast<double>(typed);
    return true;
  };
  const bool known = read(float{}, LV2_ATOM__Float) || read(double{}, LV2_ATOM__Double) ||
                     read(std::int32_t{}, LV2_ATOM__Int) || read(std::int32_t{}, LV2_ATOM__Bool) ||
                     read(std::int64_t{}, LV2_ATOM__Long);
  if (known && std::isfinite(static_cast<float>(number)))
    into->values->push_back({symbol, static_cast<float>(number)});
}

}  // namespace

std::optional<State> read_state(LilvWorld* world, const LilvNode* subject) {
  UridMap uris;
  LV2_URID_Map map = uris.map();
  LilvState* found = lilv_state_new_from_world(world, &map, subject);
  if (!found) return {};
  State state;
  PortValues port_values{&uris, &state.port_values};
  lilv_state_emit_port_values(found, &take_port_value, &port_values);

  StandIn stand_in{&uris, &state};
  LV2_Descriptor descriptor{};
  descriptor.URI = "";
  descriptor.extension_data = &stand_in_extension;
  LilvInstance instance{&descriptor, &stand_in, nullptr};
  lilv_state_restore(found, &instance, nullptr, nullptr, 0, nullptr);
  lilv_state_free(found);
  std::ranges::sort(state.port_values, {}, &PortValue::symbol);
  std::ranges::sort(state.properties, {}, &StateProperty::key);
  return state;
}

}  // namespace vesk::lv2::scan
