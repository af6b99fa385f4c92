// vesk-soak-state: loads one plugin as a host does, and tells its state and its parameters' values.
// vesk-soak runs it, twice to compare.

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include "plugin/audio_unit_plugin.hpp"
#include "tools/program/command_line.hpp"
#include "tools/program/json.hpp"
#include "tools/program/standard_output.hpp"

namespace {

using namespace vesk;
using tools::Json;

constexpr const char* usage =
    "usage: vesk-soak-state PLUGIN\n"
    "\n"
    "Loads a plugin as a host does and prints its state and its parameters' values as a JSON "
    "object.\n"
    "vesk-soak runs it, twice to compare.\n"
    "\n"
    "  -h, --help  this text\n"
    "  --version   the program's version\n";

constexpr double rate = 48'000;
constexpr unsigned max_frames = 512;
// Whoever asked has given up by then, or is gone.
constexpr unsigned longest_life_s = 90;

Json values_of(AudioUnit unit) {
  UInt32 size = 0;
  Boolean is_writable = false;
  Json values = Json::array();
  if (AudioUnitGetPropertyInfo(unit, kAudioUnitProperty_ParameterList, kAudioUnitScope_Global, 0,
                               &size, &is_writable) != noErr)
    return values;
  std::vector<AudioUnitParameterID> ids(size / sizeof(AudioUnitParameterID));
  if (ids.empty() || AudioUnitGetProperty(unit, kAudioUnitProperty_ParameterList,
                                          kAudioUnitScope_Global, 0, ids.data(), &size) != noErr)
    return values;
  for (const AudioUnitParameterID id : ids) {
    AudioUnitParameterValue value = 0;
    if (AudioUnitGetParameter(unit, id, kAudioUnitScope_Global, 0, &value) == noErr)
      values.push_back({{"id", id}, {"value", value}});
  }
  return values;
}

Json answer_about(const std::string& text) {
  std::string error;
  auto spec = PluginSpec::parse(text, error);
  if (!spec) return {{"error", error}};
  AudioUnitPlugin plugin(*std::move(spec), false);
  if (!plugin.load(rate, max_frames, error)) return {{"error", error}};
  const std::vector<std::uint8_t> state = plugin.state();
  Json answer{{"state", std::string(state.begin(), state.end())},
              {"values", values_of(plugin.unit())}};
  plugin.detach();
  plugin.dispose();
  return answer;
}

}  // namespace

// JSON throws when it is used as what it is not. NOLINTNEXTLINE(bugprone-exception-escape)
int main(int argc, char** argv) {
  const std::vector<std::string> words(argv + 1, argv + argc);
  if (const std::string text = tools::text_asked_for(words, "vesk-soak-state", usage);
      !text.empty()) {
    std::fputs(text.c_str(), stdout);
    return 0;
  }
  if (words.size() != 1) {
    std::fputs(usage, stderr);
    return 2;
  }
  alarm(longest_life_s);
  // What the plugin prints must not come between.
  const int output = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  dup2(STDERR_FILENO, STDOUT_FILENO);
  std::string error;
  const bool is_told = tools::print(output, tools::json_text(answer_about(words[0])), error);
  // Nothing is left to do, and a plugin may crash on the way out.
  std::_Exit(is_told ? 0 : 1);
}
