#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

#include "tools/play/arguments.hpp"
#include "tools/play/session.hpp"
#include "tools/program/command_line.hpp"
#include "tools/program/interruption.hpp"
#include "tools/program/standard_output.hpp"

int main(int argc, char** argv) {
  using namespace vesk::tools;
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
  if (!take_chains(*arguments, error) || !Session(*arguments).run(error)) {
    std::fprintf(stderr, "vesk-play: %s\n", error.c_str());
    return 1;
  }
  return 0;
}
