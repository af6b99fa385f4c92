#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

#include "tools/edit/arguments.hpp"
#include "tools/edit/edit_presets.hpp"
#include "tools/program/command_line.hpp"
#include "tools/program/interruption.hpp"
#include "tools/program/standard_output.hpp"
#include "vesk/plugin_names.hpp"

int main(int argc, char** argv) {
  using namespace vesk::tools;
  make_size_limit_an_error();
  const std::vector<std::string> words(argv + 1, argv + argc);
  std::string error;
  if (const std::string text = text_asked_for(words, "vesk-edit", edit_help.c_str());
      !text.empty()) {
    if (print(STDOUT_FILENO, text, error)) return 0;
    std::fprintf(stderr, "vesk-edit: %s\n", error.c_str());
    return 1;
  }
  const auto fail = [&error] {
    std::fprintf(stderr, "vesk-edit: %s\n", error.c_str());
    return 1;
  };
  const auto refuse = [&error] {
    std::fprintf(stderr, "vesk-edit: %s; vesk-edit --help tells how\n", error.c_str());
    return 2;
  };
  auto arguments = parse_edit_arguments(words, error);
  if (!arguments) return refuse();
  const std::string& chain = arguments->chain_words;
  const auto specification = vesk::client::specification_of({chain, arguments->settings}, error);
  if (!specification) return fail();
  if (!take_chain(*arguments, *specification, error)) return refuse();
  if (*specification != chain)
    std::fprintf(stderr, "vesk-edit: the chain is %s\n", specification->c_str());
  return edit_presets(*arguments, error) ? 0 : fail();
}
