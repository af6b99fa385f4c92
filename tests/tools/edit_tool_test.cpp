// The parts of vesk-edit, each alone: the command line, and what is played.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "tools/edit/arguments.hpp"
#include "tools/edit/test_notes.hpp"
#include "tools/midi/period_events.hpp"

namespace vesk::tools {
namespace {

TEST(edit_arguments, TakeWhatCanBeMeant) {
  std::string error;
  const auto all =
      parse_edit_arguments({"exs:/a.exs@x|aufx:kZu9:LV2_|aufx:kZu9:LV2_#1=2@/p@q#1,2",
                            "--copy-to=new@", "--play", "s.mid", "-r", "44100", "--period=64"},
                           error);
  ASSERT_TRUE(all) << error;
  EXPECT_EQ(chain_text(all->chain), "exs:/a.exs@x|aufx:kZu9:LV2_|aufx:kZu9:LV2_#1=2@new@");
  EXPECT_EQ(all->original_path, "/p@q#1,2");
  EXPECT_EQ(all->copy_path, "new@");
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
  const std::pair<std::vector<std::string>, std::string> cases[] = {
      {{}, "no chain given"},
      {{"piano"}, "chain \"piano\": expected TYPE:SUBTYPE:MANUFACTURER, as vesk-list prints it"},
      {{"aumu:Sm48:LV2_", "--play="}, "--play needs a file name"},
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
  for (const auto& [words, message] : cases) {
    std::string error;
    EXPECT_FALSE(parse_edit_arguments(words, error)) << message;
    EXPECT_EQ(error, message);
  }
}

TEST(edit_notes, BecomeTonesAtTheirFrames) {
  const Song song = test_notes();
  PeriodEvents events(song, 48'000);
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
