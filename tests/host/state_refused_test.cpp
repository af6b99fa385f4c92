// A state that cannot be written: the host says so, keeps the old file, goes on, and tries again.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/capability.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>

#include "tests/support/child_process.hpp"
#include "tests/support/display.hpp"
#include "tests/support/empty_preset.hpp"
#include "tests/support/raw_host.hpp"
#include "tests/support/scratch_folder.hpp"
#include "tests/support/wait_until.hpp"

namespace vesk::host {
namespace {

using namespace vesk::tests;
using namespace std::chrono_literals;

constexpr const char* unit = "aumu:Edit:Vesk#1=1@";
constexpr int not_allowed_here = 77;

/// A host that is used in its editor.
class EditedHost {
 public:
  explicit EditedHost(const std::string& preset)
      : preset_(preset), host_({.chain = unit + preset}), is_listening_(host_.wait_listening()) {}

  bool is_listening() const { return is_listening_; }

  /// Opens the editor, sets the level and closes it. False when one of them did not happen.
  bool change(float level) {
    host_.ask_window(WindowRequest::open);
    if (!host_.wait_open(1)) return false;
    host_.set_parameter(0, 0, level);
    if (!wait_until([&] { return host_.serve(16) && host_.block().output_left[15] == level; }))
      return false;
    host_.ask_window(WindowRequest::close_all);
    return host_.wait_open(0);
  }

  /// Limits the size of every file that it writes to from now on; the limit before.
  rlim_t limit_files(rlim_t bytes) {
    rlimit before{};
    prlimit(host_.pid(), RLIMIT_FSIZE, nullptr, &before);
    const rlimit now{bytes, before.rlim_max};
    prlimit(host_.pid(), RLIMIT_FSIZE, &now, nullptr);
    return before.rlim_cur;
  }

  std::uint32_t saves() { return load_acquire(host_.block().saved_write); }

  /// How often the host has said that it could not save; -1 when it said anything else.
  int complaints() const {
    const std::string complaint = "plugin host: could not save state to " + preset_ + "\n";
    const std::string said = host_.standard_error();
    if (said.size() % complaint.size() != 0) return -1;
    int count = 0;
    for (std::size_t at = 0; at < said.size(); at += complaint.size(), ++count)
      if (said.compare(at, complaint.size(), complaint) != 0) return -1;
    return count;
  }

  /// Two refused saves, then one that works once `repair` has been called. What went wrong, or "".
  std::string refused_then_saved(const std::function<void()>& repair) {
    const Bytes old = file_bytes(preset_);
    if (old.empty()) return "there is no old file";
    for (int attempt = 1; attempt <= 2; ++attempt) {
      if (!change(0.5f + 0.125f * static_cast<float>(attempt))) return "the editor does not work";
      if (complaints() != attempt) return "it said: " + host_.standard_error();
      if (file_bytes(preset_) != old) return "the old file is not what it was";
      if (saves() != 0) return "a save was announced";
    }
    repair();
    if (!change(0.875f)) return "the editor does not work after the repair";
    if (saves() != 1 || file_bytes(preset_) == old) return "it did not try again";
    return host_.stop() ? "" : "it did not end in order";
  }

 private:
  std::string preset_;
  RawHost host_;
  bool is_listening_;
};

class StateRefused : public testing::Test {
 protected:
  /// Runs `body`, which returns what went wrong, where it can give up rights for good.
  static void run(const std::function<std::string()>& body) {
    const tests::ChildEnd end = tests::run_in_child(
        [&] {
          const std::string wrong = body();
          if (wrong == "not allowed") return not_allowed_here;
          if (!wrong.empty()) std::fprintf(stderr, "%s\n", wrong.c_str());
          return wrong.empty() ? 0 : 1;
        },
        60s);
    if (end.exited_with(not_allowed_here)) GTEST_SKIP() << "not allowed here";
    EXPECT_TRUE(end.exited_with(0)) << end.standard_error;
  }

  const VirtualDisplay display_;
  const ScratchFolder folder_;
};

// As on a full disk, which takes no rights to make.
TEST_F(StateRefused, AFileThatMayNotGrowKeepsTheOldOne) {
  run([&]() -> std::string {
    const std::string preset = folder_ / "p.aupreset";
    write_empty_preset(preset, 'aumu', 'Edit', 'Vesk');
    EditedHost host(preset);
    if (!host.is_listening()) return "the host does not start";
    // Less than the state, more than the two lines that the host writes to standard error.
    const rlim_t before = host.limit_files(300);
    return host.refused_then_saved([&] { host.limit_files(before); });
  });
}

TEST_F(StateRefused, AFolderThatRefusesKeepsTheOldFile) {
  const std::string folder = folder_ / "locked";
  const std::string preset = folder + "/p.aupreset";
  std::filesystem::create_directory(folder);
  write_empty_preset(preset, 'aumu', 'Edit', 'Vesk');
  ASSERT_EQ(chmod(folder.c_str(), 0555), 0);
  run([&]() -> std::string {
    // The superuser's host could write there all the same.
    if (geteuid() == 0 && prctl(PR_CAPBSET_DROP, CAP_DAC_OVERRIDE, 0, 0, 0) != 0)
      return "not allowed";
    EditedHost host(preset);
    if (!host.is_listening()) return "the host does not start";
    return host.refused_then_saved([&] { chmod(folder.c_str(), 0755); });
  });
}

}  // namespace
}  // namespace vesk::host
