#pragma once

// A plugin that runs: one or two handles of it, with buffers, controls, worker and state.

#include <lv2/core/lv2.h>
#include <lv2/state/state.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "components/lv2/catalogue/description.hpp"
#include "components/lv2/instance/editor_feed.hpp"
#include "components/lv2/instance/event_buffers.hpp"
#include "components/lv2/instance/features.hpp"
#include "components/lv2/instance/parameters.hpp"
#include "components/lv2/instance/port_table.hpp"
#include "components/lv2/instance/transport.hpp"
#include "components/lv2/instance/worker.hpp"
#include "components/unit_support/midi_queue.hpp"
#include "platform/realtime.hpp"

namespace vesk::lv2 {

/// What it takes to make an instance. All of it must outlive the instance, but for `controls` and
/// `state`, which are read while it is made.
struct InstanceRequest {
  const Description& plugin;
  const PortTable& ports;
  const LV2_Descriptor& descriptor;
  Parameters& parameters;  ///< outputs and triggers are published here
  BlockOptions blocks;
  std::span<const float> controls;                    ///< input values by port index
  const std::vector<StateProperty>* state = nullptr;  ///< null: nothing is restored
};

/// One period's audio and events.
struct Period {
  std::uint32_t frames = 0;     ///< 0..max_frames
  const float* inputs[2] = {};  ///< used when there is an input bus; never an output's buffer
  float* outputs[2] = {};
  std::span<const TimedEvent> midi;
  Position position;             ///< of the first frame
  bool wait_for_work = false;    ///< not in real time: what the worker owes is waited for
  EditorFeed* editor = nullptr;  ///< where the plugin's interface is listening, if it is
};

/// Made in the order that plugins count on: instantiate, connect, controls, state, activate. A
/// change of state is a new instance, never a restore into a running one (a quarter of all plugins
/// remember what they played before).
class Instance {
 public:
  // Control thread.

  /// Null with a sentence in `error`. May take seconds.
  static std::unique_ptr<Instance> create(const InstanceRequest& request, std::string& error);
  /// Deactivates and cleans up. Never on the render thread.
  ~Instance();
  Instance(const Instance&) = delete;
  Instance& operator=(const Instance&) = delete;

  /// Tells the plugin that the file of its property `uri` is the one at `path` (PATH_MAX bytes at
  /// most), by a patch:Set and
  /// some runs over silence, with the work that they ask for in between. Before the first `render`
  /// only, so that no period is ever late for a file. False with a sentence in `error` when the
  /// plugin does not take it: it answers so, or neither answers nor keeps the path in its state.
  bool give_file(const std::string& uri, const std::string& path, std::string& error);

  /// What the plugin says of itself now. May run beside `render`.
  std::vector<StateProperty> save() const;
  /// The handle whose state is saved, for an editor's instance-access feature. Good while the
  /// instance lives.
  LV2_Handle handle() const { return voices_.front()->handle; }

  // Render thread.

  /// Renders one period. Real-time safe as far as the plugin is.
  void render(const Period& period) noexcept VESK_REALTIME;
  /// Frames that the plugin delays its output by, as it said last.
  float latency_frames() const noexcept VESK_REALTIME { return latency_frames_; }

 private:
  using RunFunction = void (*)(LV2_Handle, std::uint32_t) VESK_REALTIME;
  using ConnectFunction = void (*)(LV2_Handle, std::uint32_t, void*) VESK_REALTIME;

  struct Voice;
  using RunVisitor = std::function<void(const Voice&)>;

  struct Voice {
    Worker worker;
    std::unique_ptr<Features> features;
    LV2_Handle handle = nullptr;
    std::vector<AtomBuffer> atom_outputs;
    std::vector<OldEventBuffer> event_outputs;
    std::unique_ptr<float[]> control_outputs;  ///< by port index
    void* connected_inputs[2] = {};
    void* connected_outputs[2] = {};
  };

  explicit Instance(const InstanceRequest& request);
  bool build(const InstanceRequest& request, std::string& error);
  bool make_voices(const InstanceRequest& request, std::string& error);
  bool instantiate(const InstanceRequest& request, std::string& error);
  const void* extension_data(const char* uri) const;
  void connect(Voice& voice);
  void connect_events(Voice& voice);
  void activate();
  void start_playing();
  void stop_playing();
  void run_all(std::uint32_t frames);
  float* new_buffer(float fill);
  void run_silence(std::span<const std::byte> message, const RunVisitor& after_run);

  void begin_period(const Period& period) noexcept VESK_REALTIME;
  void follow_editor(EditorFeed* editor) noexcept VESK_REALTIME;
  void end_period(const Period& period) noexcept VESK_REALTIME;
  void run_voice(Voice& voice, const Period& period) noexcept VESK_REALTIME;
  void connect_audio(Voice& voice, std::span<const float* const> inputs,
                     std::span<float* const> outputs) noexcept VESK_REALTIME;
  void follow_transport(const Position& position) noexcept VESK_REALTIME;

  const Description& plugin_;
  const PortTable& ports_;
  const LV2_Descriptor& descriptor_;
  Parameters& parameters_;
  const std::uint32_t max_frames_;
  const RunFunction run_;
  const ConnectFunction connect_;
  const Urids& urids_;
  std::uint32_t seen_version_ = 0;
  PositionWatch position_;
  EditorFeed* editor_ = nullptr;  ///< whose buffers the optional outputs of the first voice have
  float latency_frames_ = 0;
  std::unique_ptr<float[]> controls_;  ///< inputs by port index, shared by both voices
  std::vector<std::unique_ptr<float[]>> buffers_;
  float* mono_mix_ = nullptr;
  std::vector<AtomBuffer> atom_inputs_;
  std::vector<OldEventBuffer> event_inputs_;
  std::vector<std::unique_ptr<Voice>> voices_;
  bool active_ = false;
};

}  // namespace vesk::lv2
