// Whatever moment a process that saves is killed at, its preset file loads, and holds the state
// before or after a save and never a mixture.

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>

#include "host/state_saver.hpp"
#include "tests/support/recording_unit.hpp"
#include "tests/support/scratch_folder.hpp"
#include "tests/support/wait_until.hpp"

namespace vesk::host {
namespace {

using tests::wait_until;

constexpr int kills_per_place = 225;

/// A state of a few bytes to some hundred kilobytes, all of which follows from its number, so that
/// a mixture of two shows.
std::string numbered_state(unsigned number) {
  const std::string word = std::to_string(number) + " ";
  const std::size_t size = number * std::size_t{7919} % 400'000;
  std::string state = word;
  while (state.size() < size) state += word;
  return state;
}

std::string load(const std::string& preset, Block& block, Chain& chain) {
  std::string error;
  load_chain(UnitScript::instrument + ("@" + preset), 48000, 64, block, chain, error);
  return error;
}

/// Saves the states from `first` on, each after the other, until it is killed.
[[noreturn]] void save_for_ever(const std::string& preset, Block& block, unsigned first) {
  UnitScript script;
  Chain chain;
  if (const std::string error = load(preset, block, chain); !error.empty()) {
    std::fprintf(stderr, "%s\n", error.c_str());
    _exit(1);
  }
  StateSaver saver(&block, &chain.plugins);
  for (unsigned number = first;; ++number) {
    script.state_text = numbered_state(number);
    saver.save(0);
  }
}

TEST(StateChaos, AKilledSaveLeavesTheOldStateOrTheNew) {
  void* const memory =
      mmap(nullptr, sizeof(Block), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(memory, MAP_FAILED);
  Block& block = *static_cast<Block*>(memory);
  std::minstd_rand random(20'261'124);
  std::uniform_int_distribution<useconds_t> delay_us(0, 8000);
  // A file system on a disk spends its time renaming, one in memory writing.
  for (const char* place : {"/tmp", "/dev/shm"}) {
    setenv("TMPDIR", place, 1);
    const tests::ScratchFolder folder;
    const std::string preset = folder / "p.aupreset";
    int while_writing = 0;
    int before_the_notice = 0;
    unsigned saves = 0;
    for (int round = 0; round < kills_per_place; ++round) {
      store_release(block.saved_write, 0);
      const pid_t child = fork();
      if (child == 0) save_for_ever(preset, block, saves + 1);
      // Most of the time, once it has begun to save; it takes some milliseconds to get there.
      if (random() % 8 != 0)
        EXPECT_TRUE(wait_until([&] { return load_acquire(block.saved_write) != 0; }));
      // At any moment, or in the middle of the writing, which is short.
      const auto patience = std::chrono::steady_clock::now() + std::chrono::seconds(5);
      if (round % 2 == 0)
        usleep(delay_us(random));
      else
        while (access((preset + ".saving").c_str(), F_OK) != 0 &&
               std::chrono::steady_clock::now() < patience) {
        }
      kill(child, SIGKILL);
      int status = 0;
      waitpid(child, &status, 0);
      ASSERT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) << status;
      const unsigned said = saves + load_acquire(block.saved_write);
      while_writing += std::filesystem::exists(preset + ".saving");
      if (!std::filesystem::exists(preset)) continue;

      UnitScript script;
      Chain chain;
      ASSERT_EQ(load(preset, block, chain), "") << "round " << round;
      const auto found =
          static_cast<unsigned>(std::strtoul(script.state_text.c_str(), nullptr, 10));
      ASSERT_TRUE(script.state_text == numbered_state(found)) << "round " << round << ": a mixture";
      ASSERT_TRUE(found == said || found == said + 1)
          << "round " << round << ": " << found << " after the notice of " << said;
      before_the_notice += found == said + 1;
      saves = found;
    }
    EXPECT_GT(while_writing, 0) << place << ": the kills missed what they were to hit";
    std::printf("%s: %u saves, %d kills while writing, %d between renaming and the notice\n", place,
                saves, while_writing, before_the_notice);
  }
  unsetenv("TMPDIR");
  munmap(memory, sizeof(Block));
}

TEST(StateChaos, TwoSaversOfOneFileLeaveTheStateOfOneOfThem) {
  const tests::ScratchFolder folder;
  const std::string preset = folder / "p.aupreset";
  const auto block = std::make_unique<Block>();
  for (unsigned round = 0; round < 10; ++round) {
    pid_t savers[2];
    for (pid_t& saver : savers) {
      saver = fork();
      if (saver == 0) save_for_ever(preset, *block, &saver == savers ? 1 : 7000);
    }
    wait_until([&] { return std::filesystem::exists(preset); });
    for (int look = 0; look <= 20; ++look) {
      if (look == 20) {
        for (const pid_t saver : savers) {
          kill(saver, SIGKILL);
          waitpid(saver, nullptr, 0);
        }
      }
      UnitScript script;
      Chain chain;
      EXPECT_EQ(load(preset, *block, chain), "") << "round " << round << ", look " << look;
      const auto found = std::strtoul(script.state_text.c_str(), nullptr, 10);
      EXPECT_TRUE(script.state_text == numbered_state(static_cast<unsigned>(found)))
          << "round " << round << ", look " << look << ": a mixture";
    }
  }
}

}  // namespace
}  // namespace vesk::host
