// A parent that is killed while an editor is open: what was changed in it is saved all the same.

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <string>

#include "tests/support/display.hpp"
#include "tests/support/scratch_folder.hpp"
#include "tests/support/wait_until.hpp"
#include "vesk/host_process.hpp"

namespace {

using namespace vesk::tests;
using namespace std::chrono_literals;

// Prints 256 KiB, more than a pipe holds, whenever its state is read.
const std::string talkative_unit = "aumu:Bad_:Vesk#29=256@";
constexpr std::uint32_t some_parameter = 9;
constexpr float changed_value = 123;

enum class End { in_order, by_being_killed };

/// A parent in a process of its own, from start to end.
[[noreturn]] void be_parent(const std::string& preset, End end) {
  vesk::client::Options options;
  options.chain = talkative_unit + preset;
  options.environment = {"AUDIO_COMPONENT_PATH=" VESK_COMPONENTS};
  std::string error;
  const auto host = vesk::client::HostProcess::start(options, error);
  if (!host) _exit(2);
  host->open_editor(0, "Talks");
  if (!host->settle(10s) || host->open_mask() != 1) _exit(3);
  host->set_parameter(0, some_parameter, changed_value);
  if (!host->settle(10s)) _exit(4);
  if (end == End::by_being_killed) raise(SIGKILL);
  _exit(host->stop().orderly() ? 0 : 5);
}

int status_of_parent(const std::string& preset, End end) {
  const pid_t parent = fork();
  if (parent == 0) be_parent(preset, end);
  int status = 0;
  waitpid(parent, &status, 0);
  return status;
}

TEST(StateOrphaned, IsSavedWhenTheParentIsKilledAndThePluginPrints) {
  const VirtualDisplay display;
  const ScratchFolder folder;
  const std::string expected = folder / "expected.aupreset", preset = folder / "p.aupreset";
  ASSERT_EQ(status_of_parent(expected, End::in_order), 0);
  const Bytes changed = file_bytes(expected);
  ASSERT_FALSE(changed.empty());

  const int status = status_of_parent(preset, End::by_being_killed);
  ASSERT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) << WEXITSTATUS(status);
  wait_until([&] { return !file_bytes(preset).empty(); }, 30s);
  EXPECT_TRUE(file_bytes(preset) == changed) << "of " << file_bytes(preset).size() << " bytes";
}

}  // namespace
