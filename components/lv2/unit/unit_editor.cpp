#include "components/lv2/unit/unit_editor.hpp"

#include <AudioToolbox/AudioUnitUtilities.h>

#include <algorithm>

#include "components/lv2/instance/urid_map.hpp"
#include "components/lv2/unit/editor_choice.hpp"
#include "components/lv2/unit/plugin_unit.hpp"

namespace vesk::lv2 {

const Description& UnitEditor::plugin() const {
  return *unit_.plugin_;
}

double UnitEditor::sample_rate() const {
  return unit_.sample_rate_;
}

std::uint32_t UnitEditor::max_frames() const {
  return unit_.max_frames_;
}

std::uint32_t UnitEditor::map(const char* uri) const {
  return map_uri(uri);
}

const char* UnitEditor::unmap(std::uint32_t urid) const {
  return unmap_urid(urid);
}

LV2_Handle UnitEditor::handle() const {
  const Instance* instance =
      unit_.slot_.current() != nullptr ? unit_.slot_.current() : unit_.parked_.get();
  return instance != nullptr ? instance->handle() : nullptr;
}

EditorLink::ExtensionData UnitEditor::extension_data() const {
  return unit_.library_->descriptor().extension_data;
}

std::string UnitEditor::helper() const {
  return editor_helper();
}

float UnitEditor::value(std::uint32_t port) const {
  return port < unit_.ports_.uses.size() ? unit_.parameters_.value(port) : 0;
}

void UnitEditor::set_value(std::uint32_t port, float value) {
  if (unit_.ports_.enabled == port) {
    const UInt32 bypass = value > 0 ? 0 : 1;
    unit_.set_property(kAudioUnitProperty_BypassEffect, kAudioUnitScope_Global, 0, &bypass,
                       sizeof bypass);
    return;
  }
  const AudioUnitParameter parameter{unit_.instance_, port, kAudioUnitScope_Global, 0};
  AUParameterSet(nullptr, nullptr, &parameter, value, 0);
}

void UnitEditor::touch(std::uint32_t port, bool grabbed) {
  if (!unit_.parameters_.is_writable(port)) return;
  AudioUnitEvent event{};
  event.mEventType = grabbed ? kAudioUnitEvent_BeginParameterChangeGesture
                             : kAudioUnitEvent_EndParameterChangeGesture;
  event.mArgument.mParameter = {unit_.instance_, port, kAudioUnitScope_Global, 0};
  AUEventListenerNotify(nullptr, nullptr, &event);
}

bool UnitEditor::attach(EditorViewer* viewer) {
  if (viewer_ != nullptr) return false;
  if (feed_ == nullptr) feed_ = std::make_unique<EditorFeed>(*unit_.plugin_, unit_.ports_);
  feed_->begin_view();
  viewer_ = viewer;
  watched_.store(feed_.get(), std::memory_order_release);
  return true;
}

void UnitEditor::detach(EditorViewer* viewer) {
  if (viewer_ == viewer) {
    viewer_ = nullptr;
    watched_.store(nullptr, std::memory_order_release);
  }
}

bool UnitEditor::send(std::uint32_t port, const LV2_Atom* atom) {
  const std::vector<std::uint32_t>& inputs = unit_.ports_.atom_inputs;
  return feed_ != nullptr && std::find(inputs.begin(), inputs.end(), port) != inputs.end() &&
         feed_->send(port, *atom);
}

void UnitEditor::receive(void (*visit)(void* context, std::uint32_t port, const LV2_Atom* atom),
                         void* context) {
  if (feed_ != nullptr)
    feed_->receive([&](std::uint32_t port, const LV2_Atom* atom) { visit(context, port, atom); });
}

}  // namespace vesk::lv2
