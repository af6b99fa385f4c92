#pragma once

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <string>
#include <vector>

namespace vesk::tests {

/// A program run to its end, with what it printed.
struct ProgramResult {
  int status = -1;  ///< exit status, or 128 + the signal that ended it
  std::string output;
  std::string errors;
};

struct ProgramOptions {
  std::vector<std::string> environment = {};  ///< "NAME=value", beside the test's own
  std::size_t largest_file = 0;               ///< bytes that it may write to one file; 0: no limit
  int signal = 0;                             ///< sent to it after `signal_after`
  std::chrono::milliseconds signal_after{0};
  /// Called with its process id on another thread once it runs; returns before the result does.
  std::function<void(pid_t program)> meanwhile = {};
};

/// Runs `words` (the program's path first) and waits for it, at most two minutes.
ProgramResult run_program(const std::vector<std::string>& words,
                          const ProgramOptions& options = {});

/// The folder of the build tree, with `bin` and `lib` in it.
std::string build_tree();

}  // namespace vesk::tests
