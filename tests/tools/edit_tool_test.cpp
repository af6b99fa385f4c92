// The parts of vesk-edit, each alone: the command line, preset files, what is played.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <fstream>

#include "tests/support/scratch_folder.hpp"
#include "tools/edit/arguments.hpp"
#include "tools/edit/preset_file.hpp"
#include "tools/edit/test_notes.hpp"
#include "tools/midi/period_events.hpp"

namespace vesk::tools {
namespace {

using tests::ScratchFolder;

void write_file(const std::string& path, const std::string& content) {
  std::ofstream(path, std::ios::binary) << content;
}

std::string content_of(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

TEST(edit_arguments, TakeWhatCanBeMeant) {
  std::string error;
  const auto all = parse_edit_arguments({"aumu:Sm48:LV2_#1=2@a@b|aufx:kZu9:LV2_", "--copy-to=c",
                                         "--play", "s.mid", "-r", "44100", "--period=64"},
                                        error);
  ASSERT_TRUE(all) << error;
  EXPECT_EQ(chain_text(all->chain), "aumu:Sm48:LV2_#1=2@c|aufx:kZu9:LV2_");
  EXPECT_EQ(all->original_path, "a@b");
  EXPECT_EQ(all->copy_path, "c");
  EXPECT_EQ(all->midi_path, "s.mid");
  EXPECT_EQ(all->sample_rate, 44'100);
  EXPECT_EQ(all->period, 64u);
  EXPECT_FALSE(all->plays_notes);
  const auto effect = parse_edit_arguments({"--notes", "--", "aufx:kZu9:LV2_"}, error);
  ASSERT_TRUE(effect) << error;
  EXPECT_TRUE(effect->plays_notes);
}

TEST(edit_arguments, RefuseTheRestInWords) {
  std::string long_chain = "aumu:Sm48:LV2_";
  for (int i = 0; i < 32; ++i) long_chain += "|aufx:kZu9:LV2_";
  const struct {
    std::vector<std::string> words;
    std::string error;
  } cases[] = {
      {{}, "no chain given"},
      {{"aumu:Sm48:LV2_", "aufx:kZu9:LV2_"},
       "one chain at a time; \"aufx:kZu9:LV2_\" is a second one (quote a chain with '|')"},
      {{"piano"}, "chain \"piano\": expected TYPE:SUBTYPE:MANUFACTURER, as vesk-list prints it"},
      {{"aumu:Sm48:LV2_", "--plays"}, "unknown option --plays"},
      {{"aumu:Sm48:LV2_", "--play"}, "--play needs a value"},
      {{"aumu:Sm48:LV2_", "--play="}, "--play needs a file name"},
      {{"aumu:Sm48:LV2_", "--notes=yes"}, "--notes takes no value"},
      {{"aumu:Sm48:LV2_", "--notes", "--play", "s.mid"}, "--play or --notes, not both"},
      {{"aumu:Sm48:LV2_", "--period", "4097"}, "--period takes 1 to 4096 frames, not \"4097\""},
      {{"aumu:Sm48:LV2_", "-r", "7999"}, "-r takes 8000 to 384000 Hz, not \"7999\""},
      {{"aufx:kZu9:LV2_", "--play", "s.mid"},
       "the chain starts with an effect that takes no MIDI events; --notes sends it tones"},
      {{"aumu:Sm48:LV2_", "--copy-to", "c"}, "the chain names no preset file to copy"},
      {{"aumu:Sm48:LV2_@a|aufx:kZu9:LV2_@b", "--copy-to", "c"},
       "the chain names 2 preset files, and one can be copied"},
      {{"aumu:Sm48:LV2_@a", "--copy-to", "c|d"}, "a chain cannot name c|d, because of its '|'"},
      {{"aumu:Sm48:LV2_@a|aufx:kZu9:LV2_@a"}, "two plugins of the chain name the preset file a"},
      {{long_chain}, "a chain of more than 32 plugins cannot be shown"},
  };
  for (const auto& test : cases) {
    std::string error;
    EXPECT_FALSE(parse_edit_arguments(test.words, error)) << test.error;
    EXPECT_EQ(error, test.error);
  }
}

TEST(edit_presets, StandWhereTheChainNamesThem) {
  std::string old, error;
  auto chain = parse_chain("exs:/a.exs@x|aufx:kZu9:LV2_|aufx:kZu9:LV2_#1=2@/p@q#1,2",
                           ChainStart::instrument, error);
  ASSERT_TRUE(chain) << error;
  ASSERT_TRUE(replace_preset(*chain, "new@", old, error)) << error;
  EXPECT_EQ(chain_text(*chain), "exs:/a.exs@x|aufx:kZu9:LV2_|aufx:kZu9:LV2_#1=2@new@");
  EXPECT_EQ(old, "/p@q#1,2");
}

TEST(edit_presets, ACopyNeverReplacesAFile) {
  const ScratchFolder folder;
  std::string error;
  EXPECT_FALSE(copy_preset(folder / "a", folder / "b", error));
  EXPECT_EQ(error, folder / "a" + ": cannot be read: No such file or directory");
  write_file(folder / "a", "one");
  EXPECT_TRUE(copy_preset(folder / "a", folder / "b", error));
  EXPECT_EQ(content_of(folder / "b"), "one");
  write_file(folder / "a", "two");
  EXPECT_FALSE(copy_preset(folder / "a", folder / "b", error));
  EXPECT_EQ(error, folder / "b" + ": exists already");
  EXPECT_EQ(content_of(folder / "b"), "one");
}

TEST(edit_presets, TheOldContentIsKeptOnlyOfAFileThatChanges) {
  const ScratchFolder folder;
  const std::string preset = folder / "p", kept = folder / "p~";
  std::string error;
  EXPECT_FALSE(OldPreset::keep(preset, error));
  write_file(preset, "one");
  {
    const auto old = OldPreset::keep(preset, error);
    ASSERT_TRUE(old) << error;
    EXPECT_EQ(content_of(kept), "one") << "from the start: this program may be killed";
  }
  EXPECT_FALSE(std::filesystem::exists(kept)) << "nothing has changed";
  {
    const auto old = OldPreset::keep(preset, error);
    write_file(preset, "two");
    EXPECT_TRUE(old->has_changed());
  }
  EXPECT_EQ(content_of(kept), "one");
  {
    const auto old = OldPreset::keep(preset, error);
  }
  EXPECT_EQ(content_of(kept), "one") << "a look costs no older version";
  EXPECT_EQ(folder.names().size(), 2u);
}

TEST(edit_notes, BecomeTonesAtTheirFrames) {
  const Song song = test_notes();
  PeriodEvents events(song.events, 48'000);
  PluckedTone tone(48'000);
  std::vector<float> sound(96'000);
  for (std::size_t start = 0; start < sound.size(); start += 96)
    tone.play(events.next(96).events, std::span(sound).subspan(start, 96));
  const auto peak = [&](std::size_t from, std::size_t count) {
    float most = 0;
    for (std::size_t i = from; i < from + count; ++i) most = std::max(most, std::abs(sound[i]));
    return most;
  };
  // Eight notes, each louder than the one before and all but gone when the next begins.
  for (std::size_t note = 0; note < 8; ++note) {
    const std::size_t start = note * 12'000;
    EXPECT_GT(peak(start, 1000), 0.9f * 0.5f * (40.0f + 12.0f * static_cast<float>(note)) / 127.0f)
        << note;
    EXPECT_LT(peak(start + 11'500, 500), 0.2f * peak(start, 1000)) << note;
  }
  EXPECT_EQ(song.length_seconds, 2.0);
}

}  // namespace
}  // namespace vesk::tools
