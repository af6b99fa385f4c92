// Making and ending an instance. What happens in a period is in render.cpp.

#include "components/lv2/instance/instance.hpp"

#include <algorithm>
#include <mutex>

#include "components/lv2/instance/plugin_state.hpp"
#include "components/lv2/instance/urid_map.hpp"

namespace vesk::lv2 {
namespace {

const LV2_State_Interface* state_methods(const LV2_Descriptor& descriptor) {
  return descriptor.extension_data != nullptr ? static_cast<const LV2_State_Interface*>(
                                                    descriptor.extension_data(LV2_STATE__interface))
                                              : nullptr;
}

}  // namespace

Instance::Instance(const InstanceRequest& request)
    : plugin_(request.plugin),
      ports_(request.ports),
      descriptor_(request.descriptor),
      parameters_(request.parameters),
      max_frames_(request.blocks.max_frames),
      // The one place where a plugin's functions become callable from real-time code: the compiler
      // takes our word for them, the sanitizer does not.
      run_((RunFunction)request.descriptor.run),
      connect_((ConnectFunction)request.descriptor.connect_port),
      urids_(urids()),
      controls_(std::make_unique<float[]>(request.plugin.ports.size())) {}

Instance::~Instance() {
  // First, since work still under way may use what deactivate and cleanup take away.
  for (const auto& voice : voices_) voice->worker.stop();
  const std::scoped_lock turn(plugin_turn());
  stop_playing();
  for (const auto& voice : voices_)
    if (voice->handle != nullptr && descriptor_.cleanup != nullptr)
      descriptor_.cleanup(voice->handle);
}

std::unique_ptr<Instance> Instance::create(const InstanceRequest& request, std::string& error) {
  try {
    std::unique_ptr<Instance> instance(new Instance(request));
    return instance->build(request, error) ? std::move(instance) : nullptr;
  } catch (const std::bad_alloc&) {
    error = "out of memory";
  } catch (...) {
    error = "the plugin threw an exception while it was started";
  }
  return nullptr;
}

bool Instance::build(const InstanceRequest& request, std::string& error) {
  std::copy(request.controls.begin(), request.controls.end(), controls_.get());
  seen_version_ = parameters_.version();
  if (!make_voices(request, error)) return false;
  for (const auto& voice : voices_) voice->worker.work_now();
  activate();
  for (const auto& voice : voices_) {
    if (!voice->worker.start()) {
      error = "no thread could be started for the plugin's worker";
      return false;
    }
  }
  // Some take the files of their state in the first runs only, and until then save none.
  if (!plugin_.files.empty() && request.state != nullptr && !request.state->empty())
    run_silence({}, [](const Voice&) {});
  return true;
}

bool Instance::make_voices(const InstanceRequest& request, std::string& error) {
  const std::scoped_lock turn(plugin_turn());
  if (!instantiate(request, error)) return false;
  const LV2_State_Interface* state = state_methods(descriptor_);
  for (const auto& voice : voices_) {
    connect(*voice);
    if (request.state != nullptr && !request.state->empty() && state != nullptr &&
        !restore_properties(voice->handle, *state, voice->features->for_state(), *request.state,
                            error)) {
      return false;
    }
  }
  return true;
}

bool Instance::instantiate(const InstanceRequest& request, std::string& error) {
  for (std::uint32_t i = 0; i < ports_.instances; ++i) {
    voices_.push_back(std::make_unique<Voice>());
    Voice& voice = *voices_.back();
    voice.features = std::make_unique<Features>(plugin_, request.blocks, voice.worker.schedule());
    voice.handle = descriptor_.instantiate(&descriptor_, request.blocks.sample_rate,
                                           plugin_.bundle.c_str(), voice.features->for_instance());
    if (voice.handle == nullptr) {
      error = "the plugin could not be instantiated";
      return false;
    }
    voice.worker.attach(voice.handle, static_cast<const LV2_Worker_Interface*>(
                                          extension_data(LV2_WORKER__interface)));
  }
  return true;
}

void Instance::connect(Voice& voice) {
  const auto connect_to_new = [&](const std::vector<std::uint32_t>& ports) {
    for (const std::uint32_t port : ports)
      descriptor_.connect_port(voice.handle, port, new_buffer(plugin_.ports[port].def.value_or(0)));
  };
  for (const std::uint32_t port : ports_.control_inputs)
    descriptor_.connect_port(voice.handle, port, &controls_[port]);
  voice.control_outputs = std::make_unique<float[]>(plugin_.ports.size());
  for (const std::uint32_t port : ports_.control_outputs)
    descriptor_.connect_port(voice.handle, port, &voice.control_outputs[port]);
  // Each output has a buffer of its own even where nobody listens: plugins use their outputs for
  // intermediate results.
  connect_to_new(ports_.main_inputs);
  connect_to_new(ports_.main_outputs);
  connect_to_new(ports_.silent_inputs);
  connect_to_new(ports_.unheard_outputs);
  connect_to_new(ports_.cv_inputs);
  connect_to_new(ports_.cv_outputs);
  if (mono_mix_ == nullptr && ports_.main_inputs.size() == 1 && ports_.instances == 1)
    mono_mix_ = new_buffer(0);
  connect_events(voice);
  for (const Port& port : plugin_.ports)
    if (port.kind == PortKind::unknown) descriptor_.connect_port(voice.handle, port.index, nullptr);
}

void Instance::connect_events(Voice& voice) {
  const auto bytes_of = [&](std::uint32_t port) {
    return std::max(plugin_.ports[port].minimum_size, event_bytes);
  };
  // Inputs are written once a period and read by all voices.
  if (atom_inputs_.empty())
    for (const std::uint32_t port : ports_.atom_inputs)
      atom_inputs_.emplace_back(port, bytes_of(port));
  if (event_inputs_.empty())
    for (const std::uint32_t port : ports_.event_inputs)
      event_inputs_.emplace_back(port, bytes_of(port));
  for (const AtomBuffer& input : atom_inputs_)
    descriptor_.connect_port(voice.handle, input.port(), input.data());
  for (const OldEventBuffer& input : event_inputs_)
    descriptor_.connect_port(voice.handle, input.port(), input.data());
  for (const std::uint32_t port : ports_.atom_outputs) {
    // Optional ones feed displays, at up to 50 MB each.
    if (plugin_.ports[port].has(property_connection_optional)) {
      descriptor_.connect_port(voice.handle, port, nullptr);
      continue;
    }
    const AtomBuffer& output = voice.atom_outputs.emplace_back(port, bytes_of(port));
    descriptor_.connect_port(voice.handle, port, output.data());
  }
  for (const std::uint32_t port : ports_.event_outputs) {
    const OldEventBuffer& output = voice.event_outputs.emplace_back(port, bytes_of(port));
    descriptor_.connect_port(voice.handle, port, output.data());
  }
}

float* Instance::new_buffer(float fill) {
  buffers_.push_back(std::make_unique<float[]>(max_frames_));
  float* buffer = buffers_.back().get();
  std::fill(buffer, buffer + max_frames_, fill);
  return buffer;
}

void Instance::activate() {
  const std::scoped_lock turn(plugin_turn());
  start_playing();
  if (!ports_.latency || latency_frames_ > 0) return;
  // One in five of those that have a latency know it only after a real run. The shortest, since not
  // all forget what they played when they become active again.
  run_all(1);
  const float latency = latency_frames_;
  stop_playing();
  start_playing();
  latency_frames_ = latency;
}

void Instance::start_playing() {
  for (const auto& voice : voices_)
    if (descriptor_.activate != nullptr) descriptor_.activate(voice->handle);
  active_ = true;
  // A run without frames is the announcement that runs will follow. What a plugin has put off until
  // then, memory and tables, it makes now, while nobody waits for a period; and most of those that
  // have a latency tell it.
  run_all(0);
}

void Instance::stop_playing() {
  for (const auto& voice : voices_)
    if (active_ && descriptor_.deactivate != nullptr) descriptor_.deactivate(voice->handle);
  active_ = false;
}

/// A run of each voice before all periods, over what the buffers have held since they were made.
/// Nothing here has to be real-time safe, so the plugin is not called as if it had to.
void Instance::run_all(std::uint32_t frames) {
  for (const auto& voice : voices_) {
    for (AtomBuffer& output : voice->atom_outputs) output.offer();
    for (OldEventBuffer& output : voice->event_outputs) output.clear();
    descriptor_.run(voice->handle, frames);
    voice->worker.finish_run();
  }
  if (ports_.latency) latency_frames_ = voices_.front()->control_outputs[*ports_.latency];
}

std::vector<StateProperty> Instance::save() const {
  const LV2_State_Interface* methods = state_methods(descriptor_);
  if (methods == nullptr) return {};
  const Voice& voice = *voices_.front();
  return save_properties(voice.handle, *methods, voice.features->for_state());
}

const void* Instance::extension_data(const char* uri) const {
  return descriptor_.extension_data != nullptr ? descriptor_.extension_data(uri) : nullptr;
}

}  // namespace vesk::lv2
