// Whatever moment a host is killed at, its preset file loads, and holds the state before or after
// a save and never a mixture.

#include <AudioToolbox/AudioToolbox.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <random>
#include <thread>

#include "host/chain.hpp"
#include "tests/support/display.hpp"
#include "tests/support/numbered_state.hpp"
#include "tests/support/raw_host.hpp"
#include "tests/support/recording_unit.hpp"
#include "tests/support/scratch_folder.hpp"
#include "tests/support/wait_until.hpp"

namespace vesk::host {
namespace {

using namespace vesk::tests;
using namespace std::chrono_literals;

constexpr int driver_kills = 450;
constexpr int host_kills = 50;

void sleep_up_to(std::chrono::microseconds longest, std::minstd_rand& random) {
  std::uniform_int_distribution<long> delay(0, longest.count());
  std::this_thread::sleep_for(std::chrono::microseconds(delay(random)));
}

/// Starts the driver from state `first` on, with its reports going to `output`.
pid_t start_driver(const std::string& preset, unsigned first, int output) {
  const std::string program = build_folder() + "/tests/state_driver";
  const std::string number = std::to_string(first);
  const pid_t child = fork();
  if (child != 0) return child;
  dup2(output, STDOUT_FILENO);
  execl(program.c_str(), program.c_str(), preset.c_str(), number.c_str(), nullptr);
  _exit(127);
}

void kill_driver(pid_t child) {
  kill(child, SIGKILL);
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_TRUE(WIFSIGNALED(status)) << "the driver ended by itself: " << status;
}

/// Runs the driver from state `first` on and kills it. What it said last, or `first` - 1.
unsigned run_driver(const std::string& preset, unsigned first, std::minstd_rand& random) {
  int ends[2];
  EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
  const pid_t child = start_driver(preset, first, ends[1]);
  close(ends[1]);
  // Most of the time, once it has begun to save; the driver takes some milliseconds to get there.
  if (random() % 8 != 0) {
    pollfd first_word{ends[0], POLLIN, 0};
    poll(&first_word, 1, 10'000);
  }
  sleep_up_to(8ms, random);
  kill_driver(child);
  unsigned last = first - 1;
  for (unsigned word = 0; read(ends[0], &word, sizeof word) == sizeof word;) last = word;
  close(ends[0]);
  return last;
}

class StateChaos : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    // Read by the first search of this process.
    setenv("AUDIO_COMPONENT_PATH", (build_folder() + "/components").c_str(), 1);
  }

  std::minstd_rand random_{20'261'124};
  const std::unique_ptr<Block> block_ = std::make_unique<Block>();
};

/// What kills of the driver met.
struct Strikes {
  int while_writing = 0;
  int before_the_report = 0;
  unsigned saves = 0;
};

TEST_F(StateChaos, AKilledSaveLeavesTheOldStateOrTheNew) {
  // A file system on a disk spends its time renaming, one in memory writing.
  for (const char* place : {"/tmp", "/dev/shm"}) {
    setenv("TMPDIR", place, 1);
    const ScratchFolder folder;
    const std::string preset = folder / "p.aupreset";
    Strikes strikes;
    for (int round = 0; round < driver_kills / 2; ++round) {
      const unsigned said = run_driver(preset, strikes.saves + 1, random_);
      strikes.while_writing += std::filesystem::exists(preset + ".saving");
      if (!std::filesystem::exists(preset)) continue;

      UnitScript script;
      Chain chain;
      std::string error;
      ASSERT_TRUE(load_chain(std::string(UnitScript::instrument) + "@" + preset, 48000, 64, *block_,
                             chain, error))
          << "round " << round << ": " << error;
      const auto found =
          static_cast<unsigned>(std::strtoul(script.state_text.c_str(), nullptr, 10));
      ASSERT_TRUE(script.state_text == numbered_state(found)) << "round " << round << ": a mixture";
      ASSERT_TRUE(found == said || found == said + 1)
          << "round " << round << ": " << found << " after " << said;
      strikes.before_the_report += found == said + 1;
      strikes.saves = found;
    }
    EXPECT_GT(strikes.while_writing, 0) << place << ": the kills missed what they were to hit";
    std::printf("%s: %u saves, %d kills while writing, %d between renaming and the report\n", place,
                strikes.saves, strikes.while_writing, strikes.before_the_report);
  }
  unsetenv("TMPDIR");
}

TEST_F(StateChaos, TwoSaversOfOneFileLeaveTheStateOfOneOfThem) {
  const ScratchFolder folder;
  const std::string preset = folder / "p.aupreset";
  const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
  for (unsigned round = 0; round < 10; ++round) {
    const pid_t savers[] = {start_driver(preset, 1, nowhere), start_driver(preset, 7000, nowhere)};
    wait_until([&] { return std::filesystem::exists(preset); });
    for (int look = 0; look <= 20; ++look) {
      if (look == 20)
        for (const pid_t saver : savers) kill_driver(saver);
      UnitScript script;
      Chain chain;
      std::string error;
      EXPECT_TRUE(load_chain(std::string(UnitScript::instrument) + "@" + preset, 48000, 64, *block_,
                             chain, error))
          << "round " << round << ", look " << look << ": " << error;
      const auto found = std::strtoul(script.state_text.c_str(), nullptr, 10);
      EXPECT_TRUE(script.state_text == numbered_state(static_cast<unsigned>(found)))
          << "round " << round << ", look " << look << ": a mixture";
    }
  }
  close(nowhere);
}

constexpr const char* editor_unit = "aumu:Edit:Vesk#1=1@";
constexpr std::uint32_t level = 0;

/// The level that save number `number` is made with.
float level_of(unsigned number) {
  return static_cast<float>(number % 1000) / 1000.0f;
}

/// Opens the editor, changes the level and closes it, over and over, from save `number` on, until
/// the host is gone.
void use_editor(RawHost& host, unsigned number) {
  Block& block = host.block();
  const auto has_ended = [&] { return host.has_ended(); };
  for (; !has_ended(); ++number) {
    const std::uint32_t saves = load_acquire(block.saved_write);
    host.ask_window(WindowRequest::open, 0, "Chaos");
    host.wait_open(1);
    host.set_parameter(0, level, level_of(number));
    wait_until([&] {
      return (host.serve(16, 0, 20ms) && block.output_left[15] == level_of(number)) || has_ended();
    });
    host.ask_window(WindowRequest::close_all);
    wait_until([&] { return load_acquire(block.saved_write) != saves || has_ended(); });
  }
}

TEST_F(StateChaos, AKilledHostLeavesTheOldStateOrTheNew) {
  const VirtualDisplay display;
  ASSERT_TRUE(display.is_running());
  const ScratchFolder folder;
  const std::string preset = folder / "p.aupreset";
  unsigned known = 0;
  for (int round = 0; round < host_kills; ++round) {
    unsigned said = known;
    {
      RawHost host({.chain = editor_unit + preset});
      ASSERT_TRUE(host.wait_listening()) << "round " << round << ": " << host.block().error;
      std::thread killer([&] {
        wait_until([&] { return load_acquire(host.block().open_mask) == 1; });
        sleep_up_to(150ms, random_);
        kill(host.pid(), SIGKILL);
      });
      use_editor(host, known + 1);
      killer.join();
      said += load_acquire(host.block().saved_write);
    }
    if (!std::filesystem::exists(preset)) continue;
    Chain chain;
    std::string error;
    ASSERT_TRUE(load_chain(editor_unit + preset, 48000, 64, *block_, chain, error))
        << "round " << round << ": " << error;
    float found = -1;
    AudioUnitGetParameter(chain.plugins[0]->unit(), level, kAudioUnitScope_Global, 0, &found);
    ASSERT_TRUE(found == level_of(said) || found == level_of(said + 1))
        << "round " << round << ": " << found << " after save " << said;
    known = found == level_of(said) ? said : said + 1;
  }
  std::printf("%u saves, %d kills\n", known, host_kills);
  EXPECT_GT(known, unsigned{host_kills});
}

}  // namespace
}  // namespace vesk::host
