// Samples of instruments, found where libraries really lie.

#include "components/sampler/instrument/sample_search.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "components/sampler/instrument/text.hpp"
#include "tests/sampler/sample_files.hpp"
#include "tests/support/scratch_folder.hpp"

namespace vesk::tests {
namespace {

using vesk::sampler::find_samples;
using vesk::sampler::folded;
using vesk::sampler::Instrument;
using vesk::sampler::SampleReference;

/// A file that is looked at by its name alone.
void touch(const std::string& path) {
  std::filesystem::create_directories(std::filesystem::path(path).parent_path());
  std::ofstream(path) << "x";
}

std::string find(const SampleReference& sample, const std::string& instrument_path) {
  Instrument instrument;
  instrument.samples = {sample};
  return find_samples(instrument, instrument_path).front();
}

TEST(SampleSearch, FollowsTheInstrumentThenItsFoldersThenNames) {
  const struct {
    const char* what;
    std::vector<std::string> files;  ///< the first is right
    std::string folder, name;        ///< `@` is the scratch folder
  } cases[]{
      {"the stored path", {"far/a.wav", "lib/a/p/a.wav"}, "@/far", "a.wav"},
      {"beside the instrument", {"lib/a/p/a.wav", "lib/a/Samples/a.wav"}, "/V/X", "a.wav"},
      {"as many folders as fit",
       {"lib/a/p/X/Y/a.wav", "lib/a/p/Y/a.wav", "lib/a/p/a.wav"},
       "/V/X/Y",
       "a.wav"},
      {"a folder that stands two above", {"lib/X/a.wav"}, "/Volumes/X", "a.wav"},
      {"in Samples up the tree", {"lib/SAMPLES/Keys/a.wav"}, "/V/Keys", "a.wav"},
      {"six above", {"../../../Sounds/a.wav"}, "/V", "a.wav"},
      {"in another case", {"lib/a/p/keys/GRAND c1.WAV"}, "/V/Keys", "Grand C1.wav"},
      {"the same case first", {"lib/a/p/b.wav", "lib/a/p/B.wav"}, "/V", "b.wav"},
      {"composed and not", {"lib/a/p/Flu\u0308gel/e\u0301.wav"}, "/V/Fl\u00FCgel", "\u00C9.wav"},
      {"anywhere in the tree, with more of its path",
       {"lib/z/Y/a.wav", "lib/q/a.wav"},
       "/V/Y",
       "a.wav"},
      {"with another extension", {"lib/a/p/a.flac"}, "/V", "a.aif"},
      {"its own extension anywhere first", {"lib/z/a.aif", "lib/a/p/a.wav"}, "/V", "a.aif"},
      {"a name without one", {"lib/a/p/Piano 1.2.wav"}, "/V", "Piano 1.2"},
      {"a path in place of a name", {"lib/a/p/sub/a.wav"}, "", "sub/a.wav"},
      {"nothing", {"", "lib/a/p/other.wav", "lib/z/.old/a.wav"}, "/V", "a.wav"},
  };
  for (const auto& [what, files, folder, name] : cases) {
    const ScratchFolder scratch;
    const std::string root = scratch / "1/2/3/";
    for (const std::string& file : files)
      if (!file.empty()) touch(root + file);
    std::filesystem::create_directories(root + "lib/a/p");
    const std::string stored =
        folder.starts_with('@') ? root.substr(0, root.size() - 1) + folder.substr(1) : folder;
    const std::string found =
        find({.folder = stored, .file_name = name}, root + "lib/a/p/piano.exs");
    if (files.front().empty())
      EXPECT_EQ(found, "") << what;
    else
      EXPECT_TRUE(!found.empty() && std::filesystem::equivalent(found, root + files.front()))
          << what << ": " << found;
  }
}

TEST(SampleSearch, PrefersTheSoundThatTheInstrumentMeans) {
  const ScratchFolder scratch;
  write_sine(scratch / "lib/p/a.wav", {.frames = 100});
  write_sine(scratch / "lib/p/A.wav", {.frames = 200});
  write_sine(scratch / "lib/Other/a.wav", {.frames = 300});
  write_sine(scratch / "lib/Third/x/a.wav", {.frames = 300, .rate = 48000});
  write_sine(scratch / "lib/p/Set/b.wav", {.frames = 10});
  write_sine(scratch / "lib/Other/b.wav", {.frames = 300});
  const auto found = [&](const SampleReference& sample) {
    const std::string path = find(sample, scratch / "lib/p/piano.exs");
    return path.empty() ? path : path.substr(scratch.path().size());
  };
  const std::tuple<SampleReference, std::string> cases[]{
      {{.folder = "/V", .file_name = "a.wav"}, "/lib/p/a.wav"},
      {{.folder = "/V", .file_name = "a.wav", .frames = 200}, "/lib/p/A.wav"},
      {{.folder = "/V", .file_name = "a.wav", .frames = 300, .sample_rate = 44100},
       "/lib/Other/a.wav"},
      {{.folder = "/V", .file_name = "a.wav", .frames = 300, .sample_rate = 48000},
       "/lib/Third/x/a.wav"},
      {{.folder = "/V", .file_name = "a.wav", .frames = 999}, "/lib/p/a.wav"},
      {{.folder = "/V/Set", .file_name = "b.wav", .frames = 300}, "/lib/p/Set/b.wav"},
  };
  for (const auto& [sample, path] : cases) EXPECT_EQ(found(sample), path);
}

TEST(SampleSearch, EndsWhereLinksLeadInCirclesAndManyAreMissing) {
  const ScratchFolder scratch;
  touch(scratch / "lib/p/a.wav");
  std::filesystem::create_directory_symlink(scratch / "lib", scratch / "lib/p/again");
  std::filesystem::create_directory_symlink(scratch / "lib/p/again/p", scratch / "lib/self");
  // Deeper than circles leave room for among 50,000 names.
  std::string deep = scratch / "elsewhere";
  for (int i = 0; i < 30; ++i) deep += "/deep";
  touch(deep + "/linked.wav");
  std::filesystem::create_directory_symlink(scratch / "elsewhere", scratch / "lib/p/more");
  Instrument instrument;
  for (int i = 0; i < 1000; ++i)
    instrument.samples.push_back({.folder = "/V/again/p/again/p/again/p" + std::to_string(i % 100),
                                  .file_name = "missing" + std::to_string(i) + ".wav"});
  instrument.samples.push_back({.folder = "/V", .file_name = "linked.wav"});
  auto paths = find_samples(instrument, scratch / "lib/p/piano.exs");
  EXPECT_TRUE(paths.back().ends_with("/deep/linked.wav")) << paths.back();
  paths.pop_back();
  for (const std::string& path : paths) EXPECT_EQ(path, "");
}

TEST(SampleSearch, SpellingsOfANameFoldAlike) {
  const std::pair<const char*, const char*> alike[]{
      {"GRAND", "grand"},
      {"\u00C4\u0141\u0160", "a\u0308\u0142s\u030C"},
      {"\u0419\u0401", "\u0438\u0306\u0435\u0308"},  // Cyrillic
      {"\u0386\u03A9", "\u03B1\u0301\u03C9"},        // Greek
      {"\u30D4\u30A2", "\u30D2\u309A\u30A2"},        // katakana
      {"\u3094", "\u3046\u3099"},
      {"\u3054\u3062\u3065\u307C", "\u3053\u3099\u3061\u3099\u3064\u3099\u307B\u3099"},
      {"\uD55C\uAE00\uAC00", "\u1112\u1161\u11AB\u1100\u1173\u11AF\u1100\u1161"},  // Hangul
      {"\xFF\xC3", "\xFF\xC3"},
  };
  for (const auto& [one, other] : alike) EXPECT_EQ(folded(one), folded(other)) << one;
  const std::pair<const char*, const char*> apart[]{
      {"\u3063", "\u3064"}, {"\u306F", "\u3072"}, {"\u00D8", "O"}, {"\xFF", "\xFE"}, {"a", "b"}};
  for (const auto& [one, other] : apart) EXPECT_NE(folded(one), folded(other)) << one;
}

}  // namespace
}  // namespace vesk::tests
