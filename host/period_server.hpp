#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "host/block.hpp"
#include "platform/realtime.hpp"
#include "plugin/audio_unit_plugin.hpp"

namespace vesk::host {

/// Serves periods, one call each. All that the render thread touches while it does is here: the
/// period in the block, the chain, whether that starts with an effect, and the longest period it
/// was loaded for. Render thread only.
class PeriodServer {
 public:
  /// `plugins` is the loaded chain (at least one plugin), `max_frames` what it was loaded for.
  PeriodServer(Block& block, std::vector<std::unique_ptr<AudioUnitPlugin>>& plugins,
               bool first_is_effect, unsigned max_frames);

  /// Renders the period that the block describes, answers it with `request` and wakes the parent.
  /// Frames that the parent asks for beyond what fits come back silent. Real-time safe.
  void serve(std::uint32_t request) noexcept VESK_REALTIME;

 private:
  void deliver_midi(std::uint32_t frames, double sample_time) noexcept VESK_REALTIME;
  void render(std::uint32_t frames, double sample_time) noexcept VESK_REALTIME;

  Block& block_;
  std::vector<std::unique_ptr<AudioUnitPlugin>>& plugins_;
  bool first_is_effect_;
  std::uint32_t max_frames_;
};

}  // namespace vesk::host
