#pragma once

#include <os/workgroup.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

#include "host/block.hpp"
#include "plugin/audio_unit_plugin.hpp"

namespace vesk {

/// Whether the render thread is (or was) a member of the parent's workgroup. Stored once by the
/// render thread before its first period (release), read by the main thread after the join.
extern std::atomic<bool> g_joined_workgroup;

namespace host {

/// What a time-constraint policy grants, in ticks of the Mach clock.
struct RenderBudget {
  std::uint32_t period;
  std::uint32_t computation;
  std::uint32_t constraint;
};

/// What a render thread asks of the scheduler for a nominal period: the period itself, and nine
/// tenths of it to compute in. `numer` and `denom` are the Mach time base. Values beyond 32 bits
/// saturate.
RenderBudget render_budget(std::uint32_t numer, std::uint32_t denom, double sample_rate,
                           unsigned period_frames);

/// The body of the render thread: raises its own priority, joins `workgroup` (may be null), and
/// serves the block's render requests until `quit` is set. docs/period.md draws one period.
///
/// A request posted before the thread has started is its starting point and is not answered.
/// Periods of more than `max_frames` (or `buffer_frames`) are cut to that, and what the parent
/// asked for beyond is silence. `plugins` must be loaded and stay unchanged while this runs.
void render_loop(Block* block, std::vector<std::unique_ptr<AudioUnitPlugin>>& plugins,
                 bool first_is_effect, double sample_rate, unsigned max_frames,
                 unsigned period_frames, os_workgroup_t workgroup);

}  // namespace host
}  // namespace vesk
