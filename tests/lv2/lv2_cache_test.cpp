// The cache of installed LV2 plugins, with the real scanner program and bundles made for each case,
// and what becomes of the processes that the scanner lets read.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <functional>
#include <map>
#include <thread>

#include "components/lv2/catalogue/cache_file.hpp"
#include "components/lv2/catalogue/component_code.hpp"
#include "components/lv2/catalogue/plugin_search.hpp"
#include "components/lv2/scan/jobs.hpp"
#include "tests/support/child_process.hpp"
#include "tests/support/lv2_bundles.hpp"

namespace vesk::lv2 {
namespace {

using tests::Environment;
using tests::ScratchFolder;
using tests::settle;
using tests::write_plain_bundle;

/// A search path of one folder, a cache folder, and look-ups in them.
class Lv2Cache : public testing::Test {
 protected:
  std::string bundle(const std::string& name) const { return installed_ / name; }

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
    const auto index = list_all(error);
    EXPECT_EQ(error, "");
    std::vector<std::string> names;
    for (const Entry& entry : index ? index->entries : std::vector<Entry>())
      names.push_back(entry.title);
    return names;
  }

  /// Why the cache holds nothing of a bundle or plugin.
  std::string why_not(const std::string& name) {
    const auto cache = CacheFile::open(cache_file_path());
    if (!cache) return "there is no cache";
    for (const Bundle& each : cache->index().bundles)
      if (each.folder.path.ends_with("/" + name + ".lv2/") && !each.map.failure.empty())
        return each.map.failure;
    const Entry* entry = cache->index().find_uri("urn:vesk:" + name);
    return entry != nullptr ? entry->not_hosted : name + " is not there";
  }

  ScratchFolder installed_;
  ScratchFolder cache_;
  Environment lv2_path_{"LV2_PATH", installed_.path()};
  Environment vesk_cache_{"VESK_CACHE", cache_ / "deeper/vesk"};
};

TEST_F(Lv2Cache, TheFirstStartReadsOnePluginAndTheNextReadsNone) {
  for (const char* name : {"a", "b", "c"}) install(name, name);
  for (const char* scanner : {"/bin/false", "/bin/echo", "/no such program"}) {
    const Environment broken("VESK_LV2_SCAN", scanner);
    std::string error;
    EXPECT_FALSE(find_by_code(primary_code("urn:vesk:b"), error)) << scanner;
    EXPECT_NE(error, "") << scanner;
  }
  EXPECT_EQ(look_up("b"), "b");
  const auto cache = CacheFile::open(cache_file_path());
  ASSERT_TRUE(cache);
  EXPECT_EQ(cache->index().entries.size(), 3u);
  EXPECT_EQ(std::ranges::count(cache->index().entries, 0u, &Entry::record_size), 2);
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
  const ScratchFolder second;
  const auto path = installed_.path() + ":" + second.path();
  const Environment both("LV2_PATH", path);
  const auto second_bundle = second / "a.lv2";
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
  for (const int closed : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    const auto end = tests::run_in_child([&] {
      ::close(closed);
      return look_up("a") == "a" ? 0 : 1;
    });
    EXPECT_TRUE(end.exited_with(0)) << "without descriptor " << closed;
  }
}

TEST_F(Lv2Cache, AFileThatIsNotWholeOrNotOnlyOursIsNotReadAndIsReplaced) {
  install("a", "a");
  EXPECT_EQ(look_up("a"), "a");
  const std::string path = cache_file_path();
  const auto zero_the_record = [&] {
    const auto cache = CacheFile::open(path);
    Bytes bytes = File(::open(path.c_str(), O_RDONLY | O_CLOEXEC)).read_all();
    std::fill(bytes.end() - cache->index().entries[0].record_size, bytes.end(), std::byte());
    write_cache_file(path, bytes);
  };
  const auto give_away = [&] {
    ::chmod(path.c_str(), ::chown(path.c_str(), 54321, 54321) == 0 ? 0600 : 0622);
  };
  const struct {
    const char* name;
    std::function<void()> spoil;
  } cases[] = {
      {"empty", [&] { tests::write_file(path, ""); }},
      {"cut off", [&] { tests::write_file(path, "vesk lv2"); }},
      {"of another kind", [&] { tests::write_file(path, std::string(4096, 'x')); }},
      {"with a record that never reached the disk", zero_the_record},
      {"its group may write", [&] { ::chmod(path.c_str(), 0620); }},
      {"everybody may write", [&] { ::chmod(path.c_str(), 0602); }},
      {"of another user, where root looks", give_away},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.name);
    ASSERT_EQ(look_up_cached("a"), "a");
    test.spoil();
    EXPECT_EQ(look_up_cached("a"), std::nullopt);
    EXPECT_EQ(listed(), std::vector<std::string>{"a"});
    EXPECT_EQ(look_up("a"), "a");
  }
  std::filesystem::remove(path);
  std::filesystem::create_directory(path);
  EXPECT_EQ(look_up("a"), "a") << "a folder in the file's place";
}

TEST_F(Lv2Cache, ManyScannersAtOnceLeaveOneWholeFile) {
  for (int i = 0; i < 20; ++i) install("p" + std::to_string(i), "p");
  std::vector<std::jthread> callers;
  for (int i = 0; i < 6; ++i)
    callers.emplace_back([this, i] { EXPECT_EQ(look_up("p" + std::to_string(i)), "p"); });
  callers.clear();
  for (int i = 0; i < 6; ++i) EXPECT_EQ(look_up_cached("p" + std::to_string(i)), "p");
  auto files =
      std::filesystem::directory_iterator(std::filesystem::path(cache_file_path()).parent_path());
  EXPECT_EQ(std::count_if(begin(files), end(files),
                          [](const auto& file) { return file.path().extension() != ".lock"; }),
            1);
}

TEST_F(Lv2Cache, WhatEndsItsReaderCostsItselfOnlyAndIsReadAgainIfItWasNotAtFault) {
  for (const char* name :
       {"a", "bundle-crashes", "bundle-killed", "plugin-crashes", "plugin-killed", "z"})
    install(name, name);
  std::filesystem::create_directories(bundle("n.lv2"));
  tests::write_file(bundle("n.lv2/manifest.ttl"), "<urn:vesk:n> a ; [");
  settle(installed_.path());
  {
    const Environment faults("LD_PRELOAD", VESK_READER_FAULTS);
    EXPECT_EQ(look_up("z"), "z");
    EXPECT_EQ(listed(), (std::vector<std::string>{"a", "urn:vesk:plugin-crashes",
                                                  "urn:vesk:plugin-killed", "z"}));
    std::string error;
    EXPECT_FALSE(find_by_uri("urn:vesk:plugin-killed", error));
    EXPECT_EQ(error, "its description was not read: its reader was ended (Killed)");
    EXPECT_EQ(why_not("bundle-killed"), "was not read: its reader was ended (Killed)");
  }
  EXPECT_EQ(why_not("bundle-crashes"), "crashed its reader (Aborted)");
  EXPECT_EQ(why_not("plugin-crashes"), "its description crashed its reader (Aborted)");
  EXPECT_TRUE(why_not("n").starts_with("has errors: ")) << why_not("n");
  EXPECT_EQ(look_up_cached("z"), "z");
  EXPECT_EQ(look_up("plugin-killed"), "plugin-killed");
  EXPECT_EQ(listed(), (std::vector<std::string>{"a", "bundle-killed", "urn:vesk:plugin-crashes",
                                                "plugin-killed", "z"}));
}

TEST_F(Lv2Cache, TooFewDescriptorsForAScanAreNotHeldAgainstWhatIsInstalled) {
  install("a", "a");
  for (rlim_t most = 4; most <= 24; ++most) {
    std::filesystem::remove(cache_file_path());
    tests::run_in_child([&] {
      const rlimit limit{most, most};
      ::setrlimit(RLIMIT_NOFILE, &limit);
      std::string error;
      return list_all(error) ? 0 : 1;
    });
    EXPECT_EQ(listed(), std::vector<std::string>{"a"}) << "after a scan with " << most;
  }
}

TEST_F(Lv2Cache, NothingOfADynamicManifestIsOfferedAndItsBundleSaysSo) {
  write_plain_bundle(bundle("d.lv2"), "urn:vesk:d", "d", 0,
                     "<urn:vesk:maker> a dman:DynManifest ; lv2:binary <missing.so> .");
  settle(installed_.path());
  EXPECT_EQ(listed(), std::vector<std::string>{"d"}) << "its manifest itself is read";
  EXPECT_EQ(why_not("d"), "is dynamic, which is not supported");
}

TEST(Lv2Jobs, WhatEndsOrHangsItsReaderCostsItselfOnly) {
  struct Fault {
    void (*act)();
    const char* failure;
    bool is_passing;
  };
  const std::map<std::size_t, Fault> faults = {
      {0, {[] { ::abort(); }, "crashed its reader (Aborted)", false}},
      {5, {[] { ::_exit(0); }, "ended its reader", false}},
      {6, {[] { ::raise(SIGKILL); }, "was not read: its reader was ended (Killed)", true}},
      {59, {[] { ::pause(); }, "kept its reader busy for 2 s", false}},
  };
  std::vector<scan::Job> jobs;
  for (std::size_t i = 0; i < 60; ++i) {
    jobs.emplace_back([i, &faults](scan::BundleReader&) {
      ::dprintf(STDERR_FILENO, "about %zu", i);
      if (const auto fault = faults.find(i); fault != faults.end()) fault->second.act();
      return Bytes{std::byte(i)};
    });
  }
  std::vector<int> times(jobs.size());
  const auto done = [&](std::size_t job, const scan::JobResult& result) {
    ++times[job];
    EXPECT_EQ(result.printed, "about " + std::to_string(job));
    const auto fault = faults.find(job);
    EXPECT_EQ(result.failure, fault == faults.end() ? "" : fault->second.failure) << job;
    EXPECT_EQ(result.is_passing, fault != faults.end() && fault->second.is_passing) << job;
    EXPECT_EQ(result.payload, fault == faults.end() ? Bytes{std::byte(job)} : Bytes()) << job;
  };
  scan::run_jobs(jobs, done, 2);
  EXPECT_EQ(times, std::vector<int>(jobs.size(), 1));
}

}  // namespace
}  // namespace vesk::lv2
