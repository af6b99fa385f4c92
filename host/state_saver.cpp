#include "host/state_saver.hpp"

#include <cstdio>
#include <fstream>
#include <string>

#include "host/diagnostics.hpp"
#include "platform/plugin_call.hpp"

namespace vesk::host {
namespace {

std::vector<std::uint8_t> state_of(const AudioUnitPlugin& plugin, unsigned index) {
  const platform::PluginCall call(index, "state");
  return plugin.state();
}

/// Writes all of `bytes` to a fresh file. False when any of them could not be written.
bool write_file(const std::string& path, const std::vector<std::uint8_t>& bytes) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file.write(reinterpret_cast<const char*>(bytes.data()),
             static_cast<std::streamsize>(bytes.size()));
  // A full disk shows when the buffer reaches it, which for a small state is only now.
  file.flush();
  return file.good();
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
  std::vector<std::uint8_t> bytes = state_of(instance, plugin);
  if (bytes.empty()) return;
  std::vector<std::uint8_t>& last = last_saved[plugin];
  if (last == bytes) return;

  const std::string temporary = path + ".saving";
  if (!write_file(temporary, bytes)) {
    print_line("plugin host: could not save state to " + path);
    return;
  }
  if (std::rename(temporary.c_str(), path.c_str()) != 0) return;
  last = std::move(bytes);
  post_notice(*block, plugin);
}

}  // namespace vesk::host
