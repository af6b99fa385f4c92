#include "tools/program/interruption.hpp"

#include <csignal>
#include <cstdlib>
#include <initializer_list>

namespace vesk::tools {
namespace {

volatile std::sig_atomic_t g_signal = 0;

extern "C" void remember_signal(int number) {
  g_signal = number;
}

}  // namespace

void make_size_limit_an_error() {
  std::signal(SIGXFSZ, SIG_IGN);
}

void watch_for_interruption() {
  for (int number : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction before{};
    if (sigaction(number, nullptr, &before) != 0 || before.sa_handler == SIG_IGN) continue;
    struct sigaction action{};
    action.sa_handler = remember_signal;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    sigemptyset(&action.sa_mask);
    sigaction(number, &action, nullptr);
  }
}

int interruption() noexcept {
  return g_signal;
}

void end_by_signal(int signal_number) {
  std::signal(signal_number, SIG_DFL);
  std::raise(signal_number);
  std::_Exit(128 + signal_number);
}

}  // namespace vesk::tools
