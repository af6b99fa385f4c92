// An instrument file and its samples, from the disk to what is heard.

#include "components/sampler/voices/exs_sound.hpp"

#include <gtest/gtest.h>

#include <filesystem>

#include "tests/sampler/exs_writer.hpp"
#include "tests/sampler/sample_files.hpp"
#include "tests/sampler/sine_fit.hpp"
#include "tests/support/scratch_folder.hpp"

namespace vesk::sampler {
namespace {

using namespace vesk::tests;

/// Deep enough that a search for samples does not come to what other tests leave beside it.
class Library {
 public:
  std::string operator/(const std::string& name) const { return folder_ / ("a/b/c/d/e/f/" + name); }
  Library() { std::filesystem::create_directories(*this / ""); }

 private:
  ScratchFolder folder_;
};

ExsInstrument piano() {
  ExsInstrument piano;
  for (const char* name : {"low.wav", "high.aif", "gone.wav"})
    piano.samples.push_back({.folder = "/Volumes/Old/Piano", .file_name = name, .frames = 44100});
  for (int i = 0; i < 3; ++i)
    piano.zones.push_back({.sample = i, .key_low = 40 * i, .key_high = 40 * i + 39, .volume = -3});
  return piano;
}

TEST(ExsSound, PlaysWhatIsThereAndSaysWhatIsNot) {
  const Library folder;
  ASSERT_TRUE(write_exs(folder / "piano.exs", piano()));
  ASSERT_TRUE(write_sine(folder / "Samples/LOW.wav"));
  ASSERT_TRUE(write_sine(folder / "high.aif"));
  std::string error;
  const auto sound = load_exs_sound(folder / "piano.exs", error);
  ASSERT_NE(sound, nullptr) << error;
  EXPECT_EQ(error, "");
  EXPECT_EQ(sound->remark(), "1 of 3 samples are missing, the first is gone.wav");
  const auto player = sound->make_player(48000, 512, error);
  ASSERT_NE(player, nullptr) << error;
  for (const auto& [key, level] : {std::pair(36, 0.5), {72, 0.5}, {90, 0.0}}) {
    std::vector<float> left(9600), right(9600);
    player->reset();
    player->midi(0x90, static_cast<std::uint8_t>(key), 127);
    for (unsigned i = 0; i < left.size(); i += 480) player->render(&left[i], &right[i], 480);
    const double turns = 261.6255653 * std::exp2((key - 60) / 12.0) / 48000;
    const std::span<const float> heard(left);
    EXPECT_NEAR(fit_sine(heard, turns).level, level * std::pow(10, -3 / 20.0), 0.005) << key;
    if (level > 0) EXPECT_NEAR(cents_above(heard, turns), 0, 0.1) << key;
  }
}

TEST(ExsSound, SaysWhyThereIsNone) {
  const Library folder;
  ASSERT_TRUE(write_exs(folder / "piano.exs", piano()));
  ASSERT_TRUE(write_sine(folder / "sound.exs"));
  const struct {
    const char* file;
    const char* text;
  } cases[] = {{"none.exs", "none.exs"},
               {"sound.exs", "sound.exs"},
               {"piano.exs", "piano.exs: none of its samples was found, the first is low.wav"}};
  for (const auto& each : cases) {
    std::string error;
    EXPECT_EQ(load_exs_sound(folder / each.file, error), nullptr);
    EXPECT_NE(error.find(each.text), std::string::npos) << error;
  }
}

}  // namespace
}  // namespace vesk::sampler
