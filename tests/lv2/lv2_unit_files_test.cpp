// Files that a unit's plugin is told of by name: taken, refused, saved, and gone.

#include <algorithm>

#include "components/unit_support/cf_object.hpp"
#include "platform/unit_extras.hpp"
#include "tests/lv2/lv2_unit.hpp"
#include "tests/support/child_process.hpp"
#include "tests/support/lv2_bundles.hpp"

using namespace vesk::tests;
using vesk::CfObject;
using vesk::platform::read_files;
using vesk::platform::set_file;
using vesk::platform::UnitFile;

namespace {

constexpr const char* files_uri = "urn:vesk:test:files";
const std::string sample = "urn:vesk:test:files#sample", quiet = "urn:vesk:test:files#quiet",
                  refused = "urn:vesk:test:files#refused";

/// What the plugin plays in the next period.
float played(Lv2Unit& unit) {
  EXPECT_EQ(unit.render(), noErr);
  return unit.output[0][0];
}

OSStatus restore(Lv2Unit& unit, const Bytes& bytes) {
  const CfObject<CFDataRef> data(
      CFDataCreate(kCFAllocatorDefault, bytes.data(), static_cast<CFIndex>(bytes.size())));
  const CfObject<CFPropertyListRef> list(
      CFPropertyListCreateWithData(kCFAllocatorDefault, data.get(), 0, nullptr, nullptr));
  return unit.set_property(kAudioUnitProperty_ClassInfo, list.get());
}

std::string path_of(const Lv2Unit& unit, const std::string& key) {
  const std::vector<UnitFile> files = read_files(unit.unit());
  const auto found = std::ranges::find(files, key, &UnitFile::key);
  return found != files.end() ? found->path : "no such file";
}

class Lv2UnitFiles : public testing::Test {
 protected:
  void SetUp() override {
    write_file(half_, "0.5");
    write_file(words_, "no number");
  }

  const ScratchFolder folder_;
  const std::string half_ = folder_ / "half.txt", words_ = folder_ / "words.txt",
                    gone_ = folder_ / "gone.txt";
};

TEST_F(Lv2UnitFiles, AreTakenOrRefusedAndHeard) {
  const struct {
    const char* name;
    std::string key, path;
    OSStatus status;
  } cases[] = {
      {"answered for and saved under another key", sample, half_, noErr},
      {"saved and not answered for", quiet, half_, noErr},
      {"refused in an answer", refused, half_, kAudioUnitErr_InvalidFile},
      {"left without an answer", sample, words_, kAudioUnitErr_InvalidFile},
      {"not there", quiet, gone_, kAudioUnitErr_InvalidFile},
      {"too long", sample, std::string(70'000, 'x'), kAudioUnitErr_InvalidPropertyValue},
      {"no path", sample, "", kAudioUnitErr_InvalidPropertyValue},
      {"no path for it", "urn:vesk:test:files#number", half_, kAudioUnitErr_InvalidPropertyValue},
      {"a path that is no text", sample, "\xff", kAudioUnitErr_InvalidPropertyValue},
  };
  for (const auto& c : cases) {
    for (const bool initialized_before : {false, true}) {
      SCOPED_TRACE(c.name);
      Lv2Unit unit(files_uri);
      if (initialized_before) {
        ASSERT_TRUE(unit.initialize());
        EXPECT_EQ(played(unit), 0.0f);
      }
      const Bytes before = unit.saved();
      EXPECT_EQ(set_file(unit.unit(), c.key, c.path), c.status);
      const bool is_taken = c.status == noErr;
      EXPECT_EQ(unit.saved() != before, is_taken);
      if (is_taken) {
        EXPECT_EQ(path_of(unit, c.key), c.path);
        EXPECT_EQ(set_file(unit.unit(), refused, c.path), kAudioUnitErr_InvalidFile)
            << "though its state names the file";
      }
      ASSERT_TRUE(unit.initialize());
      EXPECT_EQ(played(unit), is_taken ? 0.5f : 0.0f);
    }
  }
}

TEST_F(Lv2UnitFiles, AreNamedByTheirLabels) {
  const Lv2Unit unit(files_uri), none("urn:vesk:test:mono");
  std::vector<std::string> labels;
  for (const UnitFile& file : read_files(unit.unit())) labels.push_back(file.label);
  EXPECT_EQ(labels, (std::vector<std::string>{"A Sample", "Quiet", refused}));
  EXPECT_TRUE(read_files(none.unit()).empty());
  EXPECT_EQ(set_file(none.unit(), sample, half_), kAudioUnitErr_InvalidProperty);
}

TEST_F(Lv2UnitFiles, ComeBackInAnotherProcessAndBeforeTheFirstPeriod) {
  const std::string path = folder_ / "saved";
  const ChildEnd end = run_in_child([&] {
    Lv2Unit unit(files_uri);
    if (set_file(unit.unit(), sample, half_) != noErr || unit.set("gain", 2) != noErr) return 1;
    if (set_file(unit.unit(), quiet, half_) != noErr) return 2;
    const Bytes bytes = unit.saved();
    write_file(path, std::string(bytes.begin(), bytes.end()));
    return 0;
  });
  ASSERT_TRUE(end.exited_with(0)) << end.standard_error;
  const Bytes bytes = file_bytes(path);
  for (const bool initialized_before : {false, true}) {
    Lv2Unit unit(files_uri);
    if (initialized_before) ASSERT_TRUE(unit.initialize());
    ASSERT_EQ(restore(unit, bytes), noErr);
    ASSERT_TRUE(unit.initialize());
    EXPECT_EQ(unit.saved(), bytes) << "what has not played yet has its files";
    EXPECT_EQ(played(unit), 2.0f);
    EXPECT_EQ(path_of(unit, quiet), half_);
  }
}

TEST_F(Lv2UnitFiles, ThatAreGoneAreSaidByName) {
  Lv2Unit unit(files_uri), other(files_uri);
  write_file(gone_, "0.25");
  ASSERT_EQ(set_file(unit.unit(), sample, gone_), noErr);
  ASSERT_EQ(set_file(unit.unit(), quiet, half_), noErr);
  std::filesystem::remove(gone_);
  testing::internal::CaptureStderr();
  ASSERT_EQ(restore(other, unit.saved()), noErr);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "plugin host: Test Files: the file " + gone_ + " is not there any more\n");
  ASSERT_TRUE(other.initialize());
  EXPECT_EQ(played(other), 0.5f);
}

TEST_F(Lv2UnitFiles, OfPresetsAreThoseOfTheirBundle) {
  Lv2Unit unit(files_uri);
  ASSERT_TRUE(unit.initialize());
  ASSERT_EQ(set_file(unit.unit(), sample, half_), noErr);
  const struct {
    AUPreset preset;
    float played;
  } cases[] = {{{0, CFSTR("Half")}, 0.25f}, {{1, CFSTR("Own")}, 0.0625f}};
  for (const auto& [preset, sound] : cases) {
    ASSERT_EQ(unit.set_property(kAudioUnitProperty_PresentPreset, preset), noErr);
    EXPECT_EQ(played(unit), sound) << preset.presetNumber;
  }
}

}  // namespace
