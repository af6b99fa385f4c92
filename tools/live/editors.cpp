#include "tools/live/editors.hpp"

#include <algorithm>
#include <filesystem>
#include <string_view>

#include "spec/catalogue.hpp"
#include "tools/hosting/host_words.hpp"
#include "tools/naming/installed.hpp"

namespace vesk::tools {
namespace {

namespace fs = std::filesystem;

/// What the plugin is called, without its maker before it; as messages call it where nothing else
/// is known.
std::string name_of(const ChainElement& plugin) {
  if (!plugin.exs_path.empty()) return plugin.name;
  const auto found = list_components({plugin.type, plugin.subtype, plugin.manufacturer, 0, 0});
  if (found.empty() || found.front().name.empty()) return plugin.name;
  return without_maker(found.front().name);
}

std::string title_of(const ChainElement& plugin) {
  std::string title = name_of(plugin);
  if (!plugin.preset_path.empty())
    title += " - " + fs::path(plugin.preset_path).filename().string();
  return title;
}

}  // namespace

void ask_for_editors(client::HostProcess& host, const ChainElements& chain) {
  for (unsigned plugin = 0; plugin < chain.size(); ++plugin)
    host.open_editor(plugin, title_of(chain[plugin]));
}

std::vector<unsigned> plugins_without_editor(client::HostProcess& host,
                                             const ChainElements& chain) {
  const std::vector<std::string> lines = host.last_lines();
  const std::string start = line_start(chain) + "no window for plugin ";
  std::vector<unsigned> without;
  for (unsigned plugin = 0; plugin < chain.size(); ++plugin)
    if (std::ranges::find(lines, start + std::to_string(plugin)) != lines.end())
      without.push_back(plugin);
  return without;
}

std::string save_failure(client::HostProcess& host) {
  constexpr std::string_view own = "plugin host: ";
  for (const std::string& line : host.last_lines())
    if (line.starts_with("plugin host: could not save ")) return line.substr(own.size());
  return {};
}

EditorFailures::EditorFailures(const ChainElements& chain)
    : chain_(chain), start_(line_start(chain) + "editor of plugin ") {}

std::vector<std::string> EditorFailures::new_lines(client::HostProcess& host) {
  std::vector<std::string> lines;
  for (const std::string& line : host.last_lines())
    if (line.starts_with(start_) && told_.insert(line).second)
      lines.push_back(by_name(line, chain_));
  return lines;
}

}  // namespace vesk::tools
