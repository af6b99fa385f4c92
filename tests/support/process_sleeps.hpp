#pragma once

#include <sys/types.h>

#include <filesystem>
#include <fstream>
#include <string>

namespace vesk::tests {

/// How often the threads of a process have gone to sleep so far.
inline long process_sleeps(pid_t process) {
  long sum = 0;
  const std::filesystem::path folder = "/proc/" + std::to_string(process) + "/task";
  for (const auto& thread : std::filesystem::directory_iterator(folder)) {
    std::ifstream status(thread.path() / "status");
    std::string word;
    long count = 0;
    while (status >> word)
      if (word == "voluntary_ctxt_switches:" && status >> count) sum += count;
  }
  return sum;
}

}  // namespace vesk::tests
