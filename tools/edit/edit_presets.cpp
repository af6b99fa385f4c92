#include "tools/edit/edit_presets.hpp"

#include <chrono>
#include <cmath>
#include <cstdio>
#include <memory>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

#include "tools/audio/loudness.hpp"
#include "tools/edit/live_player.hpp"
#include "tools/hosting/host_words.hpp"
#include "tools/live/editors.hpp"
#include "tools/live/kept_presets.hpp"
#include "tools/live/session.hpp"
#include "tools/midi/midi_file.hpp"
#include "tools/midi/test_notes.hpp"
#include "tools/program/interruption.hpp"
#include "vesk/host_process.hpp"

namespace vesk::tools {
namespace {

using client::HostProcess;
using namespace std::chrono_literals;

constexpr auto look_interval = 20ms;
/// An editor that does not answer holds the host for two seconds; some read samples first.
constexpr std::chrono::seconds longest_opening = 30s;

void say(const std::string& line) {
  std::printf("%s\n", line.c_str());
  std::fflush(stdout);
}

void say(const std::vector<std::string>& lines) {
  for (const std::string& line : lines) say(line);
}

void complain(const std::vector<std::string>& lines) {
  for (const std::string& line : lines) std::fprintf(stderr, "vesk-edit: %s\n", line.c_str());
}

/// Opens every editor and tells which could not be. False when none could, or the host ended.
bool open_editors(HostProcess& host, const ChainElements& chain, std::string& error) {
  const auto plugins = static_cast<unsigned>(chain.size());
  ask_for_editors(host, chain);
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
void watch_editors(HostProcess& host, KeptPresets& presets, EditorFailures& failures) {
  while (host.open_mask() != 0 && !host.has_ended()) {
    if (interruption() != 0) return;
    say(presets.news(0, host));
    complain(failures.new_lines(host));
    std::this_thread::sleep_for(look_interval);
  }
}

std::optional<Song> song_of(const EditArguments& arguments, std::string& error) {
  if (!arguments.midi_path.empty()) return read_midi_file(arguments.midi_path, error);
  return arguments.plays_notes ? test_notes() : Song{};
}

/// Makes the preset files that the chain's plugins are to start from.
std::optional<StartPresets> prepare_start(const EditArguments& arguments, ChainElements& chain,
                                          KeptPresets& presets, std::string& error) {
  ChainSettings settings = arguments.start;
  for (std::size_t plugin = 0; plugin < chain.size(); ++plugin)
    if (arguments.only_saves && !chain[plugin].preset_path.empty()) settings[plugin];
  auto made = StartPresets::make(chain, settings, true, arguments.sample_rate, error);
  if (!made) return made;
  for (const auto& [plugin, ignored] : settings)
    say(presets.note_written(0, static_cast<unsigned>(plugin)));
  say(made->remarks());
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

bool edit_live(const EditArguments& arguments, const ChainElements& chain, Song song, bool as_tones,
               KeptPresets& presets, std::string& error) {
  LiveSettings settings;
  settings.chains = {chain};
  settings.name = "vesk-edit";
  settings.connects = arguments.connects;
  settings.shows_editors = true;
  settings.ends_with_editors = true;
  settings.has_tones = as_tones;
  if (!song.events.empty()) settings.song = std::move(song);
  return play_live(settings, presets, [](const std::string& line) { say(line); }, error);
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
  KeptPresets presets;
  std::vector<std::string> remarks;
  const bool are_kept = presets.keep(arguments.chain, remarks, error);
  say(remarks);
  if (!are_kept) return false;

  // From here on Ctrl-C asks to stop; it is looked at between the steps.
  watch_for_interruption();
  ChainElements chain = arguments.chain;
  const auto start_presets = prepare_start(arguments, chain, presets, error);
  if (!start_presets || arguments.only_saves) return start_presets.has_value();
  if (!arguments.midi_path.empty() || arguments.plays_notes) say(midi_remarks(chain));
  const bool as_tones = arguments.plays_notes && chain.front().is_effect();
  if (arguments.is_live)
    return edit_live(arguments, chain, *std::move(song), as_tones, presets, error);
  const auto host = start_host(arguments, chain, error);
  if (!host) return false;
  say(missing_files(*host));
  std::optional<LivePlayer> player;
  player.emplace(*host, std::move(*song), as_tones);

  bool is_well = open_editors(*host, chain, error);
  EditorFailures failures(chain);
  if (is_well) watch_editors(*host, presets, failures);
  const double peak = to_dbfs(static_cast<double>(player->peak()));
  const bool has_bad_samples = player->has_bad_samples();
  player.reset();
  host->stop();
  say(presets.news(0, *host));
  complain(failures.new_lines(*host));
  say(presets.summary());
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
