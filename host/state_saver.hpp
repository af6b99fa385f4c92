#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include "host/block.hpp"
#include "host/chain.hpp"

namespace vesk::host {

/// Writes the preset files of plugins that the user has changed in their editors.
///
/// A file is rewritten only when the plugin's state differs from what was last written or
/// captured, by `replace_file`, so that a reader finds the old content or the new and never a
/// mixture, whoever else saves to it. Each rewrite is announced in the block. Main thread only.
struct StateSaver {
  StateSaver(Block* block, const Plugins* plugins) : block(block), plugins(plugins) {}

  /// Remembers the plugin's present state as the one that needs no saving, unless one is
  /// remembered already. Called before its editor first opens.
  void capture_baseline(unsigned plugin);

  /// Saves the plugin's state if it has a preset file and has changed. `plugin` must be below the
  /// chain's length. A file that cannot be written is told on standard error and keeps its old
  /// content; the next call tries again. Waits at most a second for another host's save.
  void save(unsigned plugin);

  Block* block;
  const Plugins* plugins;
  /// By plugin: the state that its file holds, or that it had when its editor first opened. Empty
  /// after a save that failed.
  std::map<unsigned, std::vector<std::uint8_t>> last_saved;
};

}  // namespace vesk::host
