#include "host/state_saver.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <utility>

#include "platform/host_process.hpp"
#include "tests/support/recording_unit.hpp"
#include "tests/support/scratch_folder.hpp"

namespace vesk::host {
namespace {

namespace fs = std::filesystem;

class StateSaverTest : public testing::Test {
 protected:
  StateSaverTest() { load(UnitScript::instrument + ("@" + preset_)); }

  void load(const std::string& text) {
    std::string error;
    EXPECT_TRUE(load_chain(text, 48000, 64, *block_, chain_, error)) << error;
  }

  std::string content() const {
    const tests::Bytes bytes = tests::file_bytes(preset_);
    return {bytes.begin(), bytes.end()};
  }

  const tests::ScratchFolder folder_;
  const std::string preset_ = folder_ / "p.aupreset";
  UnitScript script_;
  std::unique_ptr<Block> block_ = std::make_unique<Block>();
  Chain chain_;
  StateSaver saver_{block_.get(), &chain_.plugins};
};

TEST_F(StateSaverTest, WritesWhatChangedSinceTheBaseline) {
  saver_.capture_baseline(0);
  saver_.save(0);
  EXPECT_FALSE(fs::exists(preset_)) << "nothing has changed";

  script_.state_text = "one";
  saver_.capture_baseline(0);
  saver_.save(0);
  saver_.save(0);
  EXPECT_NE(content().find("one"), std::string::npos);
  EXPECT_EQ(load_acquire(block_->saved_write), 1u);

  script_.state_text = "two";
  saver_.save(0);
  EXPECT_NE(content().find("two"), std::string::npos);
  EXPECT_EQ(load_acquire(block_->saved_write), 2u);
  EXPECT_FALSE(fs::exists(preset_ + ".saving"));
}

TEST_F(StateSaverTest, NoticesNameThePluginAndWrapAroundTheRing) {
  load(UnitScript::effect);
  load(UnitScript::effect + ("@" + preset_));
  saver_.save(1);  // names no preset file
  EXPECT_TRUE(saver_.last_saved.empty()) << "and is not asked for its state";
  script_.class_info_get_status = kAudioUnitErr_InvalidProperty;
  saver_.save(2);  // its state cannot be captured
  EXPECT_TRUE(folder_.names().empty());
  EXPECT_EQ(load_acquire(block_->saved_write), 0u);
  script_.class_info_get_status = noErr;
  store_release(block_->saved_write, 4294967295u);
  block_->saved[15] = 99;
  saver_.save(2);
  EXPECT_EQ(block_->saved[15], 2u);
  EXPECT_EQ(load_acquire(block_->saved_write), 0u);
}

TEST_F(StateSaverTest, WhatCannotBeWrittenKeepsTheOldFileAndIsTriedAgain) {
  const std::string temporary = preset_ + ".saving", elsewhere = folder_ / "elsewhere";
  int held = -1;
  rlimit unlimited{};
  getrlimit(RLIMIT_FSIZE, &unlimited);
  const struct {
    const char* name;
    bool passes;  // by itself
    std::function<void()> plant;
  } cases[] = {
      {"a pipe without a reader", false, [&] { mkfifo(temporary.c_str(), 0600); }},
      {"a pipe with a reader", false,
       [&] {
         mkfifo(temporary.c_str(), 0600);
         held = open(temporary.c_str(), O_RDONLY | O_NONBLOCK);
       }},
      {"a symbolic link", false, [&] { fs::create_symlink(elsewhere, temporary); }},
      {"a second name", false, [&] { fs::create_hard_link(elsewhere, temporary); }},
      {"another saver at work", true,
       [&] {
         std::ofstream(temporary) << "half of it";
         held = open(temporary.c_str(), O_RDONLY);
         EXPECT_EQ(flock(held, LOCK_EX), 0);
       }},
      {"a full disk", true,
       [&] {
         std::signal(SIGXFSZ, SIG_IGN);
         const rlimit limit{150, unlimited.rlim_max};
         setrlimit(RLIMIT_FSIZE, &limit);
       }},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    std::ofstream(elsewhere) << "of no concern";
    script_.state_text = std::string("before ") + c.name;
    saver_.save(0);
    const std::string old = content();
    const std::uint32_t notices = load_acquire(block_->saved_write);
    c.plant();
    script_.state_text = std::string("with ") + c.name;
    testing::internal::CaptureStderr();
    saver_.save(0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "plugin host: could not save state to " + preset_ + "\n");
    EXPECT_EQ(content(), old);
    EXPECT_EQ(load_acquire(block_->saved_write), notices);
    const tests::Bytes untouched = tests::file_bytes(elsewhere);
    EXPECT_EQ(std::string(untouched.begin(), untouched.end()), "of no concern");
    if (held >= 0) close(std::exchange(held, -1));
    setrlimit(RLIMIT_FSIZE, &unlimited);
    if (!c.passes) fs::remove(temporary);
    saver_.save(0);
    EXPECT_NE(content().find(script_.state_text), std::string::npos);
  }
}

TEST_F(StateSaverTest, TheFileStaysWhatItWasToOthers) {
  for (const mode_t mode : {0600, 0664}) {
    std::ofstream(preset_) << "old";
    chmod(preset_.c_str(), mode);
    script_.state_text = std::to_string(mode);
    saver_.save(0);
    EXPECT_EQ(static_cast<mode_t>(fs::status(preset_).permissions()), mode);
  }
  const std::string real = folder_ / "real.aupreset";
  fs::rename(preset_, real);
  fs::create_symlink("real.aupreset", preset_);
  script_.state_text = "through a link";
  saver_.save(0);
  EXPECT_TRUE(fs::is_symlink(preset_));
  EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(real)));
  EXPECT_NE(content().find("through a link"), std::string::npos);
}

TEST_F(StateSaverTest, ASaveUnderWayWhenTheParentDiesIsFinished) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  const pid_t parent = fork();
  if (parent == 0) {
    int watches[2];
    if (pipe(watches) != 0) _exit(1);
    if (fork() != 0) {
      // Ends once the host watches it.
      (void)!read(watches[0], watches, 1);
      _exit(0);
    }
    platform::prepare_host_process("late");
    (void)!write(watches[1], "w", 1);
    script_.pause = std::chrono::seconds(7);
    script_.state_text = "late";
    saver_.save(0);
    _exit(0);
  }
  close(ends[1]);
  waitpid(parent, nullptr, 0);
  char none = 0;
  EXPECT_EQ(read(ends[0], &none, 1), 0) << "the host has ended";
  close(ends[0]);
  EXPECT_NE(content().find("late"), std::string::npos);
}

TEST_F(StateSaverTest, ARefusedRenameIsTriedAgain) {
  fs::create_directory(preset_);
  script_.state_text = "new";
  saver_.save(0);
  EXPECT_EQ(load_acquire(block_->saved_write), 0u);
  fs::remove(preset_);
  saver_.save(0);
  EXPECT_EQ(load_acquire(block_->saved_write), 1u);
}

}  // namespace
}  // namespace vesk::host
