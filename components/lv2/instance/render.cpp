// One period of an instance.

#include <lv2/time/time.h>

#include <cmath>
#include <cstring>
#include <string_view>

#include "components/lv2/instance/instance.hpp"
#include "components/lv2/instance/urid_map.hpp"

namespace vesk::lv2 {
namespace {

std::span<const std::byte> body_of(const TimedEvent& event) noexcept VESK_REALTIME {
  return {event.data, event.size};
}

}  // namespace

void Instance::render(const Period& period) noexcept VESK_REALTIME {
  begin_period(period);
  position_.advance(period.frames);
  const std::uint32_t frames = period.frames;
  if (voices_.size() == 2) {
    for (std::size_t side = 0; side < 2; ++side) {
      connect_audio(*voices_[side], {&period.inputs[side], 1}, {&period.outputs[side], 1});
      run_voice(*voices_[side], period);
    }
  } else {
    const float* inputs[2] = {period.inputs[0], period.inputs[1]};
    if (mono_mix_ != nullptr) {
      for (std::uint32_t i = 0; i < frames; ++i)
        mono_mix_[i] = 0.5f * (inputs[0][i] + inputs[1][i]);
      inputs[0] = mono_mix_;
    }
    connect_audio(*voices_[0], {inputs, ports_.main_inputs.size()},
                  {period.outputs, ports_.main_outputs.size()});
    run_voice(*voices_[0], period);
    if (ports_.main_outputs.size() == 1)
      std::memcpy(period.outputs[1], period.outputs[0], frames * sizeof(float));
  }
  end_period(period);
}

void Instance::end_period(const Period& period) noexcept VESK_REALTIME {
  const Voice& first = *voices_[0];
  for (const std::uint32_t port : ports_.control_outputs)
    parameters_.publish(port, first.control_outputs[port]);
  if (ports_.latency) latency_frames_ = first.control_outputs[*ports_.latency];
  parameters_.release_triggers(controls_.get());
  if (period.editor != nullptr) {
    for (const AtomBuffer& output : first.atom_outputs) period.editor->collect(output);
    for (const AtomBuffer& output : period.editor->outputs()) period.editor->collect(output);
  }
}

void Instance::follow_editor(EditorFeed* editor) noexcept VESK_REALTIME {
  if (editor_ != editor) {
    const LV2_Handle first = voices_[0]->handle;
    if (editor_ != nullptr)
      for (const AtomBuffer& output : editor_->outputs()) connect_(first, output.port(), nullptr);
    if (editor != nullptr)
      for (const AtomBuffer& output : editor->outputs())
        connect_(first, output.port(), output.data());
    editor_ = editor;
  }
  if (editor != nullptr) {
    editor->begin_period();
    for (AtomBuffer& output : editor->outputs()) output.offer();
  }
}

void Instance::begin_period(const Period& period) noexcept VESK_REALTIME {
  const std::uint32_t version = parameters_.version();
  if (version != seen_version_) {
    parameters_.copy_inputs(controls_.get());
    seen_version_ = version;
  }
  const bool position_changed = position_.must_be_told(period.position);
  if (position_changed) follow_transport(period.position);
  follow_editor(period.editor);
  for (AtomBuffer& input : atom_inputs_) {
    input.clear();
    if (position_changed && (plugin_.ports[input.port()].events & events_time) != 0)
      input.append(period.position, urids_);
  }
  if (period.editor != nullptr) period.editor->deliver(atom_inputs_);
  const std::uint32_t midi_event = urids_.midi_event;
  for (AtomBuffer& input : atom_inputs_) {
    if ((plugin_.ports[input.port()].events & events_midi) != 0)
      for (const TimedEvent& event : period.midi)
        input.append(event.frame, midi_event, body_of(event));
  }
  for (OldEventBuffer& input : event_inputs_) {
    input.clear();
    if ((plugin_.ports[input.port()].events & events_midi) != 0)
      for (const TimedEvent& event : period.midi)
        input.append(event.frame, midi_event, body_of(event));
  }
}

void Instance::connect_audio(Voice& voice, std::span<const float* const> inputs,
                             std::span<float* const> outputs) noexcept VESK_REALTIME {
  for (std::size_t channel = 0; channel < inputs.size(); ++channel) {
    auto* buffer = const_cast<float*>(inputs[channel]);
    if (voice.connected_inputs[channel] != buffer) {
      connect_(voice.handle, ports_.main_inputs[channel], buffer);
      voice.connected_inputs[channel] = buffer;
    }
  }
  for (std::size_t channel = 0; channel < outputs.size(); ++channel) {
    if (voice.connected_outputs[channel] != outputs[channel]) {
      connect_(voice.handle, ports_.main_outputs[channel], outputs[channel]);
      voice.connected_outputs[channel] = outputs[channel];
    }
  }
}

void Instance::run_voice(Voice& voice, const Period& period) noexcept VESK_REALTIME {
  for (AtomBuffer& output : voice.atom_outputs) output.offer();
  for (OldEventBuffer& output : voice.event_outputs) output.clear();
  run_(voice.handle, period.frames);
  if (period.wait_for_work) {
    // Only where rendering is not in real time, so that waiting is what is wanted.
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wfunction-effects"
    voice.worker.wait_until_idle();
#pragma clang diagnostic pop
  }
  voice.worker.finish_run();
}

void Instance::follow_transport(const Position& position) noexcept VESK_REALTIME {
  for (const std::uint32_t port : ports_.time_controls) {
    const std::string_view designation = plugin_.ports[port].designation;
    float value = controls_[port];
    if (designation == LV2_TIME__speed)
      value = position.speed;
    else if (designation == LV2_TIME__beatsPerMinute && position.has_tempo)
      value = position.beats_per_minute;
    else if (designation == LV2_TIME__beatsPerBar && position.has_meter)
      value = position.beats_per_bar;
    else if (designation == LV2_TIME__beatUnit && position.has_meter)
      value = static_cast<float>(position.beat_unit);
    controls_[port] = value;
    parameters_.publish(port, value);
  }
}

}  // namespace vesk::lv2
