#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
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

/// A host that listens. Whatever does not come within a generous time ends the case.
class EditorHost : public RawHost {
 public:
  explicit EditorHost(const std::string& chain, std::vector<std::string> environment = {})
      : RawHost({.chain = chain, .environment = std::move(environment)}), chain_(chain) {
    if (!wait_listening()) throw std::runtime_error(block().error + standard_error());
  }

  /// Opens the editor of the first plugin and waits for its window.
  WindowPlace show(const std::string& title) {
    ask_window(host::WindowRequest::open, 0, title);
    const auto window = find_window(title);
    if (!window) throw std::runtime_error("no window " + title + ": " + standard_error());
    return *window;
  }
  /// Whether no editor is on screen before long and as many states were saved.
  bool closes_and_has_saved(std::uint32_t saves) {
    return wait_open(0) &&
           wait_until([&] { return host::load_acquire(block().saved_write) == saves; });
  }
  /// Opens and closes the editor; false when one of them did not happen.
  bool open_and_close() {
    ask_window(host::WindowRequest::open);
    if (!wait_open(1)) return false;
    ask_window(host::WindowRequest::close_all);
    return wait_open(0);
  }

  /// What the unit plays: its level.
  float heard() { return serve(64) ? block().output_left[63] : -1; }
  bool plays(float level) {
    return wait_until([&] { return std::abs(heard() - level) < 0.02f; });
  }
  bool set_level(float level) {
    set_parameter(0, kLevel, level);
    return plays(level);
  }

  /// Whether a hundred turns of the main loop take their second, and next to none of it at work.
  bool sleeps_between_turns() {
    const auto start = std::chrono::steady_clock::now();
    const double before = cpu_seconds(pid());
    for (int i = 0; i < 50; ++i)
      if (!wait_turns()) return false;
    const double worked = cpu_seconds(pid()) - before;
    return std::chrono::steady_clock::now() - start > std::chrono::milliseconds(900) &&
           worked < 0.1;
  }

  /// What it printed, but for the line on its workgroup.
  std::string lines() const {
    std::string lines = standard_error();
    const std::string workgroup = "plugin host " + chain_ + ": workgroup not shared\n";
    if (const std::size_t at = lines.find(workgroup); at != lines.npos)
      lines.erase(at, workgroup.size());
    return lines;
  }

 private:
  std::string chain_;
};

/// Hosts on an X server of the case's own.
class Editor : public testing::Test {
 protected:
  VirtualDisplay display_;
  ScratchFolder folder_;
};

}  // namespace vesk::tests
