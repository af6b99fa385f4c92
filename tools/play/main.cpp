#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

#include "tools/play/arguments.hpp"
#include "tools/program/command_line.hpp"
#include "tools/program/interruption.hpp"
#include "tools/program/standard_output.hpp"

namespace {

using namespace vesk::tools;

void say(const std::string& line) {
  std::fprintf(stderr, "%s\n", line.c_str());
}

bool play(const LiveSettings& settings, std::string& error) {
  KeptPresets presets;
  for (std::size_t i = 0; settings.shows_editors && i < settings.chains.size(); ++i) {
    std::vector<std::string> remarks;
    const bool are_kept = presets.keep(settings.chains[i], remarks, error);
    for (const std::string& remark : remarks) say(remark);
    if (!are_kept) return false;
  }
  return play_live(settings, presets, say, error);
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> words(argv + 1, argv + argc);
  std::string error;
  if (const std::string text = text_asked_for(words, "vesk-play", play_help); !text.empty()) {
    if (print(STDOUT_FILENO, text, error)) return 0;
    std::fprintf(stderr, "vesk-play: %s\n", error.c_str());
    return 1;
  }
  auto arguments = parse_play_arguments(words, error);
  if (!arguments) {
    std::fprintf(stderr, "vesk-play: %s; vesk-play --help tells how\n", error.c_str());
    return 2;
  }
  watch_for_interruption();
  if (take_chains(*arguments, error) && play(arguments->settings, error)) return 0;
  std::fprintf(stderr, "vesk-play: %s\n", error.c_str());
  return 1;
}
