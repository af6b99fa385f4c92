#include <cstdio>
#include <string>
#include <vector>

#include "tools/edit/arguments.hpp"
#include "tools/edit/edit_presets.hpp"
#include "tools/program/interruption.hpp"

int main(int argc, char** argv) {
  using namespace vesk::tools;
  make_size_limit_an_error();
  const std::vector<std::string> words(argv + 1, argv + argc);
  std::string error;
  const auto arguments = parse_edit_arguments(words, error);
  if (!arguments) {
    std::fprintf(stderr, "vesk-edit: %s; vesk-edit --help tells how\n", error.c_str());
    return 2;
  }
  if (arguments->wants_help) {
    std::fputs(edit_help, stdout);
    return std::fflush(stdout) == 0 ? 0 : 1;
  }
  if (!edit_presets(*arguments, error)) {
    std::fprintf(stderr, "vesk-edit: %s\n", error.c_str());
    return 1;
  }
  return 0;
}
