// The cache of installed LV2 plugins, with the real scanner program and bundles made for each case.

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <random>
#include <unordered_map>

#include "components/lv2/catalogue/cache_file.hpp"
#include "components/lv2/catalogue/component_code.hpp"
#include "components/lv2/catalogue/library.hpp"
#include "components/lv2/catalogue/scanner_process.hpp"
#include "tests/support/lv2_bundles.hpp"

namespace vesk::lv2 {
namespace {

using tests::Environment;
using tests::settle;
using tests::TemporaryFolder;
using tests::write_plain_bundle;

TEST(Lv2Codes, SubtypesAreTheOnesThatSavedTextsHold) {
  const struct {
    const char* uri;
    std::uint32_t hash;
    const char* code;
  } cases[] = {
      {"http://drobilla.net/plugins/mda/EPiano", 0xb911dcac, "Sm48"},
      {"http://drobilla.net/plugins/mda/Piano", 0xad28741d, "NhXb"},
      {"http://drobilla.net/plugins/mda/DX10", 0x9215b3c5, "dxhr"},
      {"http://drobilla.net/plugins/mda/Ambience", 0x18cd2e00, "kZu9"},
      {"http://drobilla.net/plugins/mda/Delay", 0xa73b4d6f, "jvLs"},
      {"urn:dragonfly:plate", 0xfa2304e8, "u6V0"},
  };
  for (const auto& [uri, hash, code] : cases) {
    EXPECT_EQ(fnv1a_32(uri), hash) << uri;
    EXPECT_EQ(code_text(primary_code(uri)), code) << uri;
    EXPECT_NE(alternate_code(uri), primary_code(uri)) << uri;
  }
  EXPECT_FALSE(is_component_code(0));
  EXPECT_FALSE(is_component_code(primary_code("") & 0xffffff00u));
  EXPECT_FALSE(is_component_code(primary_code("") | 0x80u));
  EXPECT_TRUE(is_component_code(primary_code("")));
}

/// Two URIs with one primary code, the smaller first. Some five thousand tries find a pair.
std::pair<std::string, std::string> rivals() {
  std::unordered_map<std::uint32_t, std::string> seen;
  for (int i = 0;; ++i) {
    std::string uri = "urn:vesk:rival" + std::to_string(i);
    const auto [other, is_new] = seen.emplace(primary_code(uri), uri);
    if (!is_new) return std::minmax(other->second, uri);
  }
}

TEST(Lv2Codes, OfTwoRivalsEachIsFoundUnderACodeOfItsOwnAndAloneUnderEither) {
  const auto [smaller, greater] = rivals();
  Catalogue both;
  both.entries = {Entry(smaller), Entry(greater)};
  both.assign_codes();
  EXPECT_EQ(both.entries[0].code, primary_code(smaller));
  EXPECT_EQ(both.entries[1].code, alternate_code(greater));
  EXPECT_EQ(both.find_code(primary_code(greater))->uri, smaller);
  EXPECT_EQ(both.find_code(alternate_code(greater))->uri, greater);

  Catalogue alone;
  alone.entries = {Entry(greater)};
  alone.assign_codes();
  EXPECT_EQ(alone.entries[0].code, primary_code(greater));
  EXPECT_EQ(alone.find_code(alternate_code(greater))->uri, greater);
}

/// A search path of one folder, a cache folder, and look-ups in them.
class Lv2Cache : public testing::Test {
 protected:
  std::filesystem::path bundle(const std::string& name) const { return installed_.path() / name; }

  void install(const std::string& name, const std::string& title, int micro_version = 0) {
    write_plain_bundle(bundle(name + ".lv2"), "urn:vesk:" + name, title, micro_version);
    settle(installed_.path());
  }

  /// The plugin's name as a look-up by code gives it; empty when none is found.
  std::string look_up(const std::string& name) {
    std::string error;
    const auto plugin = find_by_code(primary_code("urn:vesk:" + name), error);
    EXPECT_EQ(error, "");
    return plugin ? plugin->description->name : std::string();
  }

  /// The same with a scanner that always fails: only the cache can answer.
  std::optional<std::string> look_up_cached(const std::string& name) {
    const Environment no_scanner("VESK_LV2_SCAN", "/bin/false");
    std::string error;
    const auto plugin = find_by_uri("urn:vesk:" + name, error);
    if (!error.empty()) return {};
    return plugin ? plugin->description->name : std::string();
  }

  std::vector<std::string> listed() {
    std::string error;
    const auto catalogue = list_all(error);
    EXPECT_EQ(error, "");
    std::vector<std::string> names;
    for (const Entry& entry : catalogue ? catalogue->entries : std::vector<Entry>())
      names.push_back(entry.title);
    return names;
  }

  TemporaryFolder installed_;
  TemporaryFolder cache_;
  Environment lv2_path_{"LV2_PATH", installed_.path().string()};
  Environment vesk_cache_{"VESK_CACHE", (cache_.path() / "deeper" / "vesk").string()};
};

TEST_F(Lv2Cache, TheFirstStartReadsOnePluginAndTheNextReadsNone) {
  for (const char* name : {"a", "b", "c"}) install(name, name);
  EXPECT_EQ(look_up_cached("b"), std::nullopt);
  EXPECT_EQ(look_up("b"), "b");
  const auto image = CatalogueImage::from_file(cache_file_path());
  ASSERT_TRUE(image);
  EXPECT_EQ(image->catalogue().entries.size(), 3u);
  EXPECT_EQ(std::ranges::count_if(image->catalogue().entries, &Entry::described), 1);
  EXPECT_EQ(look_up_cached("b"), "b");
  EXPECT_EQ(look_up_cached("nothing"), "") << "that nothing has this name is in the cache, too";
  EXPECT_EQ(look_up_cached("c"), std::nullopt);
  EXPECT_EQ(look_up("c"), "c");
  EXPECT_EQ(look_up_cached("b"), "b");
  EXPECT_EQ(listed(), (std::vector<std::string>{"a", "b", "c"}));
}

TEST_F(Lv2Cache, WhatIsInstalledRemovedOrChangedIsSeenAtTheNextLookUp) {
  install("old", "old");
  EXPECT_EQ(look_up("old"), "old");
  EXPECT_EQ(look_up("new"), "");

  install("new", "new");
  EXPECT_EQ(look_up("new"), "new");

  install("old", "old, replaced");
  EXPECT_EQ(look_up("old"), "old, replaced");

  // A data file edited in place leaves its folder's time alone.
  const auto before = std::filesystem::last_write_time(bundle("old.lv2"));
  write_plain_bundle(bundle("old.lv2"), "urn:vesk:old", "old, edited in place");
  std::filesystem::last_write_time(bundle("old.lv2/manifest.ttl"), before);
  std::filesystem::last_write_time(bundle("old.lv2/plugin.ttl"), before - std::chrono::seconds(1));
  EXPECT_EQ(look_up("old"), "old, edited in place");

  std::filesystem::remove_all(bundle("old.lv2"));
  EXPECT_EQ(look_up("old"), "");
  EXPECT_EQ(look_up("new"), "new");
  EXPECT_EQ(listed(), std::vector<std::string>{"new"});
}

TEST_F(Lv2Cache, WhatChangedAMomentAgoIsReadAgain) {
  write_plain_bundle(bundle("a.lv2"), "urn:vesk:a", "first");
  EXPECT_EQ(look_up("a"), "first");
  EXPECT_EQ(look_up_cached("a"), std::nullopt) << "a second change could go unseen";
  write_plain_bundle(bundle("a.lv2"), "urn:vesk:a", "other");
  EXPECT_EQ(look_up("a"), "other");
}

TEST_F(Lv2Cache, OfTwoBundlesTheHigherVersionCountsThenTheFirstFolder) {
  const TemporaryFolder second;
  const auto path = installed_.path().string() + ":" + second.path().string();
  const Environment both("LV2_PATH", path);
  const auto second_bundle = second.path() / "a.lv2";
  install("a", "first", 4);
  write_plain_bundle(second_bundle, "urn:vesk:a", "second", 4);
  settle(second.path());
  EXPECT_EQ(look_up("a"), "first");
  write_plain_bundle(second_bundle, "urn:vesk:a", "second, newer", 6);
  settle(second.path());
  EXPECT_EQ(look_up("a"), "second, newer");
  install("a", "first, newest", 10);
  EXPECT_EQ(look_up("a"), "first, newest");
}

TEST_F(Lv2Cache, WithoutAFolderToWriteToEverythingIsFoundAllTheSame) {
  const Environment nowhere("VESK_CACHE", "/proc/self/no such folder");
  install("a", "a");
  EXPECT_EQ(look_up("a"), "a");
  EXPECT_EQ(look_up("b"), "");
  EXPECT_EQ(listed(), std::vector<std::string>{"a"});
}

TEST_F(Lv2Cache, ADamagedFileIsIgnoredAndReplaced) {
  install("a", "a");
  EXPECT_EQ(look_up("a"), "a");
  const std::string path = cache_file_path();
  for (const std::string& damage :
       {std::string(), std::string("vesk lv2"), std::string(4096, 'x')}) {
    tests::write_file(path, damage);
    EXPECT_EQ(look_up("a"), "a");
    EXPECT_EQ(look_up_cached("a"), "a");
  }
  std::filesystem::remove(path);
  std::filesystem::create_directory(path);
  EXPECT_EQ(look_up("a"), "a") << "a folder in the file's place";
}

TEST_F(Lv2Cache, AScannerThatGivesNonsenseIsReported) {
  install("a", "a");
  for (const char* scanner : {"/bin/false", "/bin/echo", "/no such program"}) {
    const Environment broken("VESK_LV2_SCAN", scanner);
    std::string error;
    EXPECT_FALSE(find_by_code(primary_code("urn:vesk:a"), error)) << scanner;
    EXPECT_NE(error, "") << scanner;
  }
}

TEST_F(Lv2Cache, ManyScannersAtOnceLeaveOneWholeFile) {
  for (int i = 0; i < 20; ++i) install("p" + std::to_string(i), "p");
  std::vector<pid_t> children;
  for (int i = 0; i < 6; ++i) {
    const pid_t child = ::fork();
    if (child == 0) {
      std::string error;
      const auto plugin = find_by_uri("urn:vesk:p" + std::to_string(i), error);
      ::_exit(plugin && plugin->description->name == "p" ? 0 : 1);
    }
    children.push_back(child);
  }
  for (const pid_t child : children) {
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
  }
  for (int i = 0; i < 6; ++i) EXPECT_EQ(look_up_cached("p" + std::to_string(i)), "p");
  int files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(
           std::filesystem::path(cache_file_path()).parent_path())) {
    if (entry.path().extension() != ".lock") ++files;
  }
  EXPECT_EQ(files, 1);
}

TEST_F(Lv2Cache, ABundleThatCrashesItsReaderCostsItselfOnly) {
  install("a", "a");
  install("z", "z");
  std::filesystem::create_directories(bundle("m.lv2"));
  // So deep that its reader runs out of stack.
  std::string deep = "@prefix : <urn:> .\n:a :b ";
  for (int level = 0; level < 200'000; ++level) deep += "[ :b ";
  tests::write_file(bundle("m.lv2/manifest.ttl"), deep);
  // A sanitizer would end the reader in its own way.
  const Environment no_asan("ASAN_OPTIONS", "handle_segv=0");
  const Environment no_tsan("TSAN_OPTIONS", "handle_segv=0");
  std::filesystem::create_directories(bundle("n.lv2"));
  tests::write_file(bundle("n.lv2/manifest.ttl"), "<urn:vesk:n> a ; [");
  settle(installed_.path());
  EXPECT_EQ(look_up("z"), "z");
  EXPECT_EQ(listed(), (std::vector<std::string>{"a", "z"}));
  const auto image = CatalogueImage::from_file(cache_file_path());
  ASSERT_TRUE(image);
  EXPECT_EQ(image->catalogue().bundles[1].failure, "crashed its reader (Segmentation fault)");
  EXPECT_TRUE(image->catalogue().bundles[2].failure.starts_with("has errors: "));
}

/// An image of a few described plugins, as the scanner writes it.
class Lv2Image : public Lv2Cache {
 protected:
  void SetUp() override {
    for (const char* name : {"a", "b", "c"}) install(name, name);
    const auto answer = ask_scanner({}, 10'000, error_);
    ASSERT_TRUE(answer) << error_;
    std::ifstream file(cache_file_path(), std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    const auto bytes = std::as_bytes(std::span(text));
    image_.assign(bytes.begin(), bytes.end());
    const auto image = CatalogueImage::from_bytes(image_);
    ASSERT_TRUE(image);
    for (const Entry& entry : image->catalogue().entries) {
      const auto record = image->record(entry);
      ASSERT_TRUE(record);
      originals_.push_back(record->description);
    }
    ASSERT_EQ(originals_.size(), 3u);
  }

  /// Reads all that can be read. True when that is less than all; what is read must be right.
  bool is_refused(const Bytes& bytes) {
    const auto image = CatalogueImage::from_bytes(bytes);
    if (!image) return true;
    bool refused = false;
    for (std::size_t i = 0; i < originals_.size(); ++i) {
      const Entry* entry = image->catalogue().find_uri(originals_[i].uri);
      const auto record = entry ? image->record(*entry) : std::nullopt;
      if (!record)
        refused = true;
      else
        EXPECT_EQ(record->description, originals_[i]);
    }
    return refused;
  }

  std::string error_;
  Bytes image_;
  std::vector<Description> originals_;
};

TEST_F(Lv2Image, EveryTruncationIsNoticed) {
  for (std::size_t size = 0; size < image_.size(); ++size) {
    EXPECT_TRUE(is_refused(Bytes(image_.begin(), image_.begin() + static_cast<long>(size))))
        << size;
  }
  EXPECT_FALSE(is_refused(image_));
}

TEST_F(Lv2Image, EveryFlippedBitIsNoticed) {
  for (std::size_t bit = 0; bit < image_.size() * 8; ++bit) {
    Bytes damaged = image_;
    damaged[bit / 8] ^= std::byte(1u << (bit % 8));
    EXPECT_TRUE(is_refused(damaged)) << "bit " << bit;
  }
}

TEST_F(Lv2Image, RecordsThatPassTheirCheckValueByAccidentAreReadWithinBounds) {
  std::mt19937 random(1);
  const Bytes record = encode_record({{}, originals_[0]});
  ASSERT_TRUE(decode_record(record));
  for (int round = 0; round < 20'000; ++round) {
    Bytes damaged = record;
    for (unsigned change = random() % 4 + 1; change > 0; --change)
      damaged[random() % damaged.size()] = std::byte(random() % 256);
    if (random() % 4 == 0) damaged.resize(random() % damaged.size());
    if (const auto read = decode_record(damaged)) EXPECT_EQ(encode_record(*read), damaged);
  }
}

}  // namespace
}  // namespace vesk::lv2
