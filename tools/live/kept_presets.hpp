#pragma once

#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "spec/chain_text.hpp"
#include "tools/live/preset_file.hpp"
#include "vesk/host_process.hpp"

namespace vesk::tools {

/// The preset files of chains that are changed in editors: what was in them, and which have been
/// rewritten.
class KeptPresets {
 public:
  /// Keeps what the files of one more chain hold, and adds to `remarks` what will happen to each.
  /// False with a sentence in `error` when one cannot be kept.
  bool keep(const ChainElements& chain, std::vector<std::string>& remarks, std::string& error);

  /// What has been rewritten by the host of a chain, the first that was kept being 0, since the
  /// last call: a sentence each, once.
  std::vector<std::string> news(std::size_t chain, client::HostProcess& host);
  /// The same for a file that has been rewritten otherwise.
  std::vector<std::string> note_written(std::size_t chain, unsigned plugin);

  /// What there is to say at the end.
  std::vector<std::string> summary() const;

 private:
  using Place = std::pair<std::size_t, unsigned>;

  std::size_t chains_ = 0;
  std::map<Place, std::string> paths_;
  std::map<std::string, OldPreset> old_;
  std::set<Place> rewritten_;
};

}  // namespace vesk::tools
