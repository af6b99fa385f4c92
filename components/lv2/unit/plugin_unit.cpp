#include "components/lv2/unit/plugin_unit.hpp"

#include <algorithm>
#include <utility>

#include "components/lv2/unit/editor_choice.hpp"
#include "components/unit_support/cf_text.hpp"
#include "components/unit_support/diagnostics.hpp"

namespace vesk::lv2 {

PluginUnit::PluginUnit(std::shared_ptr<const Description> plugin,
                       std::unique_ptr<PluginLibrary> library, AudioComponentInstance instance,
                       const AudioComponentDescription& codes)
    : plugin_(std::move(plugin)),
      library_(std::move(library)),
      instance_(instance),
      codes_(codes),
      ports_(*plugin_),
      parameters_(*plugin_, ports_) {
  if (ports_.enabled) parameters_.set(*ports_.enabled, 1);
  if (const Editor* editor = embeddable_editor(*plugin_)) {
    editor_bundle_ = editor_bundle();
    editor_ = std::make_unique<UnitEditor>(*this, *editor);
  }
  for (const PortValue& value : plugin_->default_state.port_values) {
    for (const Port& port : plugin_->ports)
      if (port.symbol == value.symbol && parameters_.is_writable(port.index))
        parameters_.set(port.index, value.value);
  }
}

PluginUnit::~PluginUnit() {
  // While everything that a view may ask for is still there.
  if (editor_ != nullptr) editor_->unit_ends();
  for (const AUPreset& preset : factory_presets_) CFRelease(preset.presetName);
}

void PluginUnit::complain(const std::string& what) const {
  say_of(plugin_->name, what);
}

const std::vector<StateProperty>* PluginUnit::state_to_restore() const {
  if (properties_) return &*properties_;
  const std::vector<StateProperty>& defaults = plugin_->default_state.properties;
  return defaults.empty() ? nullptr : &defaults;
}

std::unique_ptr<Instance> PluginUnit::make_instance(const std::vector<float>& values,
                                                    const std::vector<StateProperty>* properties) {
  std::string error;
  std::unique_ptr<Instance> instance =
      Instance::create({.plugin = *plugin_,
                        .ports = ports_,
                        .descriptor = library_->descriptor(),
                        .parameters = parameters_,
                        .blocks = {.sample_rate = sample_rate_, .max_frames = max_frames_},
                        .controls = values,
                        .state = properties},
                       error);
  if (instance == nullptr) complain(error);
  return instance;
}

void PluginUnit::allocate_buffers() {
  storage_.assign(std::size_t{max_frames_} * 5, 0.0f);
  float* next = storage_.data();
  for (float** buffer : {&own_output_.channel[0], &own_output_.channel[1], &own_input_.channel[0],
                         &own_input_.channel[1], &silence_}) {
    *buffer = next;
    next += max_frames_;
  }
}

OSStatus PluginUnit::initialize() {
  if (is_initialized()) return noErr;
  if (parked_ != nullptr) {
    properties_ = parked_->save();
    instance_leaves();
    parked_.reset();
  }
  midi_.clear();
  allocate_buffers();
  std::unique_ptr<Instance> instance = make_instance(parameters_.snapshot(), state_to_restore());
  if (instance == nullptr) return kAudioUnitErr_FailedInitialization;
  latency_frames_.store(instance->latency_frames(), std::memory_order_relaxed);
  slot_.put(std::move(instance));
  // Release: MIDI that is taken from here on is for this instance.
  initialized_.store(true, std::memory_order_release);
  return noErr;
}

void PluginUnit::instance_leaves() const {
  if (editor_ != nullptr) editor_->instance_leaves();
}

OSStatus PluginUnit::uninitialize() {
  if (!is_initialized()) return noErr;
  initialized_.store(false, std::memory_order_release);
  // After this the render thread touches nothing of the unit any more.
  parked_ = slot_.take();
  if (parked_ != nullptr) return noErr;
  // Unless it does not come out of a period: then all stays as it was.
  initialized_.store(true, std::memory_order_release);
  return kAudioUnitErr_CannotDoInCurrentContext;
}

/// Puts `instance`, none while the unit is not initialized, in the place of what there is.
void PluginUnit::exchange(std::unique_ptr<Instance> instance) {
  if (instance != nullptr) {
    latency_frames_.store(instance->latency_frames(), std::memory_order_relaxed);
    instance_leaves();
    slot_.put(std::move(instance));
  }
  if (parked_ != nullptr) {
    instance_leaves();
    parked_.reset();
  }
}

OSStatus PluginUnit::apply(StateChange change) {
  std::unique_ptr<Instance> instance;
  if (is_initialized()) {
    instance = make_instance(change.values, &change.properties);
    if (instance == nullptr) return kAudioUnitErr_InvalidPropertyValue;
  }
  exchange(std::move(instance));
  // After the exchange: the instance that is being replaced keeps its own values to its end.
  for (const std::uint32_t port : ports_.control_inputs)
    if (parameters_.is_writable(port)) parameters_.set(port, change.values[port]);
  properties_ = std::move(change.properties);
  files_.clear();
  tell_missing_files(*properties_);
  preset_number_ = change.preset_number;
  preset_name_ = std::move(change.preset_name);
  return noErr;
}

double PluginUnit::latency_seconds() const {
  const float frames = latency_frames_.load(std::memory_order_relaxed);
  return is_initialized() && frames > 0 ? static_cast<double>(frames) / sample_rate_ : 0;
}

}  // namespace vesk::lv2
