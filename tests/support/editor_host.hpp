#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cmath>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>

#include "host/atomics.hpp"
#include "tests/support/display.hpp"
#include "tests/support/empty_preset.hpp"
#include "tests/support/raw_host.hpp"
#include "tests/support/scratch_folder.hpp"
#include "tests/support/wait_until.hpp"

extern "C" {
#include "tests/components/editors/variants.h"
}

namespace vesk::tests {

/// The chain of the editors unit alone.
inline std::string editors(EditorVariant variant, const std::string& preset = {}) {
  return "aumu:Edit:Vesk#1=" + std::to_string(variant) + (preset.empty() ? "" : "@" + preset);
}

/// A preset of the unit that sets nothing.
inline std::string empty_preset(const ScratchFolder& folder) {
  std::string path = folder / "state.aupreset";
  write_empty_preset(path, 'aumu', 'Edit', 'Vesk');
  return path;
}

/// What the unit plays: its level.
inline float heard(RawHost& host) {
  return host.serve(64) ? host.block().output_left[63] : -1;
}

inline bool wait_heard(RawHost& host, float level) {
  return wait_until([&] { return std::abs(heard(host) - level) < 0.02f; });
}

inline std::string lines_without_workgroup(const RawHost& host) {
  std::string lines = host.standard_error();
  const std::size_t at = lines.find("plugin host " + std::string("aumu"));
  const std::size_t workgroup = lines.find(": workgroup not shared\n");
  if (at != lines.npos && workgroup != lines.npos) {
    const std::size_t start = lines.rfind("plugin host ", workgroup);
    lines.erase(start, workgroup + std::strlen(": workgroup not shared\n") - start);
  }
  return lines;
}

/// CPU time of a process so far, in seconds.
inline double cpu_seconds(pid_t process) {
  std::ifstream file("/proc/" + std::to_string(process) + "/stat");
  std::string text{std::istreambuf_iterator<char>(file), {}};
  std::istringstream fields(text.substr(text.rfind(')') + 2));
  std::string skipped;
  for (int field = 3; field < 14; ++field) fields >> skipped;
  double user = 0;
  double system = 0;
  fields >> user >> system;
  return (user + system) / static_cast<double>(sysconf(_SC_CLK_TCK));
}

/// Whether a hundred turns of the main loop take their second, and next to none of it at work.
inline bool sleeps_between_turns(RawHost& host) {
  const auto start = std::chrono::steady_clock::now();
  const double before = cpu_seconds(host.pid());
  for (int i = 0; i < 50; ++i)
    if (!host.wait_turns()) return false;
  const double worked = cpu_seconds(host.pid()) - before;
  return std::chrono::steady_clock::now() - start > std::chrono::milliseconds(900) && worked < 0.1;
}

/// Hosts on an X server of the case's own.
class Editor : public testing::Test {
 protected:
  VirtualDisplay display_;
};

}  // namespace vesk::tests
