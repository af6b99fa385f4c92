#include "host/period_server.hpp"

#include <os/os_sync_wait_on_address.h>

#include <algorithm>

#include "platform/plugin_call.hpp"

namespace vesk::host {

PeriodServer::PeriodServer(Block& block, std::vector<std::unique_ptr<AudioUnitPlugin>>& plugins,
                           bool first_is_effect, unsigned max_frames)
    : block_(block),
      plugins_(plugins),
      first_is_effect_(first_is_effect),
      max_frames_(max_frames) {}

void PeriodServer::serve(std::uint32_t request) noexcept VESK_REALTIME {
  // The acquire load of `render_request` made these visible. Each is read once, atomically, and
  // clamped: the compiler may repeat a plain load, and the second could differ from the one that
  // was checked.
  const std::uint32_t asked = std::min(load_relaxed(block_.frames), buffer_frames);
  const std::uint32_t frames = std::min(asked, max_frames_);
  const double sample_time = block_.sample_time;

  deliver_midi(frames, sample_time);
  render(frames, sample_time);
  std::fill(block_.output_left + frames, block_.output_left + asked, 0.0f);
  std::fill(block_.output_right + frames, block_.output_right + asked, 0.0f);

  // Release: the outputs, before the word that says they are there.
  store_release(block_.render_done, request);
  // A system call, and the only one of a period; it never sleeps.
  os_sync_wake_by_address_any(&block_.render_done, sizeof block_.render_done,
                              OS_SYNC_WAKE_BY_ADDRESS_SHARED);
}

/// All events go to the first plugin, before any audio of the period.
void PeriodServer::deliver_midi(std::uint32_t frames, double sample_time) noexcept VESK_REALTIME {
  const std::uint32_t count = std::min(load_relaxed(block_.midi_count), max_midi_events);
  if (count == 0) return;
  const std::uint32_t last_frame = frames == 0 ? 0 : frames - 1;
  const platform::PluginCall call(0, "midi");
  for (std::uint32_t i = 0; i < count; ++i) {
    const MidiEvent& event = block_.midi[i];
    plugins_[0]->midi(event.status, event.data1, event.data2, sample_time,
                      std::min(load_relaxed(event.offset), last_frame));
  }
}

/// Runs the chain in place in the block's output buffers.
void PeriodServer::render(std::uint32_t frames, double sample_time) noexcept VESK_REALTIME {
  float* const left = block_.output_left;
  float* const right = block_.output_right;
  std::size_t first_effect = 0;
  if (first_is_effect_) {
    std::copy_n(block_.input_left, frames, left);
    std::copy_n(block_.input_right, frames, right);
  } else {
    std::fill_n(left, frames, 0.0f);
    std::fill_n(right, frames, 0.0f);
    const platform::PluginCall call(0, "render");
    plugins_[0]->render_add(left, right, frames, sample_time);
    first_effect = 1;
  }
  for (std::size_t i = first_effect; i < plugins_.size(); ++i) {
    const platform::PluginCall call(static_cast<unsigned>(i), "render");
    plugins_[i]->process(left, right, frames, sample_time, 0);
  }
}

}  // namespace vesk::host
