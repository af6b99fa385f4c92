// Saves the states of one plugin, each after the other, until it is killed:
// state_driver PRESET FIRST. After each save its number goes to standard output, as four bytes.

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "host/state_saver.hpp"
#include "tests/support/numbered_state.hpp"
#include "tests/support/recording_unit.hpp"

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  UnitScript script;
  const auto block = std::make_unique<vesk::host::Block>();
  vesk::host::Chain chain;
  std::string error;
  if (!load_chain(std::string(UnitScript::instrument) + "@" + argv[1], 48000, 64, *block, chain,
                  error)) {
    std::fprintf(stderr, "%s\n", error.c_str());
    return 1;
  }
  vesk::host::StateSaver saver(block.get(), &chain.plugins);
  for (unsigned number = static_cast<unsigned>(std::atoi(argv[2]));; ++number) {
    script.state_text = vesk::tests::numbered_state(number);
    saver.save(0);
    if (write(STDOUT_FILENO, &number, sizeof number) != sizeof number) return 1;
  }
}
