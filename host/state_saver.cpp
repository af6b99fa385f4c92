#include "host/state_saver.hpp"

#include <string>

#include "host/diagnostics.hpp"
#include "host/file_replacement.hpp"
#include "platform/parent_watch.hpp"
#include "platform/plugin_call.hpp"

namespace vesk::host {
namespace {

std::vector<std::uint8_t> state_of(const AudioUnitPlugin& plugin, unsigned index) {
  const platform::PluginCall call(index, "state");
  return plugin.state();
}

/// Tells the parent that the plugin's file has been rewritten.
void post_notice(Block& block, unsigned plugin) {
  const std::uint32_t written = load_relaxed(block.saved_write);
  block.saved[written % saved_slots] = plugin;
  // Release: the slot's contents must be visible before its counter.
  store_release(block.saved_write, written + 1);
}

}  // namespace

void StateSaver::capture_baseline(unsigned plugin) {
  if (last_saved.contains(plugin)) return;
  last_saved.emplace(plugin, state_of(*(*plugins)[plugin], plugin));
}

void StateSaver::save(unsigned plugin) {
  const AudioUnitPlugin& instance = *(*plugins)[plugin];
  const std::string& path = instance.spec().preset_path;
  if (path.empty()) return;
  const platform::SaveUnderWay under_way;
  std::vector<std::uint8_t> bytes = state_of(instance, plugin);
  if (bytes.empty()) return;
  std::vector<std::uint8_t>& last = last_saved[plugin];
  if (last == bytes) return;

  switch (replace_file(path, bytes)) {
    case Replacement::not_written:
      print_line("plugin host: could not save state to " + path);
      return;
    case Replacement::not_renamed:
      return;
    case Replacement::done:
      break;
  }
  last = std::move(bytes);
  post_notice(*block, plugin);
}

}  // namespace vesk::host
