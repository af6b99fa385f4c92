// How a running plugin is told of a file: messages of the patch extension.

#include <lv2/atom/util.h>

#include <algorithm>
#include <array>
#include <cstring>

#include "components/lv2/instance/instance.hpp"
#include "components/lv2/instance/urid_map.hpp"

namespace vesk::lv2 {
namespace {

// In the first run the message arrives, after it the file is read; in the second most answer, and
// the rest is for those that take a file in two steps.
constexpr int runs = 4;

std::uint32_t padded(std::size_t size) {
  return static_cast<std::uint32_t>((size + 7) & ~std::size_t{7});
}

/// The body of a patch:Set object: `property` is to be `path`.
std::vector<std::byte> set_message(LV2_URID property, const std::string& path) {
  const Urids& ids = urids();
  struct Head {
    LV2_Atom_Object_Body object;
    LV2_Atom_Property_Body property;
    std::uint64_t property_value;
    LV2_Atom_Property_Body value;
  } head{{0, ids.patch_set},
         {ids.patch_property, 0, {sizeof(LV2_URID), ids.atom_urid}},
         property,
         {ids.patch_value, 0, {static_cast<std::uint32_t>(path.size() + 1), ids.atom_path}}};
  static_assert(sizeof head == 48);
  std::vector<std::byte> bytes(sizeof head + padded(path.size() + 1));
  std::memcpy(bytes.data(), &head, sizeof head);
  std::memcpy(bytes.data() + sizeof head, path.c_str(), path.size() + 1);
  return bytes;
}

bool is_object(const LV2_Atom* atom) {
  return atom != nullptr &&
         (atom->type == urids().atom_object || atom->type == urids().atom_blank) &&
         atom->size >= sizeof(LV2_Atom_Object_Body);
}

/// The value under `key`; null when it has none.
const LV2_Atom* value_in(const LV2_Atom* object, LV2_URID key) {
  const auto* whole = reinterpret_cast<const LV2_Atom_Object*>(object);
  LV2_ATOM_OBJECT_FOREACH(whole, each) {
    if (each->key == key) return &each->value;
  }
  return nullptr;
}

/// What a plugin's messages say about one property.
class Answers {
 public:
  explicit Answers(LV2_URID property) : property_(property) {}

  void hear(const AtomBuffer& output) {
    std::array<const LV2_Atom*, 64> messages{};
    std::size_t count = 0;
    output.for_each_event([&](const LV2_Atom& message) noexcept VESK_REALTIME {
      if (count < messages.size()) messages[count++] = &message;
    });
    for (std::size_t i = 0; i < count; ++i) hear(*messages[i]);
  }
  bool has_refused() const { return refused_; }
  bool confirm(const std::string& path) const {
    return std::find(said_.begin(), said_.end(), path) != said_.end();
  }

 private:
  void hear(const LV2_Atom& message) {
    if (!is_object(&message)) return;
    const Urids& ids = urids();
    const LV2_URID kind = reinterpret_cast<const LV2_Atom_Object&>(message).body.otype;
    if (kind == ids.patch_error) refused_ = true;
    const LV2_Atom* value = nullptr;
    if (kind == ids.patch_set) {
      const LV2_Atom* property = value_in(&message, ids.patch_property);
      if (property != nullptr && property->size == sizeof(LV2_URID) &&
          reinterpret_cast<const LV2_Atom_URID*>(property)->body == property_)
        value = value_in(&message, ids.patch_value);
    } else if (kind == ids.patch_put) {
      if (const LV2_Atom* body = value_in(&message, ids.patch_body); is_object(body))
        value = value_in(body, property_);
    }
    if (value == nullptr || value->type == ids.atom_object) return;
    const auto* text = reinterpret_cast<const char*>(value + 1);
    said_.emplace_back(text, strnlen(text, value->size));
  }

  LV2_URID property_;
  std::vector<std::string> said_;
  bool refused_ = false;
};

bool keeps(const std::vector<StateProperty>& state, const std::string& path) {
  return std::any_of(state.begin(), state.end(), [&](const StateProperty& property) {
    const std::string_view value(reinterpret_cast<const char*>(property.value.data()),
                                 property.value.size());
    return value.find(path) != value.npos;
  });
}

}  // namespace

/// Lets the plugin do what it puts off until it runs. The object atom whose body is `message`, if
/// there is one, comes with the first run.
void Instance::run_silence(std::span<const std::byte> message, const RunVisitor& after_run) {
  Period silence;
  silence.frames = max_frames_;
  silence.wait_for_work = true;
  for (int run = 0; run < runs; ++run) {
    for (AtomBuffer& input : atom_inputs_) {
      input.clear();
      if (run == 0 && !message.empty() && input.port() == ports_.patch_input)
        input.append(0, urids_.atom_object, message);
    }
    for (OldEventBuffer& input : event_inputs_) input.clear();
    for (const auto& voice : voices_) {
      run_voice(*voice, silence);
      after_run(*voice);
    }
  }
  // A file may have changed it.
  if (ports_.latency) latency_frames_ = voices_.front()->control_outputs[*ports_.latency];
}

bool Instance::give_file(const std::string& uri, const std::string& path, std::string& error) {
  const LV2_URID property = map_uri(uri.c_str());
  const std::vector<std::byte> message = set_message(property, path);
  Answers answers(property);
  run_silence(message, [&answers](const Voice& voice) {
    for (const AtomBuffer& output : voice.atom_outputs) answers.hear(output);
  });
  if (!answers.has_refused() && (answers.confirm(path) || keeps(save(), path))) return true;
  error = "the plugin does not take it";
  return false;
}

}  // namespace vesk::lv2
