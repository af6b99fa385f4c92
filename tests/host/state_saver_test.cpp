#include "host/state_saver.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

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
  load(UnitScript::effect + ("@" + preset_));
  store_release(block_->saved_write, 4294967295u);
  block_->saved[15] = 99;
  script_.state_text = "wrapped";
  saver_.save(1);
  EXPECT_EQ(block_->saved[15], 1u);
  EXPECT_EQ(load_acquire(block_->saved_write), 0u);
}

TEST_F(StateSaverTest, LeavesOthersAlone) {
  load(UnitScript::effect);
  saver_.save(1);  // names no preset file
  script_.class_info_get_status = kAudioUnitErr_InvalidProperty;
  saver_.save(0);  // its state cannot be captured
  EXPECT_TRUE(folder_.names().empty());
  EXPECT_EQ(load_acquire(block_->saved_write), 0u);
}

TEST_F(StateSaverTest, AFolderThatIsGoneIsTold) {
  fs::remove(folder_.path());
  script_.state_text = "new";
  testing::internal::CaptureStderr();
  saver_.save(0);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "plugin host: could not save state to " + preset_ + "\n");
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
