#include "tools/edit/edit_presets.hpp"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <thread>
#include <utility>
#include <vector>

#include "spec/catalogue.hpp"
#include "tools/audio/loudness.hpp"
#include "tools/edit/live_player.hpp"
#include "tools/edit/preset_file.hpp"
#include "tools/edit/test_notes.hpp"
#include "tools/hosting/host_words.hpp"
#include "tools/midi/midi_file.hpp"
#include "tools/naming/installed.hpp"
#include "tools/program/interruption.hpp"
#include "vesk/host_process.hpp"

namespace vesk::tools {
namespace {

namespace fs = std::filesystem;
using client::HostProcess;
using namespace std::chrono_literals;

constexpr auto look_interval = 20ms;
/// An editor that does not answer holds the host for two seconds; some read samples first.
constexpr std::chrono::seconds longest_opening = 30s;

void say(const std::string& line) {
  std::printf("%s\n", line.c_str());
  std::fflush(stdout);
}

/// The chain's preset files: what was in them, and which have been rewritten.
class Presets {
 public:
  /// Says what will happen to each, before it can, and keeps what they hold.
  bool prepare(const ChainElements& chain, std::string& error) {
    for (unsigned plugin = 0; plugin < chain.size(); ++plugin) {
      const std::string& path = chain[plugin].preset_path;
      if (path.empty()) continue;
      paths_[plugin] = path;
      std::error_code unknown;
      if (!fs::exists(path, unknown)) {
        say(path + ": does not exist yet");
        continue;
      }
      auto old = OldPreset::keep(path, error);
      if (!old) return false;
      say(path + ": exists and will be rewritten; what it holds now is kept as " +
          old->kept_path());
      old_.emplace(plugin, std::move(*old));
    }
    if (paths_.empty()) say("the chain names no preset file (@path): no change will be kept");
    return true;
  }

  void take_notices(HostProcess& host) {
    while (const auto plugin = host.next_saved_notice()) note_written(*plugin);
  }

  void note_written(unsigned plugin) {
    const auto path = paths_.find(plugin);
    if (path != paths_.end() && rewritten_.insert(plugin).second) say(path->second + ": rewritten");
  }

  void sum_up() const {
    if (rewritten_.empty() && !paths_.empty()) say("no preset file was rewritten");
  }

 private:
  std::map<unsigned, std::string> paths_;
  std::map<unsigned, OldPreset> old_;
  std::set<unsigned> rewritten_;
};

/// What the host says of editors that failed, repeated once each.
class EditorFailures {
 public:
  explicit EditorFailures(const ChainElements& chain)
      : chain_(chain), start_(line_start(chain) + "editor of plugin ") {}

  void repeat_new(HostProcess& host) {
    for (const std::string& line : host.last_lines())
      if (line.starts_with(start_) && repeated_.insert(line).second)
        std::fprintf(stderr, "vesk-edit: %s\n", by_name(line, chain_).c_str());
  }

 private:
  const ChainElements& chain_;
  const std::string start_;
  std::set<std::string> repeated_;
};

/// What the plugin is called, without its maker before it; as messages call it where nothing else
/// is known.
std::string name_of(const ChainElement& plugin) {
  if (!plugin.exs_path.empty()) return plugin.name;
  const auto found = list_components({plugin.type, plugin.subtype, plugin.manufacturer, 0, 0});
  if (found.empty() || found.front().name.empty()) return plugin.name;
  return without_maker(found.front().name);
}

std::string title_of(const ChainElement& plugin) {
  const std::string name = name_of(plugin);
  if (plugin.preset_path.empty()) return name;
  return name + " - " + fs::path(plugin.preset_path).filename().string();
}

/// The plugins whose editors the host says that it could not open.
std::vector<unsigned> plugins_without_editor(HostProcess& host, const ChainElements& chain) {
  const std::vector<std::string> lines = host.last_lines();
  const std::string start = line_start(chain) + "no window for plugin ";
  std::vector<unsigned> without;
  for (unsigned plugin = 0; plugin < chain.size(); ++plugin)
    if (std::ranges::find(lines, start + std::to_string(plugin)) != lines.end())
      without.push_back(plugin);
  return without;
}

/// Opens every editor and tells which could not be. False when none could, or the host ended.
bool open_editors(HostProcess& host, const ChainElements& chain, std::string& error) {
  const auto plugins = static_cast<unsigned>(chain.size());
  for (unsigned plugin = 0; plugin < plugins; ++plugin)
    host.open_editor(plugin, title_of(chain[plugin]));
  // In small steps, so that Ctrl-C is heard while an editor takes its time.
  const auto deadline = std::chrono::steady_clock::now() + longest_opening * plugins;
  while (!host.settle(100ms)) {
    if (interruption() != 0 || host.has_ended()) return true;
    if (std::chrono::steady_clock::now() > deadline) {
      error = "the editors did not open within " +
              std::to_string((longest_opening * plugins).count()) + " seconds";
      return false;
    }
  }
  // The mask does not tell: an editor may have come and been closed again by now.
  const std::vector<unsigned> without = plugins_without_editor(host, chain);
  if (without.size() == plugins) {
    error = "no editor could be opened (is there a display?)";
    return false;
  }
  for (const unsigned plugin : without)
    say(name_in_chain(chain, plugin) + " has no editor to show");
  return true;
}

/// Until the last editor is closed, the host ends or somebody interrupts.
void watch_editors(HostProcess& host, Presets& presets, EditorFailures& failures) {
  while (host.open_mask() != 0 && !host.has_ended()) {
    if (interruption() != 0) return;
    presets.take_notices(host);
    failures.repeat_new(host);
    std::this_thread::sleep_for(look_interval);
  }
}

/// The host's own lines about files that it could not write.
std::string save_failure(HostProcess& host) {
  constexpr std::string_view own = "plugin host: ";
  for (const std::string& line : host.last_lines())
    if (line.starts_with("plugin host: could not save ")) return line.substr(own.size());
  return {};
}

std::optional<Song> song_of(const EditArguments& arguments, std::string& error) {
  if (!arguments.midi_path.empty()) return read_midi_file(arguments.midi_path, error);
  return arguments.plays_notes ? test_notes() : Song{};
}

/// Makes the preset files that the chain's plugins are to start from.
std::optional<StartPresets> prepare_start(const EditArguments& arguments, ChainElements& chain,
                                          Presets& presets, std::string& error) {
  ChainSettings settings = arguments.start;
  for (std::size_t plugin = 0; plugin < chain.size(); ++plugin)
    if (arguments.only_saves && !chain[plugin].preset_path.empty()) settings[plugin];
  auto made = StartPresets::make(chain, settings, true, arguments.sample_rate, error);
  if (!made) return made;
  for (const auto& [plugin, ignored] : settings)
    presets.note_written(static_cast<unsigned>(plugin));
  for (const std::string& remark : made->remarks()) say(remark);
  return made;
}

std::unique_ptr<HostProcess> start_host(const EditArguments& arguments, const ChainElements& chain,
                                        std::string& error) {
  client::Options options;
  options.chain = chain_text(chain);
  options.sample_rate_hz = arguments.sample_rate;
  options.max_frames = arguments.period;
  options.period_frames = arguments.period;
  auto host = HostProcess::spawn(options, error);
  if (host && !wait_until_ready(*host, chain, error)) host.reset();
  return host;
}

}  // namespace

bool edit_presets(const EditArguments& arguments, std::string& error) {
  std::optional<Song> song = song_of(arguments, error);
  if (!song) return false;
  if (!arguments.copy_path.empty()) {
    if (!copy_preset(arguments.original_path, arguments.copy_path, error)) return false;
    say(arguments.copy_path + ": copied from " + arguments.original_path +
        ", which stays as it is");
  }
  Presets presets;
  if (!presets.prepare(arguments.chain, error)) return false;

  // From here on Ctrl-C asks to stop; it is looked at between the steps.
  watch_for_interruption();
  ChainElements chain = arguments.chain;
  const auto start_presets = prepare_start(arguments, chain, presets, error);
  if (!start_presets || arguments.only_saves) return start_presets.has_value();
  if (!arguments.midi_path.empty() || arguments.plays_notes)
    for (const std::string& remark : midi_remarks(chain)) say(remark);
  const auto host = start_host(arguments, chain, error);
  if (!host) return false;
  for (const std::string& remark : missing_files(*host)) say(remark);
  const bool as_tones = arguments.plays_notes && chain.front().is_effect();
  std::optional<LivePlayer> player;
  player.emplace(*host, std::move(*song), as_tones);

  bool is_well = open_editors(*host, chain, error);
  EditorFailures failures(chain);
  if (is_well) watch_editors(*host, presets, failures);
  const double peak = to_dbfs(static_cast<double>(player->peak()));
  const bool has_bad_samples = player->has_bad_samples();
  player.reset();
  host->stop();
  presets.take_notices(*host);
  failures.repeat_new(*host);
  presets.sum_up();
  if (!host->ending().orderly()) {
    error = by_name(host->obituary(), chain);
    is_well = false;
  } else if (const std::string failure = save_failure(*host); !failure.empty()) {
    error = failure;
    is_well = false;
  }
  if (is_well && (arguments.plays_notes || !arguments.midi_path.empty())) {
    char line[64];
    std::snprintf(line, sizeof line, "played with a peak of %.1f dBFS", peak);
    say(std::isfinite(peak) ? line : "played, and nothing was to be heard");
    if (has_bad_samples) say("samples were infinite or not a number: a plugin is broken");
  }
  return is_well;
}

}  // namespace vesk::tools
