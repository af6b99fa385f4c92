#include "tools/live/kept_presets.hpp"

#include <filesystem>
#include <optional>
#include <system_error>

namespace vesk::tools {

namespace fs = std::filesystem;

bool KeptPresets::keep(const ChainElements& chain, std::vector<std::string>& remarks,
                       std::string& error) {
  const std::size_t place = chains_++;
  const std::size_t before = paths_.size();
  for (unsigned plugin = 0; plugin < chain.size(); ++plugin) {
    const std::string& path = chain[plugin].preset_path;
    if (path.empty()) continue;
    paths_[{place, plugin}] = path;
    std::error_code unknown;
    if (!fs::exists(path, unknown)) {
      remarks.push_back(path + ": does not exist yet");
      continue;
    }
    // What stood under the kept name is given back once: one owner for each file.
    const std::string file = fs::weakly_canonical(path, unknown);
    if (old_.contains(file)) continue;
    auto old = OldPreset::keep(path, error);
    if (!old) return false;
    remarks.push_back(path + ": exists and will be rewritten; what it holds now is kept as " +
                      old->kept_path());
    old_.emplace(file, std::move(*old));
  }
  if (paths_.size() == before)
    remarks.push_back("the chain names no preset file (@path): no change will be kept");
  return true;
}

std::vector<std::string> KeptPresets::news(std::size_t chain, client::HostProcess& host) {
  std::vector<std::string> sentences;
  while (const auto plugin = host.next_saved_notice())
    for (std::string& sentence : note_written(chain, *plugin))
      sentences.push_back(std::move(sentence));
  return sentences;
}

std::vector<std::string> KeptPresets::note_written(std::size_t chain, unsigned plugin) {
  const auto path = paths_.find({chain, plugin});
  if (path == paths_.end() || !rewritten_.insert(path->first).second) return {};
  return {path->second + ": rewritten"};
}

std::vector<std::string> KeptPresets::summary() const {
  if (!rewritten_.empty() || paths_.empty()) return {};
  return {"no preset file was rewritten"};
}

}  // namespace vesk::tools
