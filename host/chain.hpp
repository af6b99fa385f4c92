#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/block.hpp"
#include "plugin/audio_unit_plugin.hpp"

namespace vesk::host {

/// The plugins of a host in the order that audio passes through them. A plugin's position is its
/// index everywhere: in the block's rings and masks, in window requests, in saved-state notices.
using Plugins = std::vector<std::unique_ptr<AudioUnitPlugin>>;

/// A loaded chain. Filled once, then left unchanged until the render thread has been joined.
struct Chain {
  Plugins plugins;
  bool first_is_effect = false;

  Chain() = default;
  /// Lets go of every Audio Unit, the first one first. The render thread must have been joined.
  void dispose();
  /// Destroys the last plugin first, as later ones may lean on what earlier ones set up.
  ~Chain();
  Chain(const Chain&) = delete;
  Chain& operator=(const Chain&) = delete;
};

/// Parses and loads every element of the chain text, in order, and adds each loaded plugin's
/// timings and latency to the totals in the block. The first element may be of any kind, later
/// ones must be effects.
///
/// On the first failure: the reason stands in `error`, and `chain` holds the plugins made so far.
bool load_chain(const std::string& text, double sample_rate, unsigned max_frames, Block& block,
                Chain& chain, std::string& error);

/// Tells the parent that start-up failed, and why (cut to what fits the block).
void publish_failure(Block& block, const std::string& error);

/// Tells the parent that every plugin is loaded.
void publish_ready(Block& block);

}  // namespace vesk::host
