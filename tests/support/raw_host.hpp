#pragma once

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "host/block.hpp"
#include "tests/support/captured_text.hpp"

/// A `vesk-host` process and its block, driven word by word as the protocol says and not through
/// the client library: for tests of the host itself, and of what a parent must not do.
class RawHost {
 public:
  struct Options {
    std::string chain;
    std::string sample_rate = "48000";
    std::string max_frames = "512";
    std::string period_frames = "0";
    std::vector<std::string> environment = {};  ///< "NAME=value", beside the test's own
    int descriptor_3 = -1;                      ///< becomes descriptor 3 of the host
    std::size_t object_size = vesk::host::block_size;
    std::function<void(vesk::host::Block&)> prepare = {};  ///< before the host is started
  };

  explicit RawHost(const Options& options);
  ~RawHost();
  RawHost(const RawHost&) = delete;
  RawHost& operator=(const RawHost&) = delete;

  const std::string& object_name() const { return name_; }
  vesk::host::Block& block() { return *block_; }
  pid_t pid() const { return pid_; }

  /// Waits for `state` to leave `starting`, or for the process to end; the state then.
  std::uint32_t wait_state(std::chrono::milliseconds limit = std::chrono::seconds(20));
  /// Waits for `ready`, then posts empty periods until the render thread answers one.
  bool wait_listening();
  /// Posts a period and waits for its answer.
  bool serve(std::uint32_t frames, double sample_time = 0,
             std::chrono::milliseconds limit = std::chrono::seconds(10));
  /// Posts a parameter change.
  void set_parameter(std::uint32_t plugin, std::uint32_t id, float value);
  /// Posts a window request, once the host looks for them; `title` is cut to what the block holds.
  void ask_window(std::uint32_t kind, std::uint32_t plugin = 0, const std::string& title = "");
  /// Waits until exactly these editors are on screen.
  bool wait_open(std::uint32_t mask, std::chrono::milliseconds limit = std::chrono::seconds(10));
  /// Waits until the main loop has made two full turns (it stores `open_mask` on each).
  bool wait_turns();

  void quit();
  /// Waits for the end of the process: its `waitpid` status, or -1 when it still runs.
  int wait_end(std::chrono::milliseconds limit = std::chrono::seconds(20));
  /// Whether the process has ended.
  bool has_ended();
  /// Stops it in order and says whether it ended with status 0.
  bool stop();
  /// All that it wrote to standard error so far.
  std::string standard_error() const;

 private:
  std::string name_;
  vesk::tests::CapturedText errors_;
  vesk::host::Block* block_ = nullptr;
  pid_t pid_ = -1;
  int status_ = -1;
};

/// Where the programs, components and modules of this build are: the folder above the tests'.
std::string build_folder();
