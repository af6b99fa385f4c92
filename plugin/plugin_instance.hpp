#pragma once

#include <cstdint>
#include <string>

#include "platform/realtime.hpp"
#include "spec/plugin_spec.hpp"

namespace vesk {

/// How long the phases of a load took, in milliseconds; 0 until a load fills them.
struct Timings {
  double instantiate_ms = 0;  ///< from the request until its completion was observed
  double initialize_ms = 0;
  double restore_ms = 0;  ///< the preset or sampler instrument, also when there is none
};

/// What a plugin's renders amounted to.
struct Stats {
  std::uint64_t renders = 0;
  std::uint64_t render_errors = 0;
  std::uint64_t extra_count = 0;  ///< kept for other kinds of plugin; an Audio Unit reports 0
  std::int32_t first_error = 0;   ///< status of the first failed render
  double max_load_percent = 0;    ///< of the real time that the rendered frames last
  double mean_load_percent = 0;
  std::int64_t min_note_latency = -1;  ///< frames from note-on to sound; -1 when none was measured
  std::int64_t max_note_latency = -1;
  float peak = 0;  ///< largest absolute sample of the left channel
};

/// One loaded plugin of a chain.
///
/// Audio is two arrays of 32-bit floats, left then right. A period is `frames` samples that start
/// at `sample_time`, a position in frames on the caller's timeline. The trailing 64-bit argument
/// of two operations is for kinds of plugin that take one more word; callers pass 0.
class PluginInstance {
 public:
  virtual ~PluginInstance() = default;

  // Main thread.

  /// Makes the plugin ready to render periods of up to `max_frames` at `sample_rate` Hz. False
  /// with one sentence in `error` when it cannot; `error` is left alone on success. Call once.
  virtual bool load(double sample_rate, unsigned max_frames, std::string& error) = 0;
  /// Sets a parameter in its own units, also while the render thread renders. False when refused.
  virtual bool set_parameter(unsigned id, float value) = 0;

  // Render thread.

  /// Announces a period to plugins that prepare one. Real-time safe.
  virtual void begin_render(unsigned frames, double sample_time) noexcept VESK_REALTIME;

  // Main thread.

  /// Cuts the render thread's operations off: from now on they return at once.
  virtual void detach() = 0;
  /// Releases the plugin. `detach` first, and only when no render operation is under way.
  virtual void dispose() = 0;

  // Render thread.

  /// Sends one short MIDI message for frame `offset` of the period. Real-time safe.
  virtual void midi(std::uint8_t status, std::uint8_t data1, std::uint8_t data2, double sample_time,
                    unsigned offset) noexcept VESK_REALTIME = 0;

  // Main thread.

  /// Lets plugins do what they put off while rendering.
  virtual void poll();

  // Render thread.

  /// Renders a period and adds it into `left` and `right`. False, with both untouched, when the
  /// plugin is not live or has failed. Real-time safe.
  virtual bool finish_render(float* left, float* right, unsigned frames, double sample_time,
                             std::uint64_t) noexcept VESK_REALTIME = 0;
  /// Processes a period in place. False, with both untouched, when the plugin is not live or has
  /// failed. Real-time safe.
  virtual bool process(float* left, float* right, unsigned frames, double sample_time,
                       std::uint64_t) noexcept VESK_REALTIME = 0;

  // Either thread.

  virtual const PluginSpec& spec() const = 0;
  virtual const Timings& timings() const = 0;
  /// The latency that the plugin reported after its load.
  virtual double latency_seconds() const = 0;
  virtual Stats stats() const = 0;
  /// Whether a render failed. There is no way back.
  virtual bool failed() const = 0;
};

}  // namespace vesk
