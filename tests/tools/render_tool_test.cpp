// The parts of vesk-render, each alone: audio in and out, measuring, drawing, the command line.

#include <fcntl.h>
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <numbers>
#include <optional>

#include "tests/support/scratch_folder.hpp"
#include "tests/tools/sound_file.hpp"
#include "tools/audio/analysis.hpp"
#include "tools/audio/loudness.hpp"
#include "tools/audio/picture.hpp"
#include "tools/audio/reader.hpp"
#include "tools/audio/tail.hpp"
#include "tools/audio/writer.hpp"
#include "tools/program/output_file.hpp"
#include "tools/render/arguments.hpp"
#include "tools/render/repetition.hpp"

namespace vesk::tools {
namespace {

namespace fs = std::filesystem;
using tests::Bytes;
using tests::file_bytes;
using tests::read_sound;
using tests::ScratchFolder;
using tests::write_sound;

TEST(tail, EndsAfterAQuietSecondWhereverThePeriodsFall) {
  const double rate = 8'000;
  std::vector<float> sound(5 * 8'000, 0.0f);
  for (int i = 0; i < 12'345; ++i) sound[i] = 1e-4f;  // -80 dBFS, then silence
  for (std::uint32_t period : {1u, 64u, 777u, 4096u}) {
    SCOPED_TRACE(period);
    Tail tail(std::nullopt, rate);
    std::size_t taken = 0;
    while (!tail.is_over()) taken += tail.take(&sound[taken], &sound[taken], period);
    EXPECT_EQ(taken, 12'345u + 8'000u);
    EXPECT_FALSE(tail.was_cut());
  }
  std::vector<float> loud(31 * 8'000, 0.5f);
  Tail endless(std::nullopt, rate);
  EXPECT_EQ(endless.take(loud.data(), loud.data(), 31 * 8'000), 30u * 8'000u);
  EXPECT_TRUE(endless.was_cut());
  Tail fixed(2.5, rate);
  EXPECT_EQ(fixed.take(loud.data(), loud.data(), 31 * 8'000), 20'000u);
  EXPECT_FALSE(fixed.was_cut());
}

std::vector<float> sine(double hz, double rate, std::size_t frames, double amplitude) {
  std::vector<float> samples(frames);
  for (std::size_t i = 0; i < frames; ++i)
    samples[i] = float(amplitude * std::sin(2.0 * std::numbers::pi * hz * double(i) / rate));
  return samples;
}

std::vector<float> in_turn(const std::vector<float>& left, const std::vector<float>& right) {
  std::vector<float> samples;
  for (std::size_t i = 0; i < left.size(); ++i) samples.insert(samples.end(), {left[i], right[i]});
  return samples;
}

/// Writes a file that may grow to `most_frames`, and gives how many samples were clipped.
std::uint64_t write_as(const std::string& path, const std::vector<float>& left,
                       const std::vector<float>& right, std::uint64_t most_frames = 0) {
  std::string error;
  AudioFormat format{};
  EXPECT_TRUE(format_of_name(path, format));
  auto file = OutputFile::create(path, error);
  const auto writer = file ? AudioWriter::open(*file, format, 48'000, most_frames, error) : nullptr;
  const bool is_written =
      writer && writer->write(left.data(), right.data(), std::uint32_t(left.size()), error) &&
      writer->finish(error) && file->commit(error);
  EXPECT_TRUE(is_written) << error;
  return is_written ? writer->clipped_samples() : 0;
}

TEST(audio_files, HoldWhatTheirFormatCanAndTheSameBytesEachTime) {
  const auto tone = sine(440, 48'000, 10'000, 0.5), other = sine(330, 48'000, 10'000, 0.5);
  const auto loud = sine(440, 48'000, 10'000, 1.5);
  const std::vector<float> extreme{0.5f, 1.0f, 1.5f, -2.0f, NAN};
  const struct {
    const char* name;
    std::vector<float> left, right;
    std::vector<float> written_left;
    double precision;  ///< of a sample
    std::uint64_t clipped = 0;
    std::uint64_t most_frames = 0;
  } cases[] = {
      {"a.wav", loud, other, loud, 0},
      // Could have become one beyond 4 GB, and has not.
      {"a.wav", loud, other, loud, 0, 0, 1u << 30},
      // 24 bits
      {"a.flac", extreme, std::vector<float>(5, -0.25f), {0.5f, 1, 1, -1, 0}, 1e-6, 2},
      {"a.OGG", tone, other, tone, 0.05},
      {"a.opus", tone, other, tone, 0.05},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.name);
    const ScratchFolder folder;
    const std::string path = folder / test.name;
    EXPECT_EQ(write_as(path, test.left, test.right, test.most_frames), test.clipped);
    const std::vector<float> samples = read_sound(path).samples;
    const std::vector<float> expected = in_turn(test.written_left, test.right);
    ASSERT_EQ(samples.size(), expected.size());
    for (std::size_t i = 0; i < samples.size(); ++i)
      ASSERT_NEAR(samples[i], expected[i], test.precision) << i;
    const Bytes bytes = file_bytes(path);
    EXPECT_EQ(std::string(bytes.begin(), bytes.end()).substr(0, 200).find("PEAK"),
              std::string::npos);
    EXPECT_NE(std::string(bytes.begin(), bytes.begin() + 4), "RF64");

    // An Ogg stream's number follows from its content.
    write_as(path, test.left, test.right, test.most_frames);
    EXPECT_TRUE(file_bytes(path) == bytes);
    write_as(path, test.right, test.right, test.most_frames);
    const Bytes another = file_bytes(path);
    EXPECT_EQ(bytes[0] == 'O' && std::equal(&bytes[14], &bytes[18], &another[14]), false);
  }
}

TEST(repetition, NamesTheFirstFrameThatDiffers) {
  const std::vector<float> tone = sine(440, 48'000, 100'000, 0.5);
  const auto with = [&](std::size_t frame, float value) {
    std::vector<float> changed = tone;
    changed[frame] = value;
    return changed;
  };
  const struct {
    const char* name;
    std::vector<float> second;
    const char* message;
  } cases[] = {
      {"a.wav", tone, ""},
      {"a.flac", with(99'999, 0.9f), "from frame 99999 on (2.083 s)"},
      {"a.wav", with(24'000, std::bit_cast<float>(0x7fc00001)), "from frame 24000 on (0.500 s)"},
      {"a.wav", {tone.begin(), tone.end() - 1}, "from frame 99999 on"},
      {"a.wav", {}, "from frame 0 on"},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.message);
    const ScratchFolder folder;
    std::string error;
    AudioFormat format{};
    format_of_name(test.name, format);
    std::optional<OutputFile> files[2];
    for (const bool is_second : {false, true}) {
      const std::vector<float>& left = is_second ? test.second : tone;
      auto& file = files[is_second] = OutputFile::create(folder / test.name, error);
      const auto writer = AudioWriter::open(*file, format, 48'000, 0, error);
      ASSERT_TRUE(writer->write(left.data(), tone.data(), std::uint32_t(left.size()), error) &&
                  writer->finish(error))
          << error;
    }
    EXPECT_EQ(is_same_audio(*files[0], *files[1], error), error.empty());
    EXPECT_EQ(error.empty(), !*test.message);
    EXPECT_NE(error.find(test.message), std::string::npos) << error;
  }
}

TEST(audio_files, AnotherRateIsConverted) {
  const ScratchFolder folder;
  const auto tone = sine(1'000, 44'100, 44'100, 0.5);
  write_sound(folder / "a.wav", {44'100, in_turn(tone, tone)});
  std::string error;
  const auto reader = AudioReader::open(folder / "a.wav", 48'000, error);
  ASSERT_TRUE(reader) << error;
  std::vector<float> left(60'000), right(60'000);
  EXPECT_NEAR(reader->read(left.data(), right.data(), 60'000), 48'000, 2);
  EXPECT_EQ(reader->length_frames(), 48'000u);
  const auto expected = sine(1'000, 48'000, 48'000, 0.5);
  for (std::size_t i = 2'000; i < 46'000; ++i) ASSERT_NEAR(left[i], expected[i], 1e-4) << i;
}

TEST(audio_files, OneThatIsDamagedSaysSoWhereverAndEndsForGood) {
  const ScratchFolder folder;
  const std::string path = folder / "a.flac";
  constexpr std::uint32_t frames = 9'000;  // three of its blocks
  write_sound(path, {16'000, std::vector<float>(2 * frames)}, SF_FORMAT_FLAC | SF_FORMAT_PCM_16);
  const Bytes whole = file_bytes(path);
  const std::string_view text(reinterpret_cast<const char*>(whole.data()), whole.size());
  std::vector<float> left(2 * frames), right(2 * frames);
  for (std::size_t at = text.find("\xff\xf8"); at <= whole.size(); ++at) {
    SCOPED_TRACE(at);
    Bytes bytes = whole;
    if (at < bytes.size()) bytes[at] ^= 0xff;
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
    for (const int rate : {0, 8'000}) {
      std::string error;
      const auto reader = AudioReader::open(path, rate, error);
      ASSERT_TRUE(reader) << error;
      reader->read(left.data(), right.data(), 2 * frames);
      EXPECT_EQ(reader->failure().empty(), at == bytes.size());
      EXPECT_EQ(reader->read(left.data(), right.data(), 1), 0u);
    }
  }
}

TEST(output_file, FollowsALinkAndTakesNothingButAFile) {
  const ScratchFolder folder;
  std::string error;
  std::ofstream(folder / "a.wav") << "old";
  fs::create_symlink(folder / "a.wav", folder / "link.wav");
  auto file = OutputFile::create(folder / "link.wav", error);
  ASSERT_TRUE(file && file->write("new", 3, error)) << error;
  EXPECT_EQ(file_bytes(file->temporary_path()), (Bytes{'n', 'e', 'w'}));
  if (const int unnamed = open(folder.path().c_str(), O_TMPFILE | O_RDWR, 0600); unnamed >= 0) {
    close(unnamed);
    EXPECT_EQ(folder.names().size(), 2u) << "a kill now would leave what has no name";
  }
  ASSERT_TRUE(file->commit(error)) << error;
  EXPECT_EQ(file_bytes(folder / "a.wav"), (Bytes{'n', 'e', 'w'}));
  EXPECT_TRUE(fs::is_symlink(folder / "link.wav"));
  EXPECT_FALSE(OutputFile::create("/dev/null", error));
  EXPECT_EQ(error, "/dev/null: cannot be written: not a regular file");
}

TEST(loudness, ACalibratedToneMeasuresRight) {
  // 997 Hz at -20 dBFS on both sides is -20 LUFS by BS.1770 (EBU Tech 3341, case 1's principle).
  LoudnessMeter meter(48'000);
  const auto tone = sine(997, 48'000, 48'000 * 5, 0.1);
  meter.add(tone.data(), tone.data(), std::uint32_t(tone.size()));
  EXPECT_NEAR(to_dbfs(double(meter.peak())), -20.0, 0.01);
  ASSERT_TRUE(meter.integrated_lufs());
  EXPECT_NEAR(*meter.integrated_lufs(), -20.0, 0.1);

  LoudnessMeter broken(48'000);
  const float bad[]{NAN, INFINITY, 0.25f};
  broken.add(bad, bad, 3);
  EXPECT_EQ(broken.bad_samples(), 4u);
  EXPECT_EQ(broken.peak(), 0.25f);
  EXPECT_FALSE(broken.integrated_lufs());
}

TEST(analysis, AToneStandsInItsRowAndItsTime) {
  const ScratchFolder folder;
  auto tone = sine(1'000, 48'000, 96'000, 0.5);
  std::fill(tone.begin() + 48'000, tone.end(), 0.0f);
  write_sound(folder / "a.wav", {48'000, in_turn(tone, tone)});
  std::string error;
  const auto analysis = analyse_audio(folder / "a.wav", 100, 200, error);
  ASSERT_TRUE(analysis) << error;
  unsigned loudest = 0;
  for (unsigned row = 0; row < 200; ++row)
    if (analysis->level(25, row) > analysis->level(25, loudest)) loudest = row;
  const double hz = analysis->highest_hz *
                    std::pow(analysis->lowest_hz / analysis->highest_hz, (loudest + 0.5) / 200);
  EXPECT_NEAR(hz, 1'000, 30);
  EXPECT_NEAR(analysis->level(25, loudest), -6.0, 1.5);
  EXPECT_LT(analysis->level(75, loudest), -150);
  EXPECT_NEAR(analysis->left[25].high, 0.5, 0.01);
  EXPECT_EQ(analysis->right[75].high, 0.0f);
}

TEST(picture, IsDrawnForAnyLength) {
  for (std::size_t frames : {0u, 1u, 1000u, 200'000u}) {
    SCOPED_TRACE(frames);
    const ScratchFolder folder;
    const auto tone = sine(440, 48'000, frames, 0.5);
    write_sound(folder / "a.wav", {48'000, in_turn(tone, tone)});
    std::string error;
    auto png = OutputFile::create(folder / "a.png", error);
    ASSERT_TRUE(png) << error;
    EXPECT_TRUE(draw_picture(folder / "a.wav", {"a", std::string(2'000, 'x') + "\u2192", "1 s"},
                             *png, error))
        << error;
    ASSERT_TRUE(png->commit(error));
    const Bytes bytes = file_bytes(folder / "a.png");
    ASSERT_GT(bytes.size(), 2'000u);
    EXPECT_EQ(bytes[1], 'P');
  }
}

TEST(render_arguments, SenselessCommandLinesAreRefusedInWords) {
  const auto with = [](std::vector<std::string> more) {
    more.insert(more.begin(), {"aumu:Sm48:LV2_", "-m", "a.mid", "-o", "a.wav"});
    return more;
  };
  const auto many = [](std::vector<std::string> more) {
    more.insert(more.begin(), {"aufx:jvLs:LV2_", "--out-dir", "out"});
    return more;
  };
  const std::string no_format = "give --format, or a name that ends in .wav, .flac, .ogg or .opus";
  const struct {
    std::vector<std::string> words;
    std::string message;
  } cases[] = {
      {{}, "no chain given"},
      {{"aumu:Sm48:LV2_", "-o", "a.wav"}, "nothing to play: give a MIDI file or an audio file"},
      {{"aumu:Sm48:LV2_", "a.mid", "-o", "a.mp3"}, "-o a.mp3: " + no_format},
      {{"aumu:Sm48:LV2_", "a.mid", "-o", "a.wav", "-f", "opus"},
       "-o a.wav: the name and --format ask for different things"},
      {with({"--format", "mp3"}), "--format takes wav, flac, ogg or opus, not \"mp3\""},
      {with({"--plot", "a.jpg"}), "--plot a.jpg: the name must end in .png"},
      {with({"--period", "0"}), "--period takes 1 to 4096 frames, not \"0\""},
      {with({"--period", "12x"}), "--period takes 1 to 4096 frames, not \"12x\""},
      {with({"-r", "7999"}), "-r takes 8000 to 384000 Hz, not \"7999\""},
      {with({"--tail", "nan"}), "--tail takes 0 to 3600 seconds, not \"nan\""},
      {with({"--tail", "0x1"}), "--tail takes 0 to 3600 seconds, not \"0x1\""},
      {with({"--tail"}), "--tail needs a value"},
      {with({"--duration", "-1"}), "--duration takes 0 to 86400 seconds, not \"-1\""},
      {{"aumf:abcd:efgh", "-m", "-", "-i", "-", "-o", "-"}, "--midi and --input are the same"},
      {with({"--loud"}), "unknown option --loud"},
      {with({"--quiet=1"}), "--quiet takes no value"},
      {with({"again"}),
       "\"again\" is an INPUT beside --midi a.mid (quote a chain with blanks or '|')"},
      {with({"one", "two"}),
       "several INPUTs need --out-dir FOLDER; \"two\" is a second one (quote a chain with blanks "
       "or '|')"},
      {with({"--preroll", "2"}), "--preroll is what is played before --start, and there is none"},
      {with({"--jobs", "2"}), "--jobs, --limit, --keep-folders and --again go with --out-dir"},
      {many({}), "nothing to play: give a MIDI file or an audio file"},
      {many({"-i", "a.wav"}), "--out-dir takes its INPUTs as words behind the chain"},
      {many({"a.wav", "-o", "a.flac"}),
       "--output and --plot are for one rendering, --out-dir for many"},
      {many({"a.wav", "-"}), "--out-dir takes no standard input, which comes once and has no name"},
      {many({"a.wav", "--jobs", "0"}), "--jobs takes 1 to 64, not \"0\""},
      {with({"-i", "a.wav"}), "aumu:Sm48:LV2_ is no effect and takes no --input"},
      {{"aufx:jvLs:LV2_", "-m", "a.mid", "-o", "a.wav"},
       "aufx:jvLs:LV2_ is an effect and needs audio, as INPUT or by --input"},
      {{"aufx:jvLs:LV2_", "-m", "a.mid", "-i", "b.wav", "-o", "a.wav"},
       "aufx:jvLs:LV2_ takes no MIDI events (effects of type aumf do)"},
      {{"piano", "-m", "a.mid", "-o", "a.wav"},
       "chain \"piano\": expected TYPE:SUBTYPE:MANUFACTURER, as vesk-list prints it"},
      {{"aumu:Sm48:LV2_|aumu:Sm48:LV2_", "-m", "a.mid", "-o", "a.wav"},
       "chain \"aumu:Sm48:LV2_|aumu:Sm48:LV2_\": aumu:Sm48:LV2_ is not an effect"},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.message);
    std::string error;
    auto arguments = parse_render_arguments(test.words, error);
    EXPECT_FALSE(arguments && take_chain(*arguments, arguments->chain_words, error));
    EXPECT_EQ(error, test.message);
  }
}

}  // namespace
}  // namespace vesk::tools
