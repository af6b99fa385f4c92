#include "components/lv2/editor/plugin_interface.hpp"

#include <lv2/patch/patch.h>

#include <bit>
#include <cmath>

#include "components/lv2/catalogue/interface_kind.hpp"
#include "components/lv2/editor/helper_interface.hpp"
#include "components/lv2/editor/loaded_interface.hpp"

namespace vesk::lv2 {
namespace {

/// A write that is refused is answered with the present value, to which some interfaces answer with
/// the same write.
constexpr int most_answers = 3;

}  // namespace

PluginInterface::PluginInterface(EditorLink& link, PluginArea& area)
    : link_(link),
      area_(area),
      object_type_(link.map(LV2_ATOM__Object)),
      patch_set_(link.map(LV2_PATCH__Set)),
      patch_put_(link.map(LV2_PATCH__Put)) {
  for (const Direction direction : {Direction::input, Direction::output}) {
    for (const Port& port : link.plugin().ports)
      if (port.kind == PortKind::control && port.direction == direction)
        controls_.push_back({.port = port.index});
  }
}

std::unique_ptr<PluginInterface> PluginInterface::open(EditorLink& link, PluginArea& area,
                                                       std::string& error) {
  std::unique_ptr<PluginInterface> interface(new PluginInterface(link, area));
  const InterfacePlace place{area.window(), area.has_glx()};
  if (interface_kind(link.editor().class_uri) == InterfaceKind::x11)
    interface->running_ = LoadedInterface::open(link, *interface, place, error);
  else
    interface->running_ = HelperInterface::open(link, *interface, place, error);
  if (interface->running_ == nullptr) return nullptr;
  interface->send_values();
  return interface;
}

bool PluginInterface::turn() {
  area_.read_events();
  if (!running_->follow_requests()) return false;
  send_events();
  send_values();
  return running_->turn();
}

PluginInterface::Known* PluginInterface::known(std::uint32_t port) {
  for (Known& control : controls_)
    if (control.port == port) return &control;
  return nullptr;
}

void PluginInterface::send_values() {
  if (!running_->takes_values()) return;
  for (Known& control : controls_) {
    const float value = link_.value(control.port);
    // By bits, since not-a-number differs from itself.
    if (control.is_stale ||
        std::bit_cast<std::uint32_t>(value) != std::bit_cast<std::uint32_t>(control.value)) {
      control.is_stale = false;
      control.value = value;
      running_->tell_value(control.port, value);
    }
  }
}

void PluginInterface::send_events() {
  link_.receive(
      [](void* context, std::uint32_t port, const LV2_Atom* atom) {
        static_cast<PluginInterface*>(context)->running_->tell_atom(port, *atom);
      },
      this);
}

/// Many interfaces set something by themselves while they open; only what a person does is to
/// change a preset.
void PluginInterface::write_value(std::uint32_t port, float value) {
  Known* control = known(port);
  if (control == nullptr || !std::isfinite(value) ||
      link_.plugin().ports[port].direction != Direction::input) {
    return;
  }
  if (area_.is_touched()) {
    control->value = value;
    link_.set_value(port, value);
  } else if (value != link_.value(port) && control->answers < most_answers) {
    ++control->answers;
    control->is_stale = true;
  }
}

void PluginInterface::write_atom(std::uint32_t port, const LV2_Atom& atom) {
  if (!is_a_setting(atom) || area_.is_touched()) link_.send(port, &atom);
}

bool PluginInterface::is_a_setting(const LV2_Atom& atom) const {
  if (atom.type != object_type_ || atom.size < sizeof(LV2_Atom_Object_Body)) return false;
  const std::uint32_t type = reinterpret_cast<const LV2_Atom_Object&>(atom).body.otype;
  return type == patch_set_ || type == patch_put_;
}

}  // namespace vesk::lv2
